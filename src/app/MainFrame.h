#pragma once

#include "app/CommandTable.h"
#include "base/GeoPosition.h"
#include "geo/SunPosition.h"
#include "receiver/DataSource.h"
#include "receiver/ReceiverSession.h"
#include "receiver/SerialSettings.h"
#include "receiver/StatusText.h"
#include "settings/DisplaySettings.h"
#include "widgets/WindowKeeper.h"

#include <QElapsedTimer>
#include <QMainWindow>

#include <map>
#include <memory>
#include <optional>
#include <string_view>

class CDashboard;
class CDataLogView;
class CDigiDash;
class CFixSound;
class CGPSData;
class CSatellitesPage;
class CGPSSheet;
class CMapView;
class CTrackLogSwitch;
class CWaypointBook;
class QAction;
class CDatabaseWatch;
class CNoticeBar;
class CReplayBar;
class CSpeedWarningBar;
class CStatusLine;
class CTripKeeper;
class QSocketNotifier;
class QTimer;
class QToolBar;

/// The main window. Owns the parser, the receiver connection, the recording and the pages, and
/// runs every received line through them in a fixed order; every command of the program is one of
/// its commands, with an enable and check rule.
class CMainFrame : public QMainWindow
{
    Q_OBJECT
public:
    explicit CMainFrame(QWidget *parent = nullptr);
    /// Closes the source, writes the frame's settings back, then destroys the pages (which write
    /// theirs) while the parser and the source they point at still exist.
    ~CMainFrame() override;

    /// Runs a command as its menu entry would (whether or not it is enabled).
    void RunCommand(int id);
    [[nodiscard]] CFrameState GetState() const;
    /// Applies the enable and check rules to every command.
    void UpdateCommands();
    [[nodiscard]] QAction *GetAction(int id) const;

    /// Opens the configured receiver source: the command line's, else the stored one, else the
    /// serial port of its settings. Shows why when it cannot ("Failed to open COM Port.").
    bool OpenPort();
    /// Uses `source` for this run instead of the configured one (not stored).
    void SetSourceOverride(const CSourceAddress &source) { m_sourceOverride = source; }
    /// What OpenPort opens.
    [[nodiscard]] CSourceAddress ConfiguredSource() const;
    /// The command line chose a source: auto-connect stays off for this start.
    void SuppressAutoConnect() { m_suppressAutoConnect = true; }
    /// Whether the port opens by itself once the window shows.
    [[nodiscard]] bool WillAutoConnect() const { return m_autoConnect && !m_suppressAutoConnect; }
    /// Uses `device` for this run instead of the configured port (not stored).
    void SetPortOverride(const QString &device);
    /// Reads the receiver in `mode` for this run instead of the stored one (not stored); call
    /// before a source opens.
    void SetGnssModeOverride(GnssMode mode);
    /// Replays a log file; shows the failure.
    bool ReplayFile(const QString &path);
    /// Closes the serial port or replay; waits at most two seconds for the reader.
    void CloseSource();
    /// Starts recording into `path`, replacing what it held; shows the failure (the file being
    /// replayed, a file in use by another recording).
    bool CreateLog(const QString &path);
    /// Closes the log; a write failure that shows only now is reported.
    void StopLogging();
    void SetReplayDelay(unsigned milliseconds);
    /// Places the window on its screen as it closed last time (fitted to the screen now), else
    /// at the default size, full screen on a small screen; with `fullScreenOption` full screen
    /// for this run (not stored). The constructor places it without the option.
    void PlaceOnScreen(bool fullScreenOption = false);
    /// F11: the window full screen, or back as it was.
    void ToggleFullScreen();
    /// After a replay, opens the live source the replay took the place of; else runs the dialog
    /// when the port was never configured, and opens the port unless it was cancelled.
    void PlainConnect();

    /// One received line, line end included: the data-line handler.
    void HandleLine(std::string_view line);

    [[nodiscard]] const CDisplaySettings &GetDisplaySettings() const { return m_display; }
    [[nodiscard]] CGPSSheet *GetSheet() const { return m_sheet; }
    [[nodiscard]] CDashboard *GetDashboard() const { return m_dashboard; }
    [[nodiscard]] CMapView *GetMapView() const { return m_mapView; }
    [[nodiscard]] CGPSData *GetListPage() const { return m_listPage; }
    [[nodiscard]] CSatellitesPage *GetSatellitesPage() const { return m_satellitesPage; }
    [[nodiscard]] CDataLogView *GetDataPage() const { return m_dataPage; }
    /// The digital dashboard; null until it was first opened.
    [[nodiscard]] CDigiDash *GetDigitalDashboard() const { return m_digiDash; }
    [[nodiscard]] const CNMEAParser &GetParser() const { return m_session.GetParser(); }
    [[nodiscard]] CRecordingRules &GetRecordingRules() { return m_session.GetRecordingRules(); }
    [[nodiscard]] const CDataSource &GetSource() const { return m_source; }
    [[nodiscard]] bool IsLogOpen() const { return m_session.GetLog().IsOpen(); }
    [[nodiscard]] const CNMEALogFile &GetLog() const { return m_session.GetLog(); }
    [[nodiscard]] CWaypointBook &GetWaypoints() const { return *m_waypoints; }
    /// The notice above the pages (a receiver gone or back); empty while none shows.
    [[nodiscard]] QString GetNotice() const;
    /// The line below the pages: source, fix, recording, alarm.
    [[nodiscard]] CStatusLine *GetStatusLine() const { return m_statusLine; }
    /// Brings the status line up to date now instead of at its next tick.
    void RefreshStatusLine();
    /// The trip computer and the speed alarm.
    [[nodiscard]] CTripKeeper &GetTrip() const { return *m_trip; }
    /// The replay bar below the pages, shown while a file replays.
    [[nodiscard]] CReplayBar *GetReplayBar() const { return m_replayBar; }
    /// The speed alarm's warning above the pages.
    [[nodiscard]] CSpeedWarningBar *GetSpeedWarningBar() const { return m_speedWarning; }
    /// The Speed Alarm dialog, over the digital dashboard while it shows.
    void EditSpeedAlarm();

signals:
    /// The source ended by itself: end of the replay file (or a read error in it), or the port
    /// went away.
    void SourceEnded(bool wasReplay);

protected:
    void closeEvent(QCloseEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void BuildCommands();
    // RunCommand by menu: true when the id was one of theirs.
    bool RunReceiverCommand(int id);
    bool RunLogCommand(int id);
    bool RunNavCommand(int id);
    bool RunDisplayCommand(int id);
    void RunToolsCommand(int id);
    void ReadSettings();
    void ReadStoredSource();
    void WriteSettings() const;
    /// Carries out on the pages what the session says a line or event changed.
    void Show(const CReceiverUpdate &update);
    void RecordFailed(const std::string &error);
    /// Opens the port when needed and sends the map cursor as the receiver's first guess.
    void HotConnect();
    void SetClock(std::time_t utc);
    [[nodiscard]] CGeoPosition ProposedPosition() const;
    void ResetIdleTimer();
    void OnWake();
    void OnSourceClosed(int errorCode);
    // Where the replay's lines stand: started again from the file's start, catching up to a seek.
    void ReplayMarked(ReplayMark mark);
    void ReplayStopped();
    void ReceiverLost(int errorCode, const CReceiverUpdate &update);
    void RetryPort();
    bool OpenNetworkSource(const CSourceAddress &source);
    // `source` itself, whatever is configured.
    bool OpenSource(const CSourceAddress &source);
    // A source began to deliver (or is being tried again): the status line's ages start now.
    void StatusSourceOpened(CStatusState::Source kind);
    [[nodiscard]] double StatusNow() const { return m_statusClock.elapsed() / 1000.0; }
    // gpsd holds the port: the box says so and offers to read the receiver through gpsd.
    bool OfferGpsd(const QString &why, const QString &details);
    // A SiRF receiver in binary mode: offers the switch to NMEA, then finds its speed again.
    void OfferSirfSwitch(const QString &why);
    // The port of the last OpenPort, at its speed or looking for it.
    bool OpenSerial(const std::string &device, std::string &error);
    void OnSourceStatus(const CSourceStatus &status);
    void StopRetrying();
    void ChooseAndReplay();
    void ChooseAndCreateLog();
    /// The Map page keeps its setters: it follows the display settings through them.
    void FollowDisplaySettingsOnMap();
    void ChooseGnssMode(GnssMode mode);
    /// The satellite systems in effect changed: the parser and the reader start anew.
    void ApplyGnssMode();
    void ToggleDigitalDashboard();
    /// The application's style and the tool bar's icons for the large controls setting.
    void ApplyLargeControls();
    /// The window's palette, the tool bar's icons and the Map page for night mode.
    void ApplyNightColours();
    /// Night mode at sunset and sunrise where the last fix was, when the user wants it.
    void FollowSun();
    void StartAlarm();
    /// The speed alarm's warning, in the speedometer's unit, on every page and the status line.
    void ShowSpeedWarning();
    void Quit();
    // Another program's saves of the waypoint or map database are taken over when idle.
    void CheckDatabases();

    // Owned in this order; destroyed in reverse. The display settings outlive the pages.
    CDisplaySettings m_display;
    QToolBar *m_toolBar = nullptr;
    CNoticeBar *m_notice = nullptr;
    CSpeedWarningBar *m_speedWarning = nullptr;
    CStatusLine *m_statusLine = nullptr;
    CReplayBar *m_replayBar = nullptr;
    CGPSSheet *m_sheet = nullptr;
    CDashboard *m_dashboard = nullptr;
    CMapView *m_mapView = nullptr;
    CGPSData *m_listPage = nullptr;
    CSatellitesPage *m_satellitesPage = nullptr;
    CDataLogView *m_dataPage = nullptr;
    CReceiverSession m_session; // parser, recording, fix events, proximity, the source's watch
    CSerialSettings m_serialSettings;
    CDataSource m_source;
    QSocketNotifier *m_wake = nullptr;
    std::unique_ptr<CFixSound> m_sound;
    std::map<int, QAction *> m_actions;
    std::unique_ptr<CWaypointBook> m_waypoints;
    std::unique_ptr<CTripKeeper> m_trip; // reads the sound and the waypoints
    std::unique_ptr<CTrackLogSwitch> m_track;
    CDatabaseWatch *m_databaseWatch = nullptr;

    // Settings of the frame.
    bool m_autoConnect = false;

    QString m_portOverride;
    std::optional<CSourceAddress> m_sourceOverride;
    std::optional<CSourceAddress> m_storedSource;
    int m_portBaudRate = 0;        // of the open port, for its retries
    bool m_portFindsSpeed = false; // baud=auto: its speed is looked for at each opening
    CBackoff m_retryWait;
    QString m_replayPath;
    QTimer *m_retry = nullptr;
    bool m_shown = false;
    bool m_suppressAutoConnect = false;
    qint64 m_lastIdleReset = -1;
    QTimer *m_alarm = nullptr;
    CDigiDash *m_digiDash = nullptr; // a window of its own, made when first opened
    int m_alarmCount = 0;
    CWindowKeeper m_placement{*this};
    CStatusState m_status;
    std::optional<double> m_timeOfDay;      // the receiver's last UTC time, for the signal history
    std::optional<CGeoPosition> m_sunPlace; ///< the last fix, for the sun
    CSunWatch m_sunWatch;
    QElapsedTimer m_statusClock;
    QTimer *m_statusTick = nullptr;
};
