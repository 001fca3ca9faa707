// Bytes from the wire: cut into lines as the reader does and parsed by one parser, so state carried
// between sentences is exercised too; then the whole input as a single over-long line. Both modes
// of the data core, the first byte choosing; the sky view is built after every sentence.
#include "dashboard/SkyView.h"
#include "nmea/LineAssembler.h"
#include "nmea/NMEAParser.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace
{

void CheckInvariants(const CNMEAParser &p)
{
    const CGSASentence &gsa = p.m_gsa;
    if (gsa.m_used.GetSize() > CUsedSatellites::kCapacity)
        __builtin_trap();
    if (gsa.m_pdopHistory.GetSize() > CDOPHistory::kLength)
        __builtin_trap();
    if (p.m_gsv.m_moreToCome != (p.m_gsv.m_messageCount != p.m_gsv.m_messageNumber))
        __builtin_trap();
    if (p.GetMode() == GnssMode::GpsOnly)
        return;
    const CSkyView view = SkyViewOf(p);
    int inView = 0;
    for (const CSystemCount &c : view.systems)
        inView += c.inView;
    if (inView != view.inView || static_cast<int>(view.satellites.size()) > view.inView)
        __builtin_trap();
    const std::vector<CSatelliteId> &used = p.m_sky.GetUsed();
    for (std::size_t i = 1; i < used.size(); ++i)
        if (!(used[i - 1] < used[i]))
            __builtin_trap(); // sorted, no duplicates
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    const GnssMode mode = (data[0] & 1) != 0 ? GnssMode::AllSystems : GnssMode::GpsOnly;
    const std::string_view bytes(reinterpret_cast<const char *>(data) + 1, size - 1);
    CNMEAParser parser(mode);
    CLineAssembler assembler(mode);
    assembler.Feed(bytes, [&](std::string_view line) {
        const int type = parser.Parse(line);
        if (type < kSentenceNone || type >= kSentenceTypeCount)
            __builtin_trap();
        // All systems hand a piece too long to keep on in parts, for the recording: the first
        // longer than any sentence, the rest without "$". None of them may pass for one.
        const std::size_t body = line.find_last_not_of("\r\n") + 1;
        if (mode == GnssMode::AllSystems && type != kSentenceNone
            && (body > CNMEAFields::kMaxSentenceBytes || line.empty() || line.front() != '$'))
            __builtin_trap();
        CheckInvariants(parser);
    });
    parser.Parse(bytes);
    CheckInvariants(parser);
    return 0;
}
