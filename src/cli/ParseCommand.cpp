#include "Cli.h"
#include "CliArguments.h"
#include "JsonDump.h"
#include "nmea/LineAssembler.h"
#include "nmea/NMEAParser.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <string>
#include <unistd.h>

namespace
{

constexpr const char *kParseHelp =
    "usage: veloran-cli parse FILE|- [--json] [--all] [--summary] [--gnss all|gps]\n"
    "\n"
    "Cuts FILE (or standard input) into lines as the receiver connection does and decodes\n"
    "each with one NMEA parser. An unfinished last line is dropped.\n"
    "\n"
    "  --gnss all every satellite system (the default): any talker; a line ends after its\n"
    "             line feed or before a '$'; lines over 255 bytes are dropped. The JSON adds\n"
    "             \"talker\", each satellite's system, \"taken\":false for another talker's\n"
    "             copy of the followed fix, and \"sky\" on the line that completed a sky\n"
    "  --gnss gps GPS only, exactly: the five $GP sentences; a line ends after its line feed\n"
    "             or after 82 bytes\n"
    "  --json     one JSON object per accepted line: \"n\" (line number), \"type\" and the\n"
    "             sentence's values after the line; reals with 17 significant digits\n"
    "             (non-finite ones as NaN, Infinity, -Infinity)\n"
    "  --all      also print refused lines ({\"n\":N,\"type\":null} with --json)\n"
    "  --summary  print the count per sentence type, refused lines and lines per second\n"
    "             (alone, it prints nothing per line)\n";

struct Options {
    bool json = false;
    bool all = false;
    bool summary = false;
    GnssMode mode = GnssMode::AllSystems;
};

class Output
{
public:
    std::string &Buffer() { return m_buffer; }
    void FlushIfFull()
    {
        if (m_buffer.size() >= kFlushBytes)
            Flush();
    }
    // Straight to the descriptor: stdio does not always leave the reason of a failed write in
    // errno. Nothing else is printed before the per-line output ends.
    void Flush()
    {
        std::string_view rest = m_buffer;
        while (m_error == 0 && !rest.empty()) {
            const ssize_t n = ::write(STDOUT_FILENO, rest.data(), rest.size());
            if (n > 0)
                rest.remove_prefix(static_cast<std::size_t>(n));
            else if (n < 0 && errno != EINTR)
                m_error = errno;
            else if (n == 0)
                m_error = EIO;
        }
        m_buffer.clear();
    }
    /// errno of the first failed write, 0 while everything got out.
    [[nodiscard]] int GetError() const { return m_error; }

private:
    int m_error = 0;
    static constexpr std::size_t kFlushBytes = 1 << 16;
    std::string m_buffer;
};

} // namespace

int RunParse(const std::vector<std::string_view> &args)
{
    Options opt;
    std::optional<std::string> file;
    const CCliSyntax syntax{.command = "parse",
                            .help = kParseHelp,
                            .options = {GnssOption(opt.mode), FlagOption("--json", opt.json),
                                        FlagOption("--all", opt.all),
                                        FlagOption("--summary", opt.summary)},
                            .operand = OneFile("parse", file)};
    if (const std::optional<int> status = ReadArguments(args, 0, syntax))
        return *status;
    if (!file)
        return UsageError("parse: missing FILE (or - for standard input)");

    const std::string &path = *file;
    const bool fromStdin = path == "-";
    const int fd = fromStdin ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        std::fprintf(stderr, "veloran-cli: cannot open '%s': %s\n", path.c_str(),
                     std::strerror(errno));
        return kExitFile;
    }

    const auto started = std::chrono::steady_clock::now();
    CNMEAParser parser(opt.mode);
    CLineAssembler assembler(opt.mode);
    Output output;
    const bool perLine = opt.json || !opt.summary;
    long long lineNumber = 0;
    std::array<long long, kSentenceTypeCount> counts{};
    long long refused = 0;

    auto onLine = [&](std::string_view line) {
        ++lineNumber;
        const int type = parser.Parse(line);
        if (type >= 0)
            ++counts[static_cast<std::size_t>(type)];
        else
            ++refused;
        if (!perLine || (type < 0 && !opt.all))
            return;
        std::string &out = output.Buffer();
        if (opt.json)
            AppendJsonLine(out, lineNumber, type, parser);
        else
            AppendTextLine(out, lineNumber, type, parser);
        out += '\n';
        output.FlushIfFull();
    };

    constexpr std::size_t kChunk = 1 << 20;
    const auto chunk = std::make_unique<char[]>(kChunk);
    int status = kExitOk;
    while (output.GetError() == 0) {
        const ssize_t got = ::read(fd, chunk.get(), kChunk);
        if (got == 0)
            break;
        if (got < 0) {
            if (errno == EINTR)
                continue;
            std::fprintf(stderr, "veloran-cli: cannot read '%s': %s\n", path.c_str(),
                         std::strerror(errno));
            status = kExitFile;
            break;
        }
        assembler.Feed(std::string_view(chunk.get(), static_cast<std::size_t>(got)), onLine);
    }
    if (!fromStdin)
        ::close(fd);
    output.Flush();
    if (output.GetError() != 0)
        return OutputError(output.GetError());
    if (opt.summary && status == kExitOk) {
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
        for (int t = 0; t < kSentenceTypeCount; ++t)
            std::printf("%-8s %lld\n", SentenceTypeName(t), counts[static_cast<std::size_t>(t)]);
        std::printf("%-8s %lld\n", "refused", refused);
        std::printf("%-8s %lld\n", "lines", lineNumber);
        std::printf("%-8s %.3f\n", "seconds", seconds);
        std::printf("%-8s %.0f\n", "lines/s", seconds > 0 ? lineNumber / seconds : 0.0);
    }
    return status;
}
