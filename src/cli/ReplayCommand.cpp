#include "Cli.h"
#include "CliArguments.h"
#include "JsonDump.h"
#include "SessionSummary.h"
#include "SignalPipe.h"
#include "receiver/DataSource.h"
#include "receiver/ReceiverSession.h"
#include "receiver/ReplayIndex.h"
#include "waypoints/WaypointDatabase.h"
#include "waypoints/WaypointNavigator.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <string>
#include <unistd.h>

namespace
{

constexpr const char *kReplayHelp =
    "usage: veloran-cli replay FILE [--delay MS] [--record OUT] [--profile full|moderate|low]\n"
    "                          [--summary] [--waypoints DB --goto NAME [--json]]\n"
    "                          [--gnss all|gps] [--from HH:MM:SS] [--to HH:MM:SS]\n"
    "\n"
    "Replays an NMEA log through the receiver engine: the reader thread cuts it into lines and\n"
    "hands them over to the parser and the recorder, as the window does with a receiver.\n"
    "\n"
    "  --delay MS   pause before each line with 'G' at index 4 (the GGA of every epoch; with\n"
    "               all systems the first GGA of every epoch, whatever its talker);\n"
    "               1000 is real time, 0 (the default) as fast as possible\n"
    "  --gnss M     all: every satellite system, any talker, LF line ends (the default);\n"
    "               gps: the five $GP sentences, 82-byte lines, as before all systems\n"
    "  --record OUT write the lines the recording rules keep to OUT, opened once FILE is;\n"
    "               an existing OUT is replaced (said on stderr), one in use by another\n"
    "               recording or FILE itself is refused; the rules are every sentence and\n"
    "               every other line unless --profile\n"
    "  --profile P  recording rates of the profile: full, moderate or low\n"
    "  --from T     replay from the first epoch (GGA or RMC time) at or after the log's UTC\n"
    "               time T (HH:MM:SS); the lines before it are read unrecorded and unheard,\n"
    "               so positions, fixes and the proximity alarm stand as they would\n"
    "  --to T       end after the last epoch of the second T (HH:MM:SS, UTC of the log)\n"
    "  --summary    print the count per sentence type, lines and lines per second\n"
    "  --waypoints DB --goto NAME\n"
    "               run the proximity alarm for the waypoint NAME of the database DB as\n"
    "               the window does: one line 'N reached NAME' per approach (N the line)\n"
    "  --json       print those alarms as {\"n\": N, \"event\": \"reached\", \"name\": ...}\n"
    "\n"
    "SIGTERM, SIGINT and SIGHUP end the replay with the recording whole (exit 128 + signal).\n";

struct CReplayOptions {
    std::string file;
    std::string record;
    unsigned delay = 0;
    bool summary = false;
    int profile = -1;
    std::string waypoints;
    std::string gotoName;
    bool haveGoto = false;
    bool json = false;
    GnssMode mode = GnssMode::AllSystems;
    std::optional<double> from; // seconds of the day
    std::optional<double> to;
};

CCliOption TimeOption(std::string_view name, std::optional<double> &target)
{
    return {name, "a time HH:MM:SS", [&target, name](std::string_view value, std::string &error) {
                target = ParseLogTime(value);
                if (!target)
                    error = "bad " + std::string(name.substr(2)) + " time '" + std::string(value)
                            + "' (HH:MM:SS)";
                return target.has_value();
            }};
}

// The exit status when the command ends here (help, a bad command line), else nothing.
std::optional<int> ParseReplayOptions(const std::vector<std::string_view> &args,
                                      CReplayOptions &options)
{
    std::optional<std::string> file;
    const CCliSyntax syntax{
        .command = "replay",
        .help = kReplayHelp,
        .options = {GnssOption(options.mode),
                    IntegerOption<unsigned>("--delay", "a number of milliseconds", options.delay),
                    TextOption("--record", "a file name", options.record),
                    ChoiceOption<int>("--profile", "full, moderate or low", options.profile,
                                      {{"full", kProfileFull},
                                       {"moderate", kProfileModerate},
                                       {"low", kProfileLow}}),
                    FlagOption("--summary", options.summary),
                    TextOption("--waypoints", "a database file", options.waypoints),
                    {"--goto", "a waypoint name",
                     [&options](std::string_view value, std::string &) {
                         options.gotoName = std::string(value);
                         options.haveGoto = true;
                         return true;
                     },
                     true},
                    FlagOption("--json", options.json),
                    TimeOption("--from", options.from),
                    TimeOption("--to", options.to)},
        .operand = OneFile("replay", file)};
    if (const std::optional<int> status = ReadArguments(args, 0, syntax))
        return status;
    if (!file)
        return UsageError("replay: missing FILE");
    if (options.waypoints.empty() != !options.haveGoto)
        return UsageError("replay: --waypoints and --goto go together");
    options.file = std::move(*file);
    return std::nullopt;
}

} // namespace

namespace
{

// One replay from its options: the goto target, the source and the recording, the loop until
// the file ends or a signal comes, and what is said at the end.
class CReplayRun
{
public:
    explicit CReplayRun(const CReplayOptions &options)
        : m_options(options)
        , m_source([this](std::string_view line) { HandleLine(line); },
                   [this](int errorCode) {
                       m_ended = true;
                       m_readError = errorCode;
                   })
    {
    }

    // The exit status when the waypoint or its database is not there.
    std::optional<int> SelectGoto()
    {
        const CWaypointLoad load = LoadWaypointFile(m_options.waypoints);
        if (!load.opened || load.damaged) {
            std::fprintf(stderr, "veloran-cli: cannot read '%s': %s\n", m_options.waypoints.c_str(),
                         load.detail.c_str());
            return kExitFile;
        }
        m_list = load.waypoints;
        const auto found = std::find_if(m_list.begin(), m_list.end(), [&](const CWaypoint &w) {
            return w.m_name == m_options.gotoName;
        });
        if (found == m_list.end())
            return UsageError("replay: no waypoint named '" + m_options.gotoName + "' in '"
                              + m_options.waypoints + "'");
        m_navigator.SelectTarget(static_cast<int>(found - m_list.begin()), m_list.size());
        m_session.SetWaypoints(&m_list, &m_navigator);
        return std::nullopt;
    }

    // The exit status when the replay or its recording cannot start.
    std::optional<int> Start()
    {
        m_session.SetGnssMode(m_options.mode);
        if (m_options.profile >= 0)
            m_session.GetRecordingRules().ApplyProfile(
                static_cast<RecordingProfile>(m_options.profile));
        m_source.SetBatchHandler([this] { Recorded(m_session.EndOfBatch()); });
        m_source.SetUnfinishedHandler(
            [this](std::string_view bytes) { Recorded(m_session.RecordUnfinished(bytes)); });
        m_source.SetReplayDelay(m_options.delay);
        m_source.SetGnssMode(m_options.mode);
        m_source.SetMarkHandler(
            [this](ReplayMark) { m_session.SetCatchingUp(m_source.IsCatchingUp()); });
        SetWindow();
        m_started = std::chrono::steady_clock::now();
        std::string error;
        const std::string &file = m_options.file;
        if (!m_source.OpenReplay(file, error)) {
            std::fprintf(stderr, "veloran-cli: cannot open '%s': %s\n", file.c_str(),
                         error.c_str());
            return kExitFile;
        }
        // Only now that the log to replay is open: a file it cannot be, or one a failed replay
        // would have emptied for nothing.
        const std::string &record = m_options.record;
        if (record.empty())
            return std::nullopt;
        const CNMEALogFile &log = m_session.GetLog();
        if (!m_session.CreateLog(record, m_source.GetReplayIdentity())) {
            std::fprintf(stderr, "veloran-cli: cannot record to '%s': %s\n", record.c_str(),
                         log.GetErrorText().c_str());
            return kExitFile;
        }
        if (log.GetReplacedBytes() > 0)
            std::fprintf(stderr, "veloran-cli: recording to '%s' replaces its %lld bytes\n",
                         record.c_str(), log.GetReplacedBytes());
        return std::nullopt;
    }

    // Until the end of the file or one of `signals`; returns the signal, 0 for none.
    int Pump(const CSignalPipe &signals)
    {
        pollfd fds[2] = {{m_source.GetWakeHandle(), POLLIN, 0}, {signals.GetHandle(), POLLIN, 0}};
        int signal = 0;
        while (!m_ended && signal == 0) {
            if (::poll(fds, 2, -1) < 0 && errno != EINTR)
                break;
            signal = signals.Received();
            if (signal == 0)
                m_source.ProcessPending();
        }
        // Lines the reader still holds are dropped; what was handled is in the log, whole lines.
        m_source.Close();
        Recorded(m_session.CloseLog());
        return signal;
    }

    int Report(int signal)
    {
        if (!m_alerts.empty()
            && std::fwrite(m_alerts.data(), 1, m_alerts.size(), stdout) != m_alerts.size())
            return OutputError(errno);
        if (m_options.summary)
            PrintSessionSummary(m_session, SecondsSince(m_started), false);
        int status = kExitOk;
        if (m_readError != 0) {
            std::fprintf(stderr, "veloran-cli: cannot read '%s': %s\n", m_options.file.c_str(),
                         std::strerror(m_readError));
            status = kExitFile;
        }
        return EndOfRunStatus("replay", status, m_options.record, m_writeError, signal);
    }

private:
    // --from and --to: the bytes of the log between them, by its epochs' times.
    void SetWindow()
    {
        if (!m_options.from && !m_options.to)
            return;
        const CReplayIndex index = CReplayIndex::BuildFromFile(m_options.file);
        std::uint64_t from = 0;
        std::optional<std::uint64_t> to;
        if (m_options.from) {
            const std::optional<std::size_t> first = index.FirstEpochFrom(*m_options.from);
            from = first ? index.GetEpoch(*first).offset : index.GetFileSize();
        }
        if (m_options.to) {
            // The whole second: a receiver reporting 5 times a second has 5 epochs in it.
            const std::optional<std::size_t> after = index.FirstEpochFrom(*m_options.to + 1.0);
            if (after)
                to = std::max(index.GetEpoch(*after).offset, from);
        }
        m_source.SetReplayWindow(from, to);
    }

    void HandleLine(std::string_view line)
    {
        const CReceiverUpdate update = m_session.HandleLine(line);
        if (update.Happened(kEventRecordFailed))
            m_writeError = update.recordError;
        if (!update.Happened(kEventWaypointReached))
            return;
        const std::string n = std::to_string(m_session.GetLines());
        if (m_options.json) {
            m_alerts += "{\"n\": " + n + ", \"event\": \"reached\", \"name\": ";
            AppendJsonText(m_alerts, m_options.gotoName);
            m_alerts += "}\n";
        } else {
            m_alerts += n + " reached " + m_options.gotoName + "\n";
        }
    }

    void Recorded(const std::optional<std::string> &error)
    {
        if (error)
            m_writeError = *error;
    }

    const CReplayOptions &m_options;
    CWaypointList m_list;
    CWaypointNavigator m_navigator;
    CReceiverSession m_session;
    CDataSource m_source;
    bool m_ended = false;
    int m_readError = 0;
    std::string m_writeError;
    std::string m_alerts;
    std::chrono::steady_clock::time_point m_started;
};

} // namespace

int RunReplay(const std::vector<std::string_view> &args)
{
    CReplayOptions options;
    if (const std::optional<int> status = ParseReplayOptions(args, options))
        return *status;
    CReplayRun run(options);
    if (options.haveGoto)
        if (const std::optional<int> status = run.SelectGoto())
            return *status;
    const CSignalPipe signals;
    if (const std::optional<int> status = run.Start())
        return *status;
    return run.Report(run.Pump(signals));
}
