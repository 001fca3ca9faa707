#include "Cli.h"
#include "CliArguments.h"
#include "SessionSummary.h"
#include "SignalPipe.h"
#include "receiver/DataSource.h"
#include "receiver/LastSpeed.h"
#include "receiver/PortInspector.h"
#include "receiver/ReceiverSession.h"
#include "receiver/SerialSettings.h"
#include "receiver/SourceAddress.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <optional>
#include <poll.h>
#include <string>

namespace
{

constexpr const char *kListenHelp =
    "usage: veloran-cli listen SOURCE [--record OUT] [--seconds N] [--json]\n"
    "                          [--profile full|moderate|low] [--gnss all|gps]\n"
    "\n"
    "Receives from a live source through the receiver engine, as the window does: the reader,\n"
    "the parser, the recording rules and the log; the summary of replay --summary at the end.\n"
    "\n"
    "  SOURCE       serial:/dev/ttyUSB0?baud=4800 (baud=auto: found by listening, the speed\n"
    "               that locked on the device remembered), or a plain device path (COM3 is\n"
    "               /dev/ttyS2) at the configured speed; gpsd://[HOST[:PORT]][/DEVICE] "
    "(localhost:2947,\n"
    "               every device unless one is named); tcp://HOST[:PORT] (a device that\n"
    "               serves NMEA); tcp-listen://[ADDRESS]:PORT (the device connects to us);\n"
    "               udp://[ADDRESS]:PORT (datagrams sent to this machine; other programs may\n"
    "               listen on the port too, but a sender to one address reaches only one of\n"
    "               them, broadcasts reach all). PORT is 10110 unless given.\n"
    "  --record OUT write the lines the recording rules keep to OUT, replacing it; every\n"
    "               sentence and every other line unless --profile\n"
    "  --profile P  recording rates of the profile: full, moderate or low\n"
    "  --seconds N  end after N seconds with exit 0, whether or not lines came\n"
    "  --json       the summary as one JSON object\n"
    "  --gnss M     all: every satellite system (the default); gps: the five $GP sentences\n"
    "\n"
    "What the source is doing (connecting, lost, back) goes to standard error. A network source\n"
    "is reached again whenever it is lost, and so is a serial port that fails, waiting 1, 2, 4\n"
    "... 30 s between tries; no sentence for 10 s makes a TCP or gpsd connection anew.\n"
    "SIGTERM, SIGINT and SIGHUP end it with the recording whole (exit 128 + signal).\n";

struct CListenOptions {
    std::string source;
    std::string record;
    int profile = -1;
    std::optional<long long> seconds;
    bool json = false;
    GnssMode mode = GnssMode::AllSystems;
};

std::optional<int> ParseListenOptions(const std::vector<std::string_view> &args,
                                      CListenOptions &options)
{
    std::optional<std::string> source;
    const CCliSyntax syntax{
        .command = "listen",
        .help = kListenHelp,
        .options = {GnssOption(options.mode), TextOption("--record", "a file name", options.record),
                    ChoiceOption<int>("--profile", "full, moderate or low", options.profile,
                                      {{"full", kProfileFull},
                                       {"moderate", kProfileModerate},
                                       {"low", kProfileLow}}),
                    IntegerOption<long long>("--seconds", "a number of seconds", options.seconds,
                                             {}, 0),
                    FlagOption("--json", options.json)},
        .operand = OneFile("listen", source)};
    if (const std::optional<int> status = ReadArguments(args, 0, syntax))
        return status;
    if (!source)
        return UsageError("listen: missing SOURCE");
    options.source = std::move(*source);
    return std::nullopt;
}

void Say(const std::string &text)
{
    std::fprintf(stderr, "veloran-cli: %s\n", text.c_str());
}

// One listen: the source opened (a failed port again and again), lines into the session until
// the time is up or a signal comes.
class CListenRun
{
public:
    CListenRun(const CListenOptions &options, const CSourceAddress &address)
        : m_options(options)
        , m_address(address)
        , m_source([this](std::string_view line) { HandleLine(line); },
                   [this](int errorCode) { m_endError = errorCode ? errorCode : EIO; })
    {
        m_source.SetStatusHandler([this](const CSourceStatus &status) {
            Say(status.text);
            if (status.kind == CSourceStatus::Kind::Locked)
                StoreLastSpeed(m_session.GetWatch().GetDevice(), status.speed);
            m_session.StatusChanged(status);
        });
        m_source.SetBatchHandler([this] { Recorded(m_session.EndOfBatch()); });
    }

    // The exit status when the source or the recording cannot start.
    std::optional<int> Start()
    {
        m_session.SetGnssMode(m_options.mode);
        if (m_options.profile >= 0)
            m_session.GetRecordingRules().ApplyProfile(
                static_cast<RecordingProfile>(m_options.profile));
        m_source.SetGnssMode(m_options.mode);
        m_started = std::chrono::steady_clock::now();
        std::string error;
        if (!Open(error)) {
            std::fprintf(stderr, "veloran-cli: cannot open '%s': %s\n", m_options.source.c_str(),
                         error.c_str());
            // Why, and what to do about it, as the window says it.
            if (!m_address.IsNetwork()) {
                const std::string advice =
                    CPortInspector().Diagnose(DevicePathForPort(m_address.device)).GetText();
                if (!advice.empty())
                    std::fprintf(stderr, "%s\n", advice.c_str());
            }
            return kExitFile;
        }
        const std::string &record = m_options.record;
        if (!record.empty() && !m_session.CreateLog(record, std::nullopt)) {
            std::fprintf(stderr, "veloran-cli: cannot record to '%s': %s\n", record.c_str(),
                         m_session.GetLog().GetErrorText().c_str());
            return kExitFile;
        }
        return std::nullopt;
    }

    // Until the time is up or one of `signals`; returns the signal, 0 for none.
    int Pump(const CSignalPipe &signals)
    {
        using Clock = std::chrono::steady_clock;
        constexpr Clock::time_point kNever = Clock::time_point::max();
        const Clock::time_point deadline =
            m_options.seconds ? m_started + std::chrono::seconds(*m_options.seconds) : kNever;
        Clock::time_point retryAt = kNever;
        int signal = 0;
        while (signal == 0) {
            const Clock::time_point now = Clock::now();
            if (now >= deadline)
                break;
            if (now >= retryAt) {
                retryAt = kNever;
                std::string error;
                if (Open(error))
                    Say(m_session.GetWatch().BackNotice());
                else
                    retryAt = Clock::now() + std::chrono::milliseconds(m_backoff.NextMs());
            }
            const Clock::time_point wake = std::min(deadline, retryAt);
            const int timeout =
                wake == kNever
                    ? -1
                    : static_cast<int>(
                        std::chrono::duration_cast<std::chrono::milliseconds>(wake - now).count()
                        + 1);
            pollfd fds[2] = {{m_source.GetWakeHandle(), POLLIN, 0},
                             {signals.GetHandle(), POLLIN, 0}};
            if (::poll(fds, 2, timeout) < 0 && errno != EINTR)
                break;
            signal = signals.Received();
            if (signal != 0)
                break;
            m_source.ProcessPending();
            if (m_endError != 0) {
                // A serial port that failed: the fix is lost, the port opened again later.
                const CReceiverSession::CSourceEnd end = m_session.SourceEnded(m_endError);
                const int wait = m_backoff.NextMs();
                Say(m_session.GetWatch().LostNotice(std::system_category().message(m_endError))
                    + " (in " + std::to_string(wait / 1000) + " s)");
                m_endError = 0;
                if (end.actions.retry)
                    retryAt = Clock::now() + std::chrono::milliseconds(wait);
            }
        }
        m_source.Close();
        Recorded(m_session.CloseLog());
        return signal;
    }

    int Report(int signal)
    {
        PrintSessionSummary(m_session, SecondsSince(m_started), m_options.json);
        if (std::fflush(stdout) != 0)
            return OutputError(errno);
        return EndOfRunStatus("listen", kExitOk, m_options.record, m_writeError, signal);
    }

private:
    bool Open(std::string &error)
    {
        if (m_address.IsNetwork()) {
            if (!m_source.OpenNetwork(m_address, error))
                return false;
            m_session.PortOpened(m_address.Describe());
            return true;
        }
        const std::string device = DevicePathForPort(m_address.device);
        CSerialSettings settings;
        settings.Load();
        const int baud = m_address.baudRate.value_or(settings.GetBaudRate());
        const bool opened = baud == CSourceAddress::kAutoBaud
                                ? m_source.OpenPortFindingSpeed(device, LoadLastSpeed(device),
                                                                settings.GetBaudRate(), error)
                                : m_source.OpenPort(device, baud, error);
        if (!opened)
            return false;
        m_session.PortOpened(device);
        m_backoff.Reset();
        return true;
    }

    void HandleLine(std::string_view line)
    {
        const CReceiverUpdate update = m_session.HandleLine(line);
        if (update.Happened(kEventRecordFailed))
            m_writeError = update.recordError;
    }

    void Recorded(const std::optional<std::string> &error)
    {
        if (error)
            m_writeError = *error;
    }

    const CListenOptions &m_options;
    const CSourceAddress &m_address;
    CReceiverSession m_session;
    CDataSource m_source;
    CBackoff m_backoff;
    int m_endError = 0;
    std::string m_writeError;
    std::chrono::steady_clock::time_point m_started;
};

} // namespace

int RunListen(const std::vector<std::string_view> &args)
{
    CListenOptions options;
    if (const std::optional<int> status = ParseListenOptions(args, options))
        return *status;
    std::string error;
    const std::optional<CSourceAddress> address = CSourceAddress::Parse(options.source, error);
    if (!address)
        return UsageError("listen: " + error);
    CListenRun run(options, *address);
    const CSignalPipe signals;
    if (const std::optional<int> status = run.Start())
        return *status;
    return run.Report(run.Pump(signals));
}
