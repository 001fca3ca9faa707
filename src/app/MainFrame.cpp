#include "app/MainFrame.h"

#include "app/AboutDialog.h"
#include "app/AppIcon.h"
#include "app/DatabaseWatch.h"
#include "app/GPSSheet.h"
#include "app/HelpViewer.h"
#include "app/MenuKeys.h"
#include "app/NoticeBar.h"
#include "app/ReplayBar.h"
#include "app/SpeedWarningBar.h"
#include "app/StatusLine.h"
#include "app/TrackLogSwitch.h"
#include "app/TripKeeper.h"
#include "base/Mnemonic.h"
#include "dashboard/Altimeter.h"
#include "dashboard/Dashboard.h"
#include "dashboard/DataLogView.h"
#include "dashboard/DigiDash.h"
#include "dashboard/SatellitesPage.h"
#include "dashboard/SkyView.h"
#include "dashboard/Speedometer.h"
#include "maps/MapDatabase.h"
#include "maps/MapView.h"
#include "nmea/GPSData.h"
#include "receiver/FixSound.h"
#include "receiver/LastSpeed.h"
#include "receiver/LogSettings.h"
#include "receiver/LogSettingsDialog.h"
#include "receiver/PortInspector.h"
#include "receiver/SerialPort.h"
#include "receiver/SerialPortDialog.h"
#include "receiver/SirfCommands.h"
#include "receiver/SirfSender.h"
#include "receiver/SystemClock.h"
#include "settings/DataDirectory.h"
#include "settings/SettingsKey.h"
#include "settings/SettingsTable.h"
#include "waypoints/WaypointBook.h"
#include "waypoints/WaypointDatabase.h"
#include "widgets/FileDialogs.h"
#include "widgets/LargeControlsStyle.h"
#include "widgets/MessageBox.h"
#include "widgets/NightPalette.h"
#include "widgets/ScreenFit.h"
#include "widgets/WindowKeeper.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDateTime>
#include <QFileInfo>
#include <QMenuBar>
#include <QScreen>
#include <QSocketNotifier>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>
#include <QWindow>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <system_error>

namespace
{

constexpr const char *kReplayTitle = "Replay NMEA log";
// A log saved without its extension must still be found.
constexpr const char *kReplayFilter = "NMEA Log Files (*.nmea);;All files (*)";
constexpr const char *kLogPattern = "*.nmea";
// The desktop's idle timer is told of activity at most this often while data arrives.
constexpr qint64 kIdleResetIntervalMs = 20000;
constexpr int kAlarmTicks = 180;
constexpr int kAlarmPeriodMs = 300;
constexpr int kDatabaseNoticeMs = 8000;
// A SiRF receiver told to speak NMEA restarts its output; listened to again after this.
constexpr int kSirfSwitchSettleMs = 500;
// The status line's ages count in seconds.
constexpr int kStatusTickMs = 1000;

QString Latin1(std::string_view text)
{
    return QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
}

std::int32_t Read(const CSettingsKey &key, const CStoredNumber &value)
{
    std::int32_t number = value.fallback;
    key.ReadNumber(value.name, number);
    return number;
}

} // namespace

CMainFrame::CMainFrame(QWidget *parent)
    : QMainWindow(parent)
    , m_source([this](std::string_view line) { HandleLine(line); },
               [this](int errorCode) { OnSourceClosed(errorCode); })
{
    setObjectName(QStringLiteral("mainFrame"));
    setWindowTitle(QStringLiteral("Veloran"));
    setWindowIcon(AppIcon());
    InstallScreenFit();

    m_toolBar = new QToolBar(QStringLiteral("Tool Bar"), this);
    m_toolBar->setObjectName(QStringLiteral("toolBar"));
    m_toolBar->setMovable(false);
    addToolBar(m_toolBar);

    m_display.Load();
    m_display.SetLargeControlsDefault(ScreenWantsLargeControls(*screen()));
    ApplyLargeControls();
    auto *pane = new QWidget(this);
    auto *paneLayout = new QVBoxLayout(pane);
    paneLayout->setContentsMargins(0, 0, 0, 0);
    paneLayout->setSpacing(0);
    m_notice = new CNoticeBar(m_display, pane);
    paneLayout->addWidget(m_notice);
    m_speedWarning = new CSpeedWarningBar(m_display, pane);
    paneLayout->addWidget(m_speedWarning);
    m_sheet = new CGPSSheet(pane);
    paneLayout->addWidget(m_sheet, 1);
    m_replayBar = new CReplayBar(m_display, m_source, pane);
    paneLayout->addWidget(m_replayBar);
    connect(m_replayBar, &CReplayBar::SpeedChosen, this, [this](unsigned delay) {
        SetReplayDelay(delay);
        UpdateCommands();
    });
    connect(m_replayBar, &CReplayBar::ControlsChanged, this, [this] { UpdateCommands(); });
    m_statusLine = new CStatusLine(m_display, pane);
    paneLayout->addWidget(m_statusLine);
    setCentralWidget(pane);
    setFocusProxy(m_sheet);
    m_dashboard = new CDashboard(m_display, m_sheet);
    m_mapView = new CMapView(m_sheet);
    m_listPage = new CGPSData(m_session.GetParser(), m_display, m_sheet);
    m_satellitesPage = new CSatellitesPage(m_display, m_sheet);
    m_dataPage = new CDataLogView(m_display, m_sheet);
    m_sheet->addTab(m_dashboard, tr("Dashboard"));
    m_sheet->addTab(m_mapView, tr("Map"));
    m_sheet->addTab(m_listPage, tr("List"));
    m_sheet->addTab(m_satellitesPage, tr("Satellites"));
    m_sheet->addTab(m_dataPage, tr("Data"));
    connect(m_sheet, &QTabWidget::currentChanged, this, [this] { UpdateCommands(); });
    connect(m_mapView, &CMapView::MapLoadedChanged, this, [this] { UpdateCommands(); });

    LoadRecordingRules(m_session.GetRecordingRules());
    m_serialSettings.Load();
    m_source.SetBatchHandler([this] {
        if (const std::optional<std::string> error = m_session.EndOfBatch())
            RecordFailed(*error);
        m_track->AfterBatch();
    });
    m_source.SetUnfinishedHandler([this](std::string_view bytes) {
        if (const std::optional<std::string> error = m_session.RecordUnfinished(bytes))
            RecordFailed(*error);
    });
    m_source.SetStatusHandler([this](const CSourceStatus &status) { OnSourceStatus(status); });
    m_source.SetMarkHandler([this](ReplayMark mark) { ReplayMarked(mark); });
    m_wake = new QSocketNotifier(m_source.GetWakeHandle(), QSocketNotifier::Read, this);
    connect(m_wake, &QSocketNotifier::activated, this, [this] { OnWake(); });
    m_sound = std::make_unique<CFixSound>();

    ReadSettings();
    ApplyGnssMode();
    connect(&m_display, &CDisplaySettings::Changed, this, [this](DisplaySetting what) {
        if (what == DisplaySetting::GnssMode)
            ApplyGnssMode();
        else if (what == DisplaySetting::LargeControls)
            ApplyLargeControls();
        else if (what == DisplaySetting::Units && m_trip)
            ShowSpeedWarning();
        else if (what == DisplaySetting::NightMode || what == DisplaySetting::NightColours)
            ApplyNightColours();
    });
    m_waypoints = std::make_unique<CWaypointBook>(this);
    m_waypoints->Load(GetDataDirectory(), WasDataDirectoryCreated());
    m_session.SetWaypoints(&m_waypoints->GetWaypoints(), &m_waypoints->GetNavigator());
    m_trip = std::make_unique<CTripKeeper>(*m_sound, *m_waypoints);
    connect(m_trip.get(), &CTripKeeper::WarningChanged, this, [this] { ShowSpeedWarning(); });
    connect(m_dashboard->GetSpeedometer(), &CSpeedometer::SpeedAlarmChosen, this,
            [this] { EditSpeedAlarm(); });
    m_mapView->Start(GetDataDirectory(), WasDataDirectoryCreated(), m_waypoints.get());
    m_databaseWatch = new CDatabaseWatch(
        GetDataDirectory(),
        {QString::fromLatin1(kWaypointFileName), QString::fromLatin1(kMapFileName)}, this);
    connect(m_databaseWatch, &CDatabaseWatch::Settled, this, [this] { CheckDatabases(); });
    CheckDatabases();
    FollowDisplaySettingsOnMap();
    m_track = std::make_unique<CTrackLogSwitch>(
        m_session, *this, [this] { return m_dashboard->GetAltimeter()->GetOffset(); });
    m_track->Load(GetDataDirectory());
    m_mapView->SetTrackExport([this] { RunCommand(kCmdExportTrack); });

    m_retry = new QTimer(this);
    m_retry->setSingleShot(true);
    connect(m_retry, &QTimer::timeout, this, [this] { RetryPort(); });

    m_alarm = new QTimer(this);
    m_alarm->setInterval(kAlarmPeriodMs);
    connect(m_alarm, &QTimer::timeout, this, [this] {
        ResetIdleTimer();
        QApplication::beep();
        if (--m_alarmCount <= 0)
            m_alarm->stop();
    });

    m_statusClock.start();
    m_statusTick = new QTimer(this);
    connect(m_statusTick, &QTimer::timeout, this, [this] {
        RefreshStatusLine();
        FollowSun();
    });
    m_statusTick->start(kStatusTickMs);

    BuildCommands();
    ApplyNightColours();
    AddMenuKeys(*this);
    AddPageKeys(*this, *m_sheet);
    PlaceOnScreen();
}

CMainFrame::~CMainFrame()
{
    CloseSource();
    WriteSettings();
    delete m_digiDash; // it reads the dashboard's instruments
    m_digiDash = nullptr;
    delete takeCentralWidget();
    CNightPalette::ApplyToApplication(false);
}

void CMainFrame::ReadSettings()
{
    CSettingsKey key;
    key.Open(kAppKey, true);
    m_autoConnect = Read(key, kAutoConnectSetting) != 0;
    m_session.SetFixOptions(Read(key, kPlaySoundSetting) != 0, Read(key, kAutoSyncSetting) != 0);
    ReadStoredSource();
}

void CMainFrame::ReadStoredSource()
{
    CSettingsKey key;
    key.Open(kSourceSetting.key, true);
    const std::string url = key.ReadText(kSourceSetting.name, "");
    std::string error;
    m_storedSource = url.empty() ? std::nullopt : CSourceAddress::Parse(url, error);
    if (!url.empty() && !m_storedSource)
        std::fprintf(stderr, "veloran: the stored source '%s' is not used: %s\n", url.c_str(),
                     error.c_str());
}

void CMainFrame::WriteSettings() const
{
    m_display.Store();
    CSettingsKey key;
    if (!key.Open(kAppKey, true))
        return;
    key.WriteNumber(kAutoConnectSetting.name, m_autoConnect ? 1 : 0);
    key.WriteNumber(kAutoSyncSetting.name, m_session.SyncsClock() ? 1 : 0);
    key.WriteNumber(kPlaySoundSetting.name, m_session.PlaysSound() ? 1 : 0);
    m_placement.Store();
}

void CMainFrame::PlaceOnScreen(bool fullScreenOption)
{
    m_placement.Place(fullScreenOption);
}

void CMainFrame::ToggleFullScreen()
{
    m_placement.ToggleFullScreen();
}

void CMainFrame::BuildCommands()
{
    std::map<std::string, QMenu *, std::less<>> menus;
    for (std::string_view title : kMenuTitles) {
        const std::string plain = StripMnemonic(title);
        QMenu *menu = menuBar()->addMenu(Latin1(title));
        menu->setObjectName(QStringLiteral("menu") + Latin1(plain));
        // Enable and check rules are evaluated whenever a menu is about to show.
        connect(menu, &QMenu::aboutToShow, this, [this] { UpdateCommands(); });
        menus[plain] = menu;
    }
    std::map<QString, QMenu *> submenus;
    for (const CMenuEntry &entry : kMenuEntries) {
        auto *action = new QAction(Latin1(entry.text), this);
        action->setCheckable(entry.checkable);
        const int id = entry.id;
        connect(action, &QAction::triggered, this, [this, id] { RunCommand(id); });
        m_actions[id] = action;
        if (entry.menu.empty()) {
            addAction(action); // reachable by shortcut only
            continue;
        }
        QMenu *parentMenu = menus.find(entry.menu)->second;
        if (!entry.submenu.empty()) {
            QString path = Latin1(entry.menu);
            for (const QString &part : Latin1(entry.submenu).split(QLatin1Char('/'))) {
                path += QLatin1Char('/') + part;
                QMenu *&sub = submenus[path];
                if (sub == nullptr) {
                    if (entry.separatorBefore)
                        parentMenu->addSeparator();
                    sub = parentMenu->addMenu(part);
                    connect(sub, &QMenu::aboutToShow, this, [this] { UpdateCommands(); });
                }
                parentMenu = sub;
            }
        } else if (entry.separatorBefore) {
            parentMenu->addSeparator();
        }
        parentMenu->addAction(action);
    }
    m_actions[kCmdAbout]->setIcon(CommandIcon(kCmdAbout));
    m_actions[kCmdHelp]->setShortcut(QKeySequence::HelpContents);
    m_actions[kCmdHelp]->setShortcutContext(Qt::ApplicationShortcut);
    m_actions[kCmdQuit]->setShortcut(QKeySequence::Quit);
    // Also from the digital dashboard's own window, to close it again (as its F11 does).
    m_actions[kCmdDigitalDashboard]->setShortcut(Qt::CTRL | Qt::Key_D);
    m_actions[kCmdDigitalDashboard]->setShortcutContext(Qt::ApplicationShortcut);
    m_actions[kCmdFullScreen]->setShortcut(QKeySequence::FullScreen);
    // Enabled only while replaying (Right: while paused), so the keys are the pages' otherwise.
    m_actions[kCmdPauseReplay]->setShortcut(Qt::Key_Space);
    m_actions[kCmdStepReplay]->setShortcut(Qt::Key_Right);
    m_actions[kCmdSeekBack]->setShortcut(Qt::Key_PageUp);
    m_actions[kCmdSeekForward]->setShortcut(Qt::Key_PageDown);
    m_actions[kCmdReplayFaster]->setShortcut(Qt::Key_BracketRight);
    m_actions[kCmdReplaySlower]->setShortcut(Qt::Key_BracketLeft);
    m_actions[kCmdLoopReplay]->setShortcut(Qt::CTRL | Qt::Key_L);

    for (int id : {kCmdDisplayMode, kCmdStepOn, kCmdStepOff}) {
        auto *action = new QAction(this);
        action->setIcon(CommandIcon(id));
        connect(action, &QAction::triggered, this, [this, id] { RunCommand(id); });
        m_actions[id] = action;
    }
    m_actions[kCmdDisplayMode]->setToolTip(tr("Day / night display"));
    m_actions[kCmdStepOn]->setToolTip(tr("Step up"));
    m_actions[kCmdStepOff]->setToolTip(tr("Step down"));
    m_actions[kCmdAbout]->setToolTip(tr("About"));
    for (int id : kToolBarCommands)
        m_toolBar->addAction(m_actions[id]);
    // The tool bar takes no focus. Step up and down are the large instrument's Space and the
    // map's + and -; day and night (following the fix on the Map page) has a key of its own.
    m_actions[kCmdDisplayMode]->setShortcut(Qt::CTRL | Qt::Key_N);
    auto *alarm = new QAction(this);
    connect(alarm, &QAction::triggered, this, [this] { RunCommand(kCmdAlarm); });
    m_actions[kCmdAlarm] = alarm;
    UpdateCommands();
}

QAction *CMainFrame::GetAction(int id) const
{
    const auto it = m_actions.find(id);
    return it == m_actions.end() ? nullptr : it->second;
}

CFrameState CMainFrame::GetState() const
{
    CFrameState s;
    s.sourceOpen = m_source.IsOpen();
    s.replaying = m_source.IsReplaying();
    s.reconnecting = m_session.GetWatch().IsReconnecting();
    s.logOpen = IsLogOpen();
    s.chipsetSirf = m_serialSettings.GetChipsetIndex() == CSerialSettings::kChipsetSirf;
    s.portConfigured = m_storedSource || m_serialSettings.IsConfigured();
    s.fix = GetParser().m_gga.m_quality != 0;
    s.autoConnect = m_autoConnect;
    s.autoSync = m_session.SyncsClock();
    s.playSound = m_session.PlaysSound();
    s.advancedFileSelector = m_display.IsAdvancedFileSelector();
    s.projection = m_display.GetProjection();
    s.gnssMode = m_display.GetGnssMode();
    s.units = m_dashboard->GetUnits();
    s.replayDelay = m_source.GetReplayDelay();
    s.replayPaused = m_replayBar->GetControl().IsPaused();
    s.replayLoop = m_replayBar->GetControl().IsLooping();
    s.replayCanSeek = m_replayBar->GetControl().CanSeek();
    s.visiblePage = m_sheet->currentIndex();
    s.dashboardModeOn = m_dashboard->IsExclusive();
    CGeoPosition cursor;
    s.lastPositionStored = m_mapView->GetCursorPosition(cursor);
    s.mapLoaded = m_mapView->IsMapLoaded();
    s.largeControls = m_display.IsLargeControls();
    s.fullScreen = isFullScreen();
    s.nightColours = m_display.GetNightColours();
    s.nightMap = m_display.GetNightMap();
    s.nightFollowsSun = m_display.IsNightFollowingSun();
    if (m_track)
        m_track->Fill(s);
    return s;
}

void CMainFrame::UpdateCommands()
{
    const CFrameState state = GetState();
    for (const auto &[id, action] : m_actions) {
        const CCommandState command = EvaluateCommand(id, state);
        action->setEnabled(command.enabled);
        if (action->isCheckable())
            action->setChecked(command.checked);
    }
    // Whatever changed a command's rule (a source, a recording) shows in the status line too.
    RefreshStatusLine();
}

void CMainFrame::RefreshStatusLine()
{
    if (m_statusTick == nullptr)
        return; // the window is still being built
    if (m_source.IsReplaying()) {
        const CDataSource::CReplayProgress progress = m_source.GetReplayProgress();
        m_status.replayBytes = progress.bytes;
        m_status.replayTotal = progress.total;
    }
    m_status.replayDelayMs = m_source.GetReplayDelay();
    m_status.fixMode = GetParser().m_gsa.m_fixMode;
    const CNMEALogFile &log = GetLog();
    m_status.recording = log.IsOpen();
    if (m_status.recording) {
        m_status.recordName =
            QFileInfo(QString::fromStdString(log.GetPath())).fileName().toStdString();
        m_status.recordBytes = static_cast<std::uint64_t>(log.GetWrittenBytes());
    }
    m_status.proximityAlarm = m_alarm->isActive();
    m_status.speedWarning = m_speedWarning->text().toStdString();
    m_statusLine->SetTexts(StatusTexts(m_status, StatusNow()));
}

void CMainFrame::StatusSourceOpened(CStatusState::Source kind)
{
    m_status.source = kind;
    m_status.Opened(StatusNow());
}

void CMainFrame::RunCommand(int id)
{
    // Each menu's commands in a function of their own; the first that knows the id runs it.
    if (!RunReceiverCommand(id) && !RunLogCommand(id) && !RunNavCommand(id)
        && !RunDisplayCommand(id))
        RunToolsCommand(id);
    UpdateCommands();
}

bool CMainFrame::RunReceiverCommand(int id)
{
    switch (id) {
    case kCmdConfigure: {
        CSerialPortDialog dialog(m_serialSettings, this);
        if (dialog.exec() == QDialog::Accepted)
            ReadStoredSource();
        return true;
    }
    case kCmdAutoConnect:
        m_autoConnect = !m_autoConnect;
        return true;
    case kCmdDisconnect:
        CloseSource();
        return true;
    case kCmdPlainConnect:
        PlainConnect();
        return true;
    case kCmdDirectConnect:
        if (OpenPort())
            m_mapView->ClearPointList();
        return true;
    case kCmdProgramChipset:
        SendProgramChipset(m_source);
        return true;
    case kCmdHotConnect:
        HotConnect();
        return true;
    default:
        return false;
    }
}

bool CMainFrame::RunLogCommand(int id)
{
    if (const std::optional<unsigned> delay = ReplayDelayOfCommand(id)) {
        SetReplayDelay(*delay);
        return true;
    }
    switch (id) {
    case kCmdPauseReplay:
        m_replayBar->TogglePause();
        return true;
    case kCmdStepReplay:
        m_replayBar->Step();
        return true;
    case kCmdSeekBack:
    case kCmdSeekForward:
        m_replayBar->SeekBy(id == kCmdSeekBack ? -CReplayControl::kSeekStepSeconds
                                               : CReplayControl::kSeekStepSeconds);
        return true;
    case kCmdLoopReplay:
        m_replayBar->ToggleLoop();
        return true;
    case kCmdReplayFaster:
    case kCmdReplaySlower:
        SetReplayDelay(StepReplaySpeed(m_source.GetReplayDelay(), id == kCmdReplayFaster ? 1 : -1));
        return true;
    case kCmdReplay:
        ChooseAndReplay();
        return true;
    case kCmdStopReplay:
        CloseSource();
        return true;
    case kCmdLogSettings: {
        CLogSettingsDialog dialog(m_session.GetRecordingRules(), this);
        dialog.exec();
        return true;
    }
    case kCmdStopLogging:
        StopLogging();
        return true;
    case kCmdCreateLog:
        ChooseAndCreateLog();
        return true;
    default:
        return m_track->Run(id, m_display.IsAdvancedFileSelector(), m_display.GetGnssMode());
    }
}

bool CMainFrame::RunNavCommand(int id)
{
    switch (id) {
    case kCmdEditWaypoints:
        m_waypoints->Edit(m_display.GetProjection(), ProposedPosition());
        break;
    case kCmdSelectWaypoint:
        m_waypoints->SelectGoto(m_display.GetProjection());
        break;
    case kCmdImportGpx:
    case kCmdImportLoc:
        m_waypoints->Import(id == kCmdImportGpx ? WaypointFileType::GPX : WaypointFileType::LOC,
                            m_display.IsAdvancedFileSelector());
        break;
    case kCmdExportWaypoints:
        m_waypoints->Export();
        return true;
    default:
        return false;
    }
    m_mapView->WaypointsChanged();
    return true;
}

bool CMainFrame::RunDisplayCommand(int id)
{
    switch (id) {
    case kCmdSelectorAdvanced:
    case kCmdSelectorStandard:
        m_display.SetAdvancedFileSelector(id == kCmdSelectorAdvanced);
        return true;
    case kCmdUnitsMetric:
    case kCmdUnitsImperial:
    case kCmdUnitsNautic:
        m_display.SetUnits(*UnitsOfCommand(id));
        return true;
    case kCmdCoordDegrees:
    case kCmdCoordDegMin:
    case kCmdCoordDegMinSec:
    case kCmdCoordUTM:
        m_display.SetProjection(*FormatOfCommand(id));
        return true;
    case kCmdGnssAll:
    case kCmdGnssGpsOnly:
        ChooseGnssMode(*GnssModeOfCommand(id));
        return true;
    case kCmdLargeControls:
        m_display.SetLargeControls(!m_display.IsLargeControls());
        return true;
    case kCmdNightRed:
    case kCmdNightInverted:
        m_display.SetNightColours(*NightColoursOfCommand(id));
        return true;
    case kCmdNightMapRed:
    case kCmdNightMapDimmed:
        m_display.SetNightMap(*NightMapOfCommand(id));
        return true;
    case kCmdNightFollowsSun:
        m_display.SetNightFollowingSun(!m_display.IsNightFollowingSun());
        m_sunWatch.Restart();
        FollowSun();
        return true;
    case kCmdDisplayMode:
        // On the Map page: follow the fix, or stop following it.
        if (m_sheet->currentIndex() == kPageMap)
            m_mapView->ToggleTrackPosition();
        else
            m_display.SetNightMode(!m_display.IsNightMode());
        return true;
    case kCmdStepOn:
    case kCmdStepOff:
        // On the Dashboard: its large instrument alone on the page, or back; on the Map page
        // the zoom.
        if (m_sheet->currentIndex() == kPageDashboard)
            m_dashboard->SetExclusive(id == kCmdStepOn);
        else if (m_sheet->currentIndex() == kPageMap)
            id == kCmdStepOn ? m_mapView->ZoomIn() : m_mapView->ZoomOut();
        return true;
    default:
        return false;
    }
}

void CMainFrame::RunToolsCommand(int id)
{
    switch (id) {
    case kCmdQuit:
        Quit();
        break;
    case kCmdFixSound:
        m_session.SetFixOptions(!m_session.PlaysSound(), m_session.SyncsClock());
        break;
    case kCmdAutoSync:
        m_session.SetFixOptions(m_session.PlaysSound(), !m_session.SyncsClock());
        break;
    case kCmdSyncClock:
        SetClock(RMCTimeAsUTC(GetParser().m_rmc));
        break;
    case kCmdResetGauges:
        m_dashboard->ResetGauges();
        break;
    case kCmdFullScreen:
        ToggleFullScreen();
        break;
    case kCmdDigitalDashboard:
        ToggleDigitalDashboard();
        break;
    case kCmdAlarm:
        StartAlarm();
        break;
    case kCmdHelp:
        CHelpViewer::ShowHelp(this);
        break;
    case kCmdAbout: {
        CAboutDialog dialog(this);
        dialog.exec();
        break;
    }
    default:
        break;
    }
}

void CMainFrame::ApplyLargeControls()
{
    const bool large = m_display.IsLargeControls();
    const int height = TouchTargetOf(*screen());
    ::ApplyLargeControls(large, height);
    const int icon = ToolBarIconSize(large, height);
    m_toolBar->setIconSize(QSize(icon, icon));
}

void CMainFrame::ApplyNightColours()
{
    const bool red = m_display.IsNightRed();
    // Inverted instruments keep the first versions' look; the window around them is dark too.
    CNightPalette::ApplyToApplication(m_display.IsNightMode());
    // The glyphs take the palette's button text; the coloured About sign is tinted.
    for (int id : kToolBarCommands)
        m_actions[id]->setIcon(red && id == kCmdAbout ? CNightPalette::Tinted(CommandIcon(id))
                                                      : CommandIcon(id));
    m_mapView->SetNightRed(red && m_display.GetNightMap() == NightMap::RedDimmed);
    UpdateCommands();
}

void CMainFrame::FollowSun()
{
    if (!m_display.IsNightFollowingSun() || !m_sunPlace)
        return;
    // The wall clock, not the log's: it is this evening's dark that the eyes meet.
    const std::optional<bool> night =
        m_sunWatch.Update(m_sunPlace->m_latitude, m_sunPlace->m_longitude, std::time(nullptr));
    if (night && *night != m_display.IsNightMode())
        m_display.SetNightMode(*night);
}

void CMainFrame::SetPortOverride(const QString &device)
{
    m_portOverride = device;
}

void CMainFrame::SetGnssModeOverride(GnssMode mode)
{
    m_display.OverrideGnssMode(mode);
    UpdateCommands();
}

CSourceAddress CMainFrame::ConfiguredSource() const
{
    if (m_sourceOverride)
        return *m_sourceOverride;
    CSourceAddress serial;
    if (!m_portOverride.isEmpty()) {
        serial.device = m_portOverride.toStdString();
        return serial;
    }
    if (m_storedSource)
        return *m_storedSource;
    serial.device = m_serialSettings.GetPortName();
    return serial;
}

bool CMainFrame::OpenPort()
{
    return OpenSource(ConfiguredSource());
}

bool CMainFrame::OpenSource(const CSourceAddress &source)
{
    StopRetrying();
    if (source.IsNetwork())
        return OpenNetworkSource(source);
    // The data source closes what it had open first.
    const std::string device = DevicePathForPort(source.device);
    const int configured = m_serialSettings.GetBaudRate();
    const int baud = source.baudRate.value_or(configured);
    m_portFindsSpeed = baud == CSourceAddress::kAutoBaud;
    m_portBaudRate = m_portFindsSpeed ? configured : baud;
    std::string error;
    const bool opened = OpenSerial(device, error);
    if (opened) {
        m_session.PortOpened(device);
        m_session.LiveSourceOpened(source);
        m_dashboard->SetReplaying(false);
        m_status.address = source;
        m_status.address.device = device;
        m_status.baudRate = m_portFindsSpeed ? 0 : m_portBaudRate;
        StatusSourceOpened(CStatusState::Source::Live);
    } else {
        m_session.ClosedByUser();
        const CPortDiagnosis diagnosis = CPortInspector().Diagnose(device);
        QString text = QString::fromLatin1(CSerialPort::kOpenFailedMessage);
        if (const std::string why = diagnosis.GetText(); !why.empty())
            text += QLatin1Char('\n') + QString::fromStdString(why);
        if (diagnosis.readThroughGpsd) {
            UpdateCommands();
            return OfferGpsd(text, QString::fromStdString(error));
        }
        ShowError(this, text, QString::fromStdString(error));
    }
    UpdateCommands();
    return opened;
}

bool CMainFrame::OfferGpsd(const QString &why, const QString &details)
{
    // Nobody to answer: the failure as any other.
    if (IsUnattended()) {
        ShowError(this, why, details);
        return false;
    }
    std::fprintf(stderr, "veloran: ERROR: %s (%s)\n", qPrintable(QString(why).replace('\n', ' ')),
                 qPrintable(details));
    if (!AskQuestion(this, QString::fromLatin1(kErrorCaption),
                     why + tr("\n\nRead the receiver through gpsd from now on?")))
        return false;
    // The user's choice from now on: stored as the source, as the source dialog would.
    CSourceAddress gpsd;
    gpsd.kind = SourceKind::Gpsd;
    gpsd.host = "localhost";
    gpsd.port = CSourceAddress::kGpsdPort;
    CSettingsKey key;
    if (key.Open(kSourceSetting.key, true))
        key.WriteText(kSourceSetting.name, gpsd.ToUrl());
    m_storedSource = gpsd;
    m_sourceOverride.reset();
    m_portOverride.clear();
    return OpenNetworkSource(gpsd);
}

void CMainFrame::OfferSirfSwitch(const QString &why)
{
    if (IsUnattended()
        || !AskQuestion(this, tr("Receiver"),
                        why + tr(".\n\nSwitch it to NMEA (at %1 baud)?").arg(kSirfNmeaBaudRate)))
        return;
    if (!m_source.Write(SirfSwitchToNmeaFrame(kSirfNmeaBaudRate))) {
        ShowError(this, tr("The receiver could not be told to switch to NMEA."),
                  QString::fromStdString(m_session.GetWatch().GetDevice()));
        return;
    }
    // It answers at its new speed once it has taken the message in: found again by listening.
    const std::string device = m_session.GetWatch().GetDevice();
    QTimer::singleShot(kSirfSwitchSettleMs, this, [this, device] {
        if (m_session.GetWatch().GetDevice() != device || !m_source.IsOpen())
            return;
        m_portFindsSpeed = true;
        std::string error;
        if (OpenSerial(device, error))
            m_session.PortOpened(device);
        UpdateCommands();
    });
}

bool CMainFrame::OpenNetworkSource(const CSourceAddress &source)
{
    std::string error;
    const bool opened = m_source.OpenNetwork(source, error);
    if (opened) {
        // A network receiver is as live as a port: it reconnects by itself.
        m_session.PortOpened(source.Describe());
        m_session.LiveSourceOpened(source);
        m_dashboard->SetReplaying(false);
        m_status.address = source;
        StatusSourceOpened(CStatusState::Source::Live);
    } else {
        m_session.ClosedByUser();
        ShowError(this, tr("Failed to open %1.").arg(QString::fromStdString(source.ToUrl())),
                  QString::fromStdString(error));
    }
    UpdateCommands();
    return opened;
}

void CMainFrame::OnSourceStatus(const CSourceStatus &status)
{
    const QString text = QString::fromStdString(status.text);
    std::fprintf(stderr, "veloran: %s\n", status.text.c_str());
    switch (status.kind) {
    case CSourceStatus::Kind::Receiving:
        m_notice->Dismiss();
        break;
    case CSourceStatus::Kind::Back:
        m_notice->ShowFor(text, CReceiverWatch::kBackNoticeMs);
        break;
    case CSourceStatus::Kind::SirfBinary:
        m_notice->ShowFor(text, 0);
        // Asked once the batch is handled: the reader waits for it meanwhile.
        QTimer::singleShot(0, this, [this, text] { OfferSirfSwitch(text); });
        break;
    case CSourceStatus::Kind::Locked:
        // Found: next time, on this device, first.
        StoreLastSpeed(m_session.GetWatch().GetDevice(), status.speed);
        m_status.baudRate = status.speed;
        m_notice->ShowFor(text, CReceiverWatch::kBackNoticeMs);
        break;
    default:
        m_notice->ShowFor(text, 0);
        break;
    }
    if (status.IsLoss())
        m_status.receiverLost = true;
    else if (status.kind == CSourceStatus::Kind::Receiving
             || status.kind == CSourceStatus::Kind::Back)
        m_status.receiverLost = false;
    Show(m_session.StatusChanged(status));
    RefreshStatusLine();
}

bool CMainFrame::OpenSerial(const std::string &device, std::string &error)
{
    if (m_portFindsSpeed)
        return m_source.OpenPortFindingSpeed(device, LoadLastSpeed(device), m_portBaudRate, error);
    return m_source.OpenPort(device, m_portBaudRate, error);
}

void CMainFrame::RetryPort()
{
    const CReceiverWatch &watch = m_session.GetWatch();
    if (!watch.IsReconnecting())
        return;
    std::string error;
    if (!OpenSerial(watch.GetDevice(), error)) {
        m_retry->start(m_retryWait.NextMs()); // still gone: again, a little later each time
        return;
    }
    m_session.PortOpened(watch.GetDevice());
    m_dashboard->SetReplaying(false);
    StatusSourceOpened(CStatusState::Source::Live);
    const std::string notice = watch.BackNotice();
    std::fprintf(stderr, "veloran: %s\n", notice.c_str());
    m_notice->ShowFor(QString::fromStdString(notice), CReceiverWatch::kBackNoticeMs);
    UpdateCommands();
}

void CMainFrame::StopRetrying()
{
    m_retry->stop();
    m_notice->Dismiss();
}

void CMainFrame::CheckDatabases()
{
    // Only while no dialog is open: its OK merges anyway.
    if (QApplication::activeModalWidget() != nullptr) {
        m_databaseWatch->Postpone();
        return;
    }
    QStringList reloaded;
    if (m_waypoints->CheckOutsideChange()) {
        m_mapView->WaypointsChanged();
        reloaded << QString::fromLatin1(kWaypointReloadedText);
    }
    if (m_mapView->CheckOutsideChange())
        reloaded << QString::fromLatin1(kMapReloadedText);
    if (!reloaded.isEmpty())
        m_notice->ShowFor(reloaded.join(QLatin1Char('\n')), kDatabaseNoticeMs);
    m_databaseWatch->FollowReplacedFiles();
}

void CMainFrame::resizeEvent(QResizeEvent *event)
{
    QMainWindow::resizeEvent(event);
    m_notice->FitTo(width());
    m_speedWarning->FitTo(width());
    m_statusLine->FitTo(size());
    m_replayBar->FitTo(size());
}

QString CMainFrame::GetNotice() const
{
    return m_notice->GetShownText();
}

void CMainFrame::PlainConnect()
{
    // Not the configured default: the receiver the user had before the replay.
    if (const std::optional<CSourceAddress> before = m_session.GetWatch().SourceBeforeReplay()) {
        OpenSource(*before);
        return;
    }
    if (!m_storedSource && !m_serialSettings.IsConfigured()) {
        CSerialPortDialog dialog(m_serialSettings, this);
        if (dialog.exec() != QDialog::Accepted)
            return;
        ReadStoredSource();
    }
    OpenPort();
}

bool CMainFrame::ReplayFile(const QString &path)
{
    StopRetrying();
    std::string error;
    // A log being recorded cannot be replayed: it would grow under the replay without end.
    if (!m_source.OpenReplay(path.toStdString(), error, GetLog().GetIdentity())) {
        m_session.ClosedByUser();
        const bool thread = m_source.GetLastFailure() == CDataSource::Failure::Thread;
        ShowError(this,
                  QString::fromLatin1(thread ? CDataSource::kThreadFailedMessage
                                             : CDataSource::kReplayOpenFailedMessage),
                  path + QStringLiteral(": ") + QString::fromStdString(error));
        UpdateCommands();
        return false;
    }
    m_session.ReplayStarted();
    m_trip->BeginReplay();
    m_replayBar->Started(path.toStdString());
    m_dashboard->SetReplaying(true);
    m_replayPath = path;
    m_status.replayName = QFileInfo(path).fileName().toStdString();
    m_status.replayBytes = 0;
    StatusSourceOpened(CStatusState::Source::Replay);
    m_mapView->ClearPointList();
    UpdateCommands();
    return true;
}

void CMainFrame::CloseSource()
{
    StopRetrying();
    m_session.ClosedByUser();
    m_source.Close();
    ReplayStopped();
    m_status.source = CStatusState::Source::None;
    m_status.receiverLost = false;
    if (m_trip)
        m_trip->SourceClosed();
    UpdateCommands();
}

void CMainFrame::ChooseAndReplay()
{
    const QString path = ChooseOpenFile(
        this, m_display.IsAdvancedFileSelector(), QString::fromLatin1(kReplayTitle),
        QString::fromLatin1(kReplayFilter), QString::fromLatin1(kLogPattern), GetDataDirectory());
    if (!path.isEmpty())
        ReplayFile(path);
}

void CMainFrame::ChooseAndCreateLog()
{
    const QString path =
        ChooseSaveFile(this, QString::fromLatin1(CNMEALogFile::kDialogTitle),
                       QString::fromLatin1(CNMEALogFile::kFilterName), GetDataDirectory(),
                       QString::fromLatin1(CNMEALogFile::kExtension));
    if (path.isEmpty()) {
        m_session.GetRecordingRules().ResetCounters();
        return;
    }
    CreateLog(path);
}

bool CMainFrame::CreateLog(const QString &path)
{
    m_status.recordFailed = false;
    if (!m_session.CreateLog(path.toStdString(), m_source.GetReplayIdentity())) {
        ShowError(this, QString::fromLatin1(CNMEALogFile::kCreateFailedMessage),
                  path + QStringLiteral(": ") + QString::fromStdString(GetLog().GetErrorText()));
        UpdateCommands();
        return false;
    }
    UpdateCommands();
    return true;
}

void CMainFrame::StopLogging()
{
    if (const std::optional<std::string> error = m_session.CloseLog())
        RecordFailed(*error);
    UpdateCommands();
}

void CMainFrame::SetReplayDelay(unsigned milliseconds)
{
    m_source.SetReplayDelay(milliseconds);
    m_replayBar->Refresh();
}

void CMainFrame::OnWake()
{
    // A message box raised while lines are handled runs its own event loop; the notifier must not
    // hand over lines inside it.
    m_wake->setEnabled(false);
    m_source.ProcessPending();
    m_wake->setEnabled(true);
}

void CMainFrame::OnSourceClosed(int errorCode)
{
    const CReceiverSession::CSourceEnd end = m_session.SourceEnded(errorCode);
    const CReceiverWatch::CEndActions &a = end.actions;
    if (a.replayFailed)
        ShowErrorLater(this, QString::fromLatin1(CDataSource::kReplayReadFailedMessage),
                       m_replayPath + QStringLiteral(": ")
                           + QString::fromStdString(std::system_category().message(errorCode)));
    if (a.receiverLost)
        ReceiverLost(errorCode, end.update);
    if (a.retry) {
        m_retryWait.Reset();
        m_retry->start(m_retryWait.NextMs());
    }
    ReplayStopped();
    if (a.replayEnded) {
        // The last values stay, but go stale as a silent receiver's would.
        m_dashboard->ReplayEnded();
        m_status.source = CStatusState::Source::ReplayEnded;
        m_trip->SourceClosed();
    }
    UpdateCommands();
    if (a.replayEnded || a.receiverLost)
        emit SourceEnded(a.replayEnded);
}

void CMainFrame::ReplayMarked(ReplayMark mark)
{
    if (mark == ReplayMark::Rewound) {
        m_session.RestartReplay();
        m_replayBar->Rewound();
        m_trip->RewindReplay();
        m_mapView->ClearPointList();
    }
    m_session.SetCatchingUp(m_source.IsCatchingUp());
    m_trip->SetQuiet(m_source.IsCatchingUp());
    if (mark == ReplayMark::CatchUpEnd)
        m_replayBar->Refresh();
}

void CMainFrame::ReplayStopped()
{
    m_session.SetCatchingUp(false);
    if (m_trip)
        m_trip->SetQuiet(false);
    if (m_replayBar->GetControl().IsActive())
        m_replayBar->Stopped();
}

void CMainFrame::ReceiverLost(int errorCode, const CReceiverUpdate &update)
{
    Show(update);
    m_status.receiverLost = true;
    const std::string notice =
        m_session.GetWatch().LostNotice(std::system_category().message(errorCode));
    std::fprintf(stderr, "veloran: %s\n", notice.c_str());
    m_notice->ShowFor(QString::fromStdString(notice), 0);
}

void CMainFrame::HandleLine(std::string_view line)
{
    m_replayBar->TakeLine(line);
    const CReceiverUpdate u = m_session.HandleLine(line);
    Show(u);
    // The reader's own line for a silent port is no sign of the receiver.
    if (line != CDataSource::kTimeoutLine)
        m_status.LineArrived(StatusNow(), u.Changed(kChangeFixState)
                                              ? std::optional<bool>(!u.fixLost)
                                              : std::nullopt);
}

void CMainFrame::Show(const CReceiverUpdate &u)
{
    if (u.Happened(kEventActivity))
        ResetIdleTimer();
    if (u.Changed(kChangeAltitude))
        m_dashboard->SetAltitude(u.altitude);
    if (u.Changed(kChangeTimeOfDay)) {
        m_dashboard->SetTimeOfDay(u.timeOfDay);
        m_timeOfDay = u.timeOfDay;
    }
    if (u.Changed(kChangePosition)) {
        m_mapView->SetPosition(u.position);
        m_sunPlace = u.position;
    }
    if (u.Happened(kEventWaypointReached)) {
        m_status.waypointReached = u.waypointAlert.substr(0, u.waypointAlert.find('\n'));
        m_status.waypointReachedAt = StatusNow();
        // A modal box must not run its event loop while the reader waits for this line.
        const CMessage message{QString::fromLatin1(kWaypointReachedCaption),
                               QString::fromStdString(u.waypointAlert), QMessageBox::Information,
                               QString()};
        QTimer::singleShot(0, this, [this, message] { ShowMessage(this, message); });
    }
    if (u.Changed(kChangeNavigation)) {
        m_listPage->UpdatePosition();
        m_listPage->UpdateReception();
        m_listPage->UpdateDilution();
    }
    if (u.Changed(kChangeSky)) {
        const CSkyView sky = SkyViewOf(GetParser());
        m_dashboard->UpdateSatellites(sky);
        m_satellitesPage->SetSky(sky, GetParser().m_sky.GetSatellites(), m_timeOfDay);
        if (u.Changed(kChangeReception) && m_mapView->ShowsReceptionIndicator())
            m_mapView->SetReception(u.reception);
    }
    if (u.Happened(kEventFixGained | kEventFixLost))
        m_mapView->SetFix(u.Happened(kEventFixGained));
    if (u.Happened(kEventSetClock))
        SetClock(u.clockUtc);
    if (u.sound != FixSound::None)
        m_sound->Play(u.sound == FixSound::Gained ? CFixSound::Kind::FixGained
                                                  : CFixSound::Kind::FixLost);
    if (u.Changed(kChangeMotion)) {
        if (u.Changed(kChangeCompass))
            m_dashboard->SetCompass(u.course, u.bearing, u.distance);
        m_dashboard->SetSpeed(u.speedKmh);
        if (u.Changed(kChangeMileage))
            m_dashboard->AddMileageSample(u.samplePosition, u.sampleTime, u.speedKmh, u.replay);
        if (u.Changed(kChangeHeadingRows))
            m_listPage->UpdateHeading();
        m_mapView->SetHeading(u.heading);
    }
    if (u.Changed(kChangeFixState))
        m_dashboard->SetFixLost(u.fixLost);
    if (u.Changed(kChangeLine))
        m_dataPage->AddLine(u.type, u.text);
    if (u.Happened(kEventRecordFailed))
        RecordFailed(u.recordError);
    m_trip->Take(u);
}

void CMainFrame::RecordFailed(const std::string &error)
{
    m_status.recordFailed = true;
    RefreshStatusLine();
    ShowErrorLater(this, tr("Failed to write the log file; recording has stopped."),
                   QString::fromStdString(GetLog().GetPath() + ": " + error));
}

void CMainFrame::HotConnect()
{
    CGeoPosition cursor;
    if (!m_mapView->GetCursorPosition(cursor))
        return;
    if ((!m_source.IsOpen() || m_source.IsReplaying()) && !OpenPort())
        return;
    SendHotConnect(m_source, cursor.m_latitude, cursor.m_longitude, std::time(nullptr));
}

CGeoPosition CMainFrame::ProposedPosition() const
{
    CGeoPosition cursor;
    if (m_sheet->currentIndex() == kPageMap && m_mapView->GetCursorPosition(cursor))
        return cursor;
    const CGGASentence &gga = GetParser().m_gga;
    return gga.m_quality != 0 ? gga.m_position : CGeoPosition();
}

void CMainFrame::SetClock(std::time_t utc)
{
    SetSystemClockUtc(utc, this, [this](bool ok, const QString &detail) {
        if (!ok)
            ShowErrorLater(this, QString::fromLatin1(kSetClockFailedMessage), detail);
    });
}

void CMainFrame::ResetIdleTimer()
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    if (m_lastIdleReset >= 0 && now - m_lastIdleReset < kIdleResetIntervalMs)
        return;
    m_lastIdleReset = now;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    bus.send(QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.ScreenSaver"), QStringLiteral("/ScreenSaver"),
        QStringLiteral("org.freedesktop.ScreenSaver"), QStringLiteral("SimulateUserActivity")));
}

void CMainFrame::FollowDisplaySettingsOnMap()
{
    // Its units are its own ("Software/Veloran/Maps"): only Tools > Units changes them.
    m_mapView->SetProjection(m_display.GetProjection());
    m_mapView->SetAdvancedFileSelector(m_display.IsAdvancedFileSelector());
    m_mapView->SetGnssMode(m_display.GetGnssMode());
    m_mapView->SetNightMode(m_display.IsNightMode());
    connect(&m_display, &CDisplaySettings::Changed, m_mapView, [this](DisplaySetting what) {
        switch (what) {
        case DisplaySetting::NightMode:
            m_mapView->SetNightMode(m_display.IsNightMode());
            break;
        case DisplaySetting::Units:
            m_mapView->SetUnits(m_display.GetUnits());
            break;
        case DisplaySetting::Projection:
            m_mapView->SetProjection(m_display.GetProjection());
            break;
        case DisplaySetting::AdvancedFileSelector:
            m_mapView->SetAdvancedFileSelector(m_display.IsAdvancedFileSelector());
            break;
        case DisplaySetting::GnssMode:
            m_mapView->SetGnssMode(m_display.GetGnssMode());
            break;
        case DisplaySetting::NightColours:
        case DisplaySetting::LargeControls:
            break;
        }
    });
}

void CMainFrame::ChooseGnssMode(GnssMode mode)
{
    if (!m_display.ChooseGnssMode(mode))
        return;
    // Sky, speed, map fix and heading came from the other mode; none of it is current now. No
    // sound: the receiver did not lose anything.
    Show(m_session.ClearShownFix());
}

void CMainFrame::ApplyGnssMode()
{
    const GnssMode mode = m_display.GetGnssMode();
    m_session.SetGnssMode(mode);
    m_source.SetGnssMode(mode);
    // The parser starts empty, and the List page's rows differ by mode.
    m_timeOfDay.reset();
    m_satellitesPage->Reset();
    m_listPage->UpdateReception();
    m_listPage->UpdateDilution();
    m_listPage->UpdatePosition();
}

void CMainFrame::ToggleDigitalDashboard()
{
    if (m_digiDash == nullptr) {
        m_digiDash = new CDigiDash(*m_dashboard, m_display, this);
        m_digiDash->setWindowFlag(Qt::Window);
        m_digiDash->setWindowTitle(tr("Digital Dashboard"));
        connect(m_dashboard, &CDashboard::InstrumentsChanged, m_digiDash, [this] {
            if (m_digiDash->isVisible())
                m_digiDash->Refresh();
        });
        connect(m_digiDash, &CDigiDash::Closed, this, [this] { activateWindow(); });
        m_digiDash->SetTrip(&m_trip->GetTrip(), [this] { return m_trip->GetTarget(); });
        m_digiDash->SetSpeedWarning(m_speedWarning->text());
        connect(m_trip.get(), &CTripKeeper::TripChanged, m_digiDash, [this] {
            if (m_digiDash->isVisible() && m_digiDash->GetPage() == CDigiDash::kPageTrip)
                m_digiDash->Refresh();
        });
        connect(m_digiDash, &CDigiDash::ResetTripChosen, this, [this] { m_trip->ResetTrip(); });
        connect(m_digiDash, &CDigiDash::SpeedAlarmChosen, this, [this] { EditSpeedAlarm(); });
    }
    if (m_digiDash->isVisible()) {
        m_digiDash->close();
        return;
    }
    m_digiDash->Refresh();
    m_digiDash->showFullScreen();
    m_digiDash->activateWindow();
}

void CMainFrame::StartAlarm()
{
    m_alarmCount = kAlarmTicks;
    m_alarm->start();
    RefreshStatusLine();
}

void CMainFrame::EditSpeedAlarm()
{
    QWidget *over = m_digiDash != nullptr && m_digiDash->isVisible()
                        ? static_cast<QWidget *>(m_digiDash)
                        : this;
    m_trip->EditSpeedAlarm(over,
                           m_dashboard->GetInstrumentUnits().speed.value_or(UnitSystem::Metric));
}

void CMainFrame::ShowSpeedWarning()
{
    const QString text =
        m_trip->WarningText(m_dashboard->GetInstrumentUnits().speed.value_or(UnitSystem::Metric));
    m_speedWarning->SetWarning(text);
    if (m_digiDash != nullptr)
        m_digiDash->SetSpeedWarning(text);
    RefreshStatusLine();
}

void CMainFrame::Quit()
{
    CloseSource();
    close();
}

void CMainFrame::closeEvent(QCloseEvent *event)
{
    CloseSource();
    StopLogging();
    event->accept();
}

void CMainFrame::showEvent(QShowEvent *event)
{
    QMainWindow::showEvent(event);
    if (m_shown)
        return;
    m_shown = true;
    // 7 mm is another number of pixels on another screen.
    if (QWindow *window = windowHandle())
        connect(window, &QWindow::screenChanged, this, [this] { ApplyLargeControls(); });
    // The window manager's frame is known only now; the whole window must fit.
    QTimer::singleShot(0, this, [this] { m_placement.FitFrame(); });
    if (m_autoConnect && !m_suppressAutoConnect)
        QTimer::singleShot(0, this, [this] { OpenPort(); });
}
