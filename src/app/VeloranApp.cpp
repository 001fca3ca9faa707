#include "app/VeloranApp.h"

#include "app/CommandTable.h"
#include "app/GPSSheet.h"
#include "app/MainFrame.h"
#include "dashboard/DigiDash.h"
#include "maps/MapView.h"
#include "settings/DataDirectory.h"
#include "settings/SettingsKey.h"
#include "widgets/MessageBox.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QTimer>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace
{

// Screenshot of a live session: the receiver has had time to deliver a few epochs.
constexpr int kLiveScreenshotMs = 5000;
constexpr int kScreenshotSettleMs = 200;

int g_signalSocket[2] = {-1, -1};
int g_watchdogPipe[2] = {-1, -1};

// How long the orderly quit after a signal may take before the process is ended regardless.
constexpr auto kQuitGrace = std::chrono::milliseconds(1500);

void OnSignal(int signal)
{
    const char byte = 1;
    // Only async-signal-safe writes here; the window ends in the event loop.
    [[maybe_unused]] const ssize_t n = ::write(g_signalSocket[0], &byte, 1);
    const auto number = static_cast<unsigned char>(signal);
    [[maybe_unused]] const ssize_t m = ::write(g_watchdogPipe[1], &number, 1);
}

// The last resort when the quit after a signal hangs anyway (a thread stuck in the kernel, a
// file system that does not answer): a signal must end the program within two seconds.
void StartQuitWatchdog()
{
    if (::pipe2(g_watchdogPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    // The thread blocks in read; the signal handler's write never does.
    const int flags = ::fcntl(g_watchdogPipe[0], F_GETFL);
    ::fcntl(g_watchdogPipe[0], F_SETFL, flags & ~O_NONBLOCK);
    std::thread([] {
        unsigned char signal = 0;
        ssize_t n = 0;
        do
            n = ::read(g_watchdogPipe[0], &signal, 1);
        while (n < 0 && errno == EINTR);
        if (n != 1)
            return;
        std::this_thread::sleep_for(kQuitGrace);
        static constexpr char kMessage[] = "veloran: quit did not finish in time; ended\n";
        [[maybe_unused]] const ssize_t w = ::write(STDERR_FILENO, kMessage, sizeof kMessage - 1);
        ::_exit(128 + signal);
    }).detach();
}

/// SIGTERM, SIGINT and SIGHUP end the program the way Quit does.
void InstallSignalHandlers(CMainFrame &frame)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, g_signalSocket) != 0)
        return;
    auto *notifier = new QSocketNotifier(g_signalSocket[1], QSocketNotifier::Read, &frame);
    QObject::connect(notifier, &QSocketNotifier::activated, &frame, [&frame, notifier] {
        char byte;
        [[maybe_unused]] const ssize_t n = ::read(g_signalSocket[1], &byte, 1);
        notifier->setEnabled(false);
        frame.RunCommand(kCmdQuit);
        // Also leaves the event loop of a box or dialog that is open: the window alone closing
        // would not end the program then.
        QCoreApplication::exit(0);
    });
    StartQuitWatchdog();
    struct sigaction action = {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaction(signal, &action, nullptr);
}

// The sheet's pages in tab order, then the digital dashboard over the Dashboard page.
constexpr int kDigitalDashboard = 5;

int PageNamed(const QString &name)
{
    static const std::array<const char *, 6> names = {"dashboard",  "map",  "list",
                                                      "satellites", "data", "digital"};
    for (std::size_t i = 0; i < names.size(); ++i)
        if (name.compare(QLatin1String(names[i]), Qt::CaseInsensitive) == 0)
            return static_cast<int>(i);
    return -2;
}

// Milliseconds since the kernel started this process (exec included), from /proc.
double ProcessAgeMs()
{
    QFile stat(QStringLiteral("/proc/self/stat"));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray text = stat.readAll();
    // Field 22, counted after the command name, which may hold blanks: start after its ')'.
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 20)
        return -1;
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    const double ticks = static_cast<double>(sysconf(_SC_CLK_TCK));
    return (now.tv_sec + now.tv_nsec / 1e9 - fields[19].toDouble() / ticks) * 1000.0;
}

/// Prints the time to the window's first paint and quits: the start-up benchmark.
class CFirstPaintProbe : public QObject
{
public:
    explicit CFirstPaintProbe(QElapsedTimer started)
        : m_started(started)
    {
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint && !m_done) {
            m_done = true;
            std::printf("first paint: %.1f ms after main(), process age %.1f ms\n",
                        m_started.nsecsElapsed() / 1e6, ProcessAgeMs());
            std::fflush(stdout);
            QTimer::singleShot(0, qApp, &QCoreApplication::quit);
        }
        return QObject::eventFilter(watched, event);
    }

private:
    QElapsedTimer m_started;
    bool m_done = false;
};

int Fail(const QString &message)
{
    std::fprintf(stderr, "veloran: %s\n", qPrintable(message));
    return 2;
}

// Qt's own options as QApplication takes them out of the command line, with how many values
// follow each: the command line is read before QApplication exists, so they are left to it.
QStringList WithoutToolkitOptions(const QStringList &arguments)
{
    static const QStringList valued = {QStringLiteral("platform"),
                                       QStringLiteral("platformpluginpath"),
                                       QStringLiteral("platformtheme"),
                                       QStringLiteral("plugin"),
                                       QStringLiteral("qwindowgeometry"),
                                       QStringLiteral("geometry"),
                                       QStringLiteral("qwindowicon"),
                                       QStringLiteral("icon"),
                                       QStringLiteral("qwindowtitle"),
                                       QStringLiteral("title"),
                                       QStringLiteral("name"),
                                       QStringLiteral("display"),
                                       QStringLiteral("session"),
                                       QStringLiteral("style"),
                                       QStringLiteral("stylesheet")};
    static const QStringList flags = {QStringLiteral("reverse"),     QStringLiteral("widgetcount"),
                                      QStringLiteral("testability"), QStringLiteral("nograb"),
                                      QStringLiteral("dograb"),      QStringLiteral("sync")};
    QStringList kept;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &a = arguments[i];
        if (i == 0 || !a.startsWith(QLatin1Char('-')) || a == QStringLiteral("--")) {
            kept << a;
            if (a == QStringLiteral("--") && i > 0) {
                kept << arguments.mid(i + 1);
                break;
            }
            continue;
        }
        QString name = a.mid(a.startsWith(QStringLiteral("--")) ? 2 : 1);
        const qsizetype equals = name.indexOf(QLatin1Char('='));
        if (equals >= 0) {
            name.truncate(equals);
            if (valued.contains(name) || name == QStringLiteral("qmljsdebugger"))
                continue;
        } else if (valued.contains(name) && i + 1 < arguments.size()) {
            ++i;
            continue;
        } else if (flags.contains(name)) {
            continue;
        }
        kept << a;
    }
    return kept;
}

// Settings that cannot be used are left alone; say so once, and that nothing will be kept.
void TellSettingsProblem(QWidget *parent)
{
    const std::string problem = CSettingsKey::TakeProblem();
    if (problem.empty())
        return;
    ShowMessage(parent,
                {QStringLiteral("Veloran"),
                 QStringLiteral("The settings file cannot be used. Defaults are in use, and "
                                "changes will not be saved there."),
                 QMessageBox::Warning, QString::fromStdString(problem)});
}

// The options after --help and --version, in the order the help lists them.
struct COptionText {
    const char *name;
    const char *description;
    const char *valueName = nullptr; ///< for an option that takes a value
};
constexpr COptionText kOptionTexts[] = {
    {"demo", "Replay the bundled demo log."},
    {"replay", "Replay an NMEA log.", "FILE"},
    {"replay-delay",
     "Pause before each epoch while replaying (1000 = real time, 0 = as fast as possible).", "MS"},
    {"port", "Serial device of the receiver for this run.", "DEVICE"},
    {"source",
     "Receiver for this run, opened at start: a device, serial:DEVICE?baud=N, "
     "gpsd://HOST:PORT[/DEVICE], tcp://HOST:PORT, tcp-listen://[ADDRESS]:PORT or "
     "udp://[ADDRESS]:PORT.",
     "URL"},
    {"connect", "Open the port at start."},
    {"record", "Record the received lines into FILE.", "FILE"},
    {"page", "Page to show: dashboard, map, list, satellites, data, or the digital dashboard.",
     "PAGE"},
    {"fullscreen", "Show the window full screen for this run (F11 toggles it)."},
    {"screenshot", "Write a PNG of the window when the replay ends (or after 5 s live), then quit.",
     "FILE"},
    {"quit-after-replay", "Quit when the replay ends."},
    {"config-dir", "Directory of the settings file.", "DIR"},
    {"data-dir", "Directory of the data files.", "DIR"},
    {"gnss",
     "Satellite systems for this run: all, or gps for GPS only (exact). The stored choice stays.",
     "all|gps"},
};
// The start-up benchmark's, left out of the help.
constexpr COptionText kStartupProbe = {"startup-probe",
                                       "Print the time to the first paint and quit."};

QCommandLineOption MakeOption(const COptionText &text)
{
    return QCommandLineOption(QLatin1String(text.name), QLatin1String(text.description),
                              text.valueName != nullptr ? QLatin1String(text.valueName)
                                                        : QString());
}

// The values of a parsed command line; the exit status of a bad one.
std::optional<int> ReadOptions(const QCommandLineParser &parser, CStartOptions &options)
{
    const auto isSet = [&parser](const char *name) { return parser.isSet(QLatin1String(name)); };
    const auto value = [&parser](const char *name) { return parser.value(QLatin1String(name)); };
    options.demo = isSet("demo");
    options.replay = value("replay");
    if (isSet("replay-delay")) {
        bool ok = false;
        const uint delay = value("replay-delay").toUInt(&ok);
        if (!ok || delay > 60000)
            return Fail(QStringLiteral("--replay-delay wants milliseconds from 0 to 60000"));
        options.replayDelay = delay;
    }
    options.port = value("port");
    if (isSet("source")) {
        std::string error;
        options.source = CSourceAddress::Parse(value("source").toStdString(), error);
        if (!options.source)
            return Fail(QStringLiteral("--source: %1").arg(QString::fromStdString(error)));
        if (!options.port.isEmpty())
            return Fail(QStringLiteral("--source and --port cannot be used together"));
    }
    options.connect = isSet("connect") || options.source.has_value();
    options.record = value("record");
    if (isSet("page")) {
        options.page = PageNamed(value("page"));
        if (options.page < 0)
            return Fail(
                QStringLiteral("--page wants dashboard, map, list, satellites, data or digital"));
    }
    if (isSet("gnss")) {
        options.gnss = GnssModeFromName(value("gnss").toStdString());
        if (!options.gnss)
            return Fail(QStringLiteral("--gnss wants all or gps"));
    }
    options.fullScreen = isSet("fullscreen");
    options.screenshot = value("screenshot");
    options.quitAfterReplay = isSet("quit-after-replay");
    options.configDir = value("config-dir");
    options.dataDir = value("data-dir");
    options.startupProbe = isSet(kStartupProbe.name);
    if ((!options.replay.isEmpty() || options.demo) && options.connect)
        return Fail(options.source ? QStringLiteral("--source and a replay cannot run together")
                                   : QStringLiteral("--connect and a replay cannot run together"));
    return std::nullopt;
}

// Read before QApplication, which needs a display: help, version and a bad command line are
// answered without one. The exit status when the program ends here, else nothing.
std::optional<int> ParseCommandLine(int argc, char **argv, CStartOptions &options)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("GPS dashboard for NMEA 0183 receivers."));
    parser.addHelpOption();
    parser.addVersionOption();
    for (const COptionText &text : kOptionTexts)
        parser.addOption(MakeOption(text));
    QCommandLineOption startupProbe = MakeOption(kStartupProbe);
    startupProbe.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(startupProbe);
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    if (!parser.parse(WithoutToolkitOptions(arguments)))
        return Fail(parser.errorText() + QStringLiteral(" (try --help)"));
    if (parser.isSet(QStringLiteral("help"))
        || parser.optionNames().contains(QStringLiteral("help-all"))) {
        std::fputs(qPrintable(parser.helpText().replace(QStringLiteral("<executable_name>"),
                                                        QStringLiteral("veloran"))),
                   stdout);
        return std::fflush(stdout) == 0 && !std::ferror(stdout) ? 0 : 1;
    }
    if (parser.isSet(QStringLiteral("version"))) {
        std::printf("veloran %s\n", VELORAN_VERSION);
        return std::fflush(stdout) == 0 && !std::ferror(stdout) ? 0 : 1;
    }
    if (!parser.positionalArguments().isEmpty())
        return Fail(QStringLiteral("unexpected argument '%1' (try --help)")
                        .arg(parser.positionalArguments().first()));
    for (const char *name : {"replay", "port", "source", "record", "screenshot", "config-dir",
                             "data-dir", "page", "replay-delay", "gnss"}) {
        if (parser.values(QLatin1String(name)).contains(QString()))
            return Fail(QStringLiteral("--%1 needs a value").arg(QLatin1String(name)));
    }
    return ReadOptions(parser, options);
}

// Set up before any source opens: the demo, a replay, auto-connect when the window shows.
std::unique_ptr<CMainFrame> BuildFrame(const CStartOptions &options)
{
    auto frame = std::make_unique<CMainFrame>();
    if (options.gnss)
        frame->SetGnssModeOverride(*options.gnss);
    InstallSignalHandlers(*frame);
    if (options.page >= 0)
        frame->GetSheet()->setCurrentIndex(options.page == kDigitalDashboard ? kPageDashboard
                                                                             : options.page);
    if (!options.port.isEmpty())
        frame->SetPortOverride(options.port);
    if (options.source)
        frame->SetSourceOverride(*options.source);
    if (options.replayDelay)
        frame->SetReplayDelay(*options.replayDelay);
    if (!options.replay.isEmpty() || options.connect)
        frame->SuppressAutoConnect();
    if (options.fullScreen)
        frame->PlaceOnScreen(true);
    return frame;
}

void TakeScreenshot(CMainFrame &frame, const QString &file)
{
    // Pages repaint on a short timer of their own; let the last lines reach the screen.
    QTimer::singleShot(kScreenshotSettleMs, &frame, [&frame, file] {
        QWidget *shown =
            frame.GetDigitalDashboard() != nullptr && frame.GetDigitalDashboard()->isVisible()
                ? static_cast<QWidget *>(frame.GetDigitalDashboard())
                : &frame;
        if (!shown->grab().save(file, "PNG"))
            ShowError(&frame, QStringLiteral("Cannot write the screenshot."), file);
        frame.RunCommand(kCmdQuit);
    });
}

// The end of a replay takes the screenshot or quits, when asked to.
void ConnectReplayEnd(CMainFrame &frame, const CStartOptions &options)
{
    QObject::connect(&frame, &CMainFrame::SourceEnded, &frame, [&frame, &options](bool wasReplay) {
        if (!wasReplay)
            return;
        if (!options.screenshot.isEmpty())
            TakeScreenshot(frame, options.screenshot);
        else if (options.quitAfterReplay)
            frame.RunCommand(kCmdQuit);
    });
}

// The recording is opened only once its source is, so a failed start leaves an older file
// alone.
void OpenSource(CMainFrame &frame, const CStartOptions &options)
{
    TellSettingsProblem(&frame);
    bool sourceOpen = true;
    if (!options.replay.isEmpty())
        sourceOpen = frame.ReplayFile(options.replay);
    else if (options.connect)
        sourceOpen = frame.OpenPort();
    else if (frame.WillAutoConnect()) // it has run by now
        sourceOpen = frame.GetSource().IsOpen();
    if (!sourceOpen) {
        if (!options.record.isEmpty())
            std::fprintf(stderr, "veloran: not recording to %s: no data source\n",
                         qPrintable(options.record));
        if (IsUnattended())
            frame.RunCommand(kCmdQuit);
        return;
    }
    if (!options.record.isEmpty()) {
        if (!frame.CreateLog(options.record)) {
            frame.RunCommand(kCmdQuit);
            return;
        }
        if (frame.GetLog().GetReplacedBytes() > 0)
            std::fprintf(stderr, "veloran: recording to %s replaces its %lld bytes\n",
                         qPrintable(options.record), frame.GetLog().GetReplacedBytes());
    }
    if (options.replay.isEmpty() && !options.screenshot.isEmpty())
        QTimer::singleShot(kLiveScreenshotMs, &frame,
                           [&frame, file = options.screenshot] { TakeScreenshot(frame, file); });
}

} // namespace

QString CVeloranApp::DemoLogPath()
{
    const QString installed = QCoreApplication::applicationDirPath() + QStringLiteral("/../")
                              + QStringLiteral(VELORAN_INSTALL_DATADIR)
                              + QStringLiteral("/demo.nmea");
    if (QFileInfo::exists(installed))
        return QDir::cleanPath(installed);
    return QStringLiteral(VELORAN_SOURCE_RESOURCES "/demo.nmea");
}

int CVeloranApp::Run(int argc, char **argv)
{
    QElapsedTimer started;
    started.start();
    // Past a file size limit a write fails with EFBIG like any other, instead of killing us
    // with half a line in the log.
    std::signal(SIGXFSZ, SIG_IGN);
    QCoreApplication::setApplicationName(QStringLiteral("veloran"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VELORAN_VERSION));
    CStartOptions options;
    if (const std::optional<int> status = ParseCommandLine(argc, argv, options))
        return *status;

    // Nobody is there to click a box away: errors go to standard error and the exit status.
    SetUnattended(options.quitAfterReplay || !options.screenshot.isEmpty());
    QApplication app(argc, argv);
    QApplication::setApplicationDisplayName(QStringLiteral("Veloran"));
    QApplication::setDesktopFileName(QStringLiteral("org.veloran.Veloran"));
    if (options.demo && options.replay.isEmpty())
        options.replay = DemoLogPath(); // found beside the program
    CSettingsKey::SetConfigDirectory(options.configDir.toStdString());
    SetDataDirectory(options.dataDir);

    std::unique_ptr<CMainFrame> frame = BuildFrame(options);
    ConnectReplayEnd(*frame, options);
    CFirstPaintProbe probe(started);
    if (options.startupProbe)
        frame->GetSheet()->currentWidget()->installEventFilter(&probe);
    frame->show();
    if (options.page == kDigitalDashboard)
        frame->RunCommand(kCmdDigitalDashboard);
    // Opening a source waits for the window, so a box about it has a window to sit on.
    QTimer::singleShot(0, frame.get(), [&frame, &options] { OpenSource(*frame, options); });
    const int status = QApplication::exec();
    frame.reset(); // closes the log: a last write failure counts too
    const int result = status == 0 && IsUnattended() && GetErrorCount() > 0 ? 1 : status;
    if (CMapView::AbandonedDecodes() > 0) {
        // A map decode still runs on a stuck file: exit handlers would tear down what it uses.
        std::fflush(nullptr);
        ::_exit(result);
    }
    return result;
}
