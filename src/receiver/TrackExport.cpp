#include "receiver/TrackExport.h"

#include "nmea/LineAssembler.h"
#include "nmea/NMEAParser.h"
#include "receiver/GpxTrackFile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

CTrackExport ExportTrack(const std::string &log, const std::string &gpx, GnssMode mode,
                         const CTrackRate &rate, double altitudeOffset, std::time_t createdUtc)
{
    CTrackExport result;
    const auto readFailed = [&](int errorCode) {
        result.errorCode = errorCode;
        result.errorText = log + ": " + std::strerror(errorCode);
        result.readFailed = true;
    };
    const int fd = ::open(log.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        readFailed(errno);
        return result;
    }
    // Replacing the GPX file would empty the log before it is read.
    struct stat in {
    };
    struct stat out {
    };
    if (::fstat(fd, &in) == 0 && ::stat(gpx.c_str(), &out) == 0 && in.st_dev == out.st_dev
        && in.st_ino == out.st_ino) {
        ::close(fd);
        result.errorCode = EINVAL;
        result.errorText = gpx + ": the NMEA log itself";
        return result;
    }
    CGpxTrackFile file;
    const std::size_t slash = log.rfind('/');
    const std::string name = slash == std::string::npos ? log : log.substr(slash + 1);
    if (!file.Create(gpx, name, createdUtc, false)) {
        ::close(fd);
        result.errorCode = file.GetErrorCode();
        result.errorText = file.GetErrorText();
        return result;
    }
    CNMEAParser parser(mode);
    CLineAssembler assembler(mode);
    CTrackRules rules;
    rules.SetRate(rate);
    rules.SetAltitudeOffset(altitudeOffset);
    const auto onLine = [&](std::string_view line) {
        rules.OnSentence(parser.Parse(line), parser, file);
    };
    constexpr std::size_t kChunk = 1 << 20;
    const auto chunk = std::make_unique<char[]>(kChunk);
    while (file.IsOpen()) {
        const ssize_t got = ::read(fd, chunk.get(), kChunk);
        if (got == 0)
            break;
        if (got < 0) {
            if (errno == EINTR)
                continue;
            readFailed(errno);
            break;
        }
        assembler.Feed(std::string_view(chunk.get(), static_cast<std::size_t>(got)), onLine);
    }
    ::close(fd);
    rules.Finish(file);
    file.Close();
    if (!file.GetErrorText().empty() && result.errorCode == 0) {
        result.errorCode = file.GetErrorCode();
        result.errorText = file.GetErrorText();
    }
    result.points = file.GetWrittenPoints();
    result.segments = file.GetWrittenSegments();
    return result;
}
