#include "receiver/SirfSender.h"

#include "receiver/DataSource.h"
#include "receiver/SirfCommands.h"

namespace
{

CSirfCommand::Writer To(CDataSource &source)
{
    return [&source](std::string_view bytes) { return source.Write(bytes); };
}

} // namespace

void SendProgramChipset(CDataSource &source)
{
    SendProgramChipset(To(source));
}

void SendHotConnect(CDataSource &source, double latitude, double longitude, std::time_t utcNow)
{
    SendHotConnect(To(source), latitude, longitude, utcNow);
}
