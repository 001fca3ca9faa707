#include "NMEATestUtils.h"
#include "PtyPair.h"
#include "app/CommandTable.h"
#include "app/GPSSheet.h"
#include "app/MainFrame.h"
#include "app/SpeedWarningBar.h"
#include "app/StatusLine.h"
#include "app/TripKeeper.h"
#include "base/Numbers.h"
#include "dashboard/Dashboard.h"
#include "dashboard/DigiDash.h"
#include "dashboard/DigiPalette.h"
#include "dashboard/MileageCounter.h"
#include "dashboard/Speedometer.h"
#include "dashboard/TripFeed.h"
#include "dashboard/TripPage.h"
#include "receiver/ReceiverSession.h"
#include "ui/DialogForm.h"
#include "ui/FrameTest.h"

#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QSettings>
#include <QSpinBox>
#include <QTimer>

#include <fstream>
#include <string>

namespace
{

// The demo drive through a session of the test's own, as the window feeds its trip computer.
CTripFigures DemoTrip()
{
    CReceiverSession session;
    session.ReplayStarted();
    CTripComputer trip;
    CSpeedAlarm alarm;
    std::ifstream in(VELORAN_DEMO_LOG);
    std::string line;
    while (std::getline(in, line))
        FeedTrip(session.HandleLine(line + "\r\n"), trip, alarm);
    return trip.GetFigures();
}

// An epoch a second at `kmh` (in knots on the wire), `second` seconds into the minute.
std::string Epoch(int second, double kmh)
{
    char time[16];
    std::snprintf(time, sizeof time, "1235%02d.00", second);
    char knots[16];
    std::snprintf(knots, sizeof knots, "%.1f", kmh / 1.852);
    return Sentence(std::string("GPGGA,") + time
                    + ",4807.038,N,01131.000,E,1,08,0.9,545.4,M,47.3,M,,")
           + Sentence(std::string("GPRMC,") + time + ",A,4807.038,N,01131.000,E," + knots
                      + ",84.4,230394,,");
}

// Pixels of `colour` (within a few steps) inside `box`.
int CountColour(const QImage &image, const QRectF &box, const QColor &colour)
{
    int count = 0;
    const QRect r = box.toAlignedRect().intersected(image.rect());
    for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (std::abs(c.red() - colour.red()) < 8 && std::abs(c.green() - colour.green()) < 8
                && std::abs(c.blue() - colour.blue()) < 8)
                ++count;
        }
    return count;
}

class TripViewTest : public CFrameTest
{
protected:
    bool ReplayDemo()
    {
        bool ended = false;
        QObject::connect(m_frame.get(), &CMainFrame::SourceEnded, m_frame.get(),
                         [&ended](bool wasReplay) { ended = wasReplay; });
        m_frame->SetReplayDelay(0);
        return m_frame->ReplayFile(QStringLiteral(VELORAN_DEMO_LOG))
               && ProcessUntil([&] { return ended; }, 20000);
    }
    CDigiDash &OpenDigital()
    {
        m_frame->RunCommand(kCmdDigitalDashboard);
        return *m_frame->GetDigitalDashboard();
    }
};

} // namespace

// The trip page holds the drive's figures, each drawn in its cell, at the sizes of a phone held
// upright and a car's screen, by day and at night.
TEST_F(TripViewTest, TripPageShowsTheDriveFigures)
{
    ASSERT_TRUE(ReplayDemo());
    const CTripFigures expected = DemoTrip();
    EXPECT_EQ(m_frame->GetTrip().GetTrip().GetFigures(), expected);
    CDigiDash &digital = OpenDigital();
    digital.SetPage(CDigiDash::kPageTrip);
    const std::vector<CTripText> texts = digital.GetTripTexts();
    EXPECT_EQ(texts, TripTexts(expected, {}, std::nullopt));
    ASSERT_EQ(texts.size(), 8u);
    EXPECT_EQ(texts[0].caption, "Trip");
    EXPECT_EQ(texts[0].value, FormatC("%.1f", expected.distanceMetres / 1000.0));

    for (const QSize size : {QSize(480, 640), QSize(800, 480)}) {
        for (const bool night : {false, true}) {
            SCOPED_TRACE(QStringLiteral("%1x%2 %3")
                             .arg(size.width())
                             .arg(size.height())
                             .arg(night ? "night" : "day")
                             .toStdString());
            if (m_frame->GetDisplaySettings().IsNightMode() != night)
                m_frame->RunCommand(kCmdDisplayMode);
            digital.resize(size);
            QImage image(size, QImage::Format_ARGB32);
            QPainter painter(&image);
            digital.Render(painter);
            painter.end();
            const double margin = 0.015 * std::min(size.width(), size.height());
            const CTripPageLayout layout = LayoutTripPage(
                QRectF(QPointF(0, 0), QSizeF(size)).adjusted(margin, margin, -margin, -margin),
                static_cast<int>(texts.size()));
            ASSERT_EQ(layout.cells.size(), texts.size());
            EXPECT_GE(layout.valuePixels, 30.0) << "read from a driver's seat";
            const CDigiPalette &palette = CDigiPalette::Of(night);
            for (std::size_t i = 0; i + 1 < texts.size(); ++i) {
                SCOPED_TRACE(texts[i].caption);
                const QRectF &cell = layout.cells[i];
                EXPECT_TRUE(QRectF(QPointF(0, 0), QSizeF(size)).contains(cell));
                EXPECT_GT(CountColour(image, cell, palette.value), 20) << "its digits";
                EXPECT_GT(CountColour(image, cell, palette.caption), 10) << "its caption";
            }
        }
    }
    EXPECT_TRUE(m_messages.empty());
}

// Reset Trip from the digital dashboard's menu clears every figure, in the settings file too;
// the mileage counter's trip is its own.
TEST_F(TripViewTest, ResetTripClearsEveryFigure)
{
    ASSERT_TRUE(ReplayDemo());
    CDigiDash &digital = OpenDigital();
    EXPECT_EQ(digital.MenuTexts(), QStringList({"Read-outs", "Trip Computer", "Reset Trip",
                                                "Speed Alarm...", "Head-Up Display (Mirrored)"}));
    const double mileage =
        m_frame->GetDashboard()->GetMileageCounter()->GetMileage().GetTripMetres();
    ASSERT_GT(mileage, 1000.0);
    digital.ApplyMenuChoice(2);
    EXPECT_EQ(m_frame->GetTrip().GetTrip().GetFigures(), CTripFigures{});
    EXPECT_EQ(m_frame->GetDashboard()->GetMileageCounter()->GetMileage().GetTripMetres(), mileage);
    const std::vector<CTripText> texts = digital.GetTripTexts();
    EXPECT_EQ(texts[0].value, "0.0");
    EXPECT_EQ(texts[1].value, "0:00");
    EXPECT_EQ(texts[3].value, "---") << "no average without moving";
    QSettings file(QString::fromStdString(CSettingsKey::GetSettingsFile()), QSettings::IniFormat);
    EXPECT_EQ(file.value(QStringLiteral("Software/Veloran/Trip/Distance")).toString(),
              QStringLiteral("0"));
}

// The figures survive a restart: written to the settings file as the window goes, read by the
// next one from the disk (a copy of the file at a new path, which this process never read).
TEST_F(TripViewTest, FiguresSurviveARestart)
{
    ASSERT_TRUE(ReplayDemo());
    CDigiDash &digital = OpenDigital();
    digital.SetPage(CDigiDash::kPageTrip);
    const CTripFigures before = m_frame->GetTrip().GetTrip().GetFigures();
    ASSERT_GT(before.distanceMetres, 1000.0);
    m_frame.reset();

    QTemporaryDir next;
    ASSERT_TRUE(QFile::copy(QString::fromStdString(CSettingsKey::GetSettingsFile()),
                            next.filePath(QStringLiteral("veloran.ini"))));
    QFile text(next.filePath(QStringLiteral("veloran.ini")));
    ASSERT_TRUE(text.open(QIODevice::ReadOnly));
    const QByteArray ini = text.readAll();
    EXPECT_TRUE(ini.contains("Veloran\\Trip\\Distance=")) << ini.constData();
    EXPECT_TRUE(ini.contains("Veloran\\DigitalDashboard\\Page=1")) << ini.constData();
    CSettingsKey::SetConfigDirectory(next.path().toStdString());
    m_frame = std::make_unique<CMainFrame>();
    EXPECT_EQ(m_frame->GetTrip().GetTrip().GetFigures(), before);
    EXPECT_EQ(OpenDigital().GetPage(), CDigiDash::kPageTrip);
    m_frame.reset();
}

// Over the limit for the delay: the warning shows above every page, on the digital dashboard
// and in the status line; 2 km/h under the limit it goes.
TEST_F(TripViewTest, SpeedWarningOnEveryPageAndTheStatusLine)
{
    EXPECT_FALSE(m_frame->GetTrip().GetSpeedAlarm().GetSettings().on) << "off by default";
    m_frame->GetTrip().SetSpeedAlarm(
        {.on = true, .limitKmh = 50, .toleranceKmh = 5, .delaySeconds = 3});
    CPtyPair pty;
    ASSERT_TRUE(pty.IsValid());
    m_frame->SetPortOverride(QString::fromStdString(pty.SlavePath()));
    ASSERT_TRUE(m_frame->OpenPort());
    m_frame->show();
    CDigiDash &digital = OpenDigital();
    CSpeedWarningBar &bar = *m_frame->GetSpeedWarningBar();

    std::string over;
    for (int second = 0; second < 3; ++second)
        over += Epoch(second, 70.0);
    ASSERT_TRUE(pty.Send(over));
    ASSERT_TRUE(ProcessUntil(
        [&] { return m_frame->GetTrip().GetTrip().GetFigures().movingSeconds >= 2.0; }));
    EXPECT_FALSE(bar.isVisibleTo(m_frame.get())) << "two seconds over: not yet";

    ASSERT_TRUE(pty.Send(Epoch(3, 70.0)));
    ASSERT_TRUE(ProcessUntil([&] { return bar.isVisibleTo(m_frame.get()); }));
    EXPECT_EQ(bar.text(), QStringLiteral("Over speed limit 50 km/h"));
    EXPECT_EQ(digital.GetSpeedWarning(), bar.text());
    m_frame->RefreshStatusLine();
    EXPECT_EQ(m_frame->GetStatusLine()->GetTexts().alarm, "Over speed limit 50 km/h");
    // Above the sheet, so every page of it shows it.
    EXPECT_LT(bar.geometry().bottom(), m_frame->GetSheet()->geometry().top() + 1);
    QImage image(QSize(480, 640), QImage::Format_ARGB32);
    digital.resize(image.size());
    QPainter painter(&image);
    digital.Render(painter);
    painter.end();
    EXPECT_GT(CountColour(image, QRectF(0, 0, 480, 40), CDigiPalette::Of(false).warningFill),
              480 * 10)
        << "the band across the top";

    ASSERT_TRUE(pty.Send(Epoch(4, 49.0)));
    ASSERT_TRUE(ProcessUntil(
        [&] { return m_frame->GetTrip().GetTrip().GetFigures().movingSeconds >= 4.0; }));
    EXPECT_TRUE(bar.isVisibleTo(m_frame.get())) << "within 2 km/h of the limit it stays";
    ASSERT_TRUE(pty.Send(Epoch(5, 47.9)));
    ASSERT_TRUE(ProcessUntil([&] { return !bar.isVisibleTo(m_frame.get()); }));
    EXPECT_EQ(digital.GetSpeedWarning(), QString());
    m_frame->RefreshStatusLine();
    EXPECT_EQ(m_frame->GetStatusLine()->GetTexts().alarm, "");
    m_frame->CloseSource();
    EXPECT_TRUE(m_messages.empty());
}

// The Speed Alarm dialog from the speedometer's menu and from the digital dashboard's, in the
// unit system shown; OK stores what it shows.
TEST_F(TripViewTest, SpeedAlarmDialogInTheUnitsShown)
{
    m_frame->RunCommand(kCmdUnitsImperial);
    CSpeedometer &speed = *m_frame->GetDashboard()->GetSpeedometer();
    int entry = 0;
    for (const CGaugeMenuEntry &e : speed.MenuEntries())
        if (e.text == QStringLiteral("Speed Alarm..."))
            entry = e.id;
    ASSERT_NE(entry, 0) << "in the speedometer's menu";

    QStringList seen;
    QTimer answer;
    QObject::connect(&answer, &QTimer::timeout, [&] {
        auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        if (dialog == nullptr)
            return;
        const CDialogForm form{*dialog};
        seen << form.Get<QDoubleSpinBox>("limit").text()
             << form.Get<QDoubleSpinBox>("tolerance").text() << form.Get<QSpinBox>("delay").text()
             << QString::number(form.Get<QCheckBox>("checkOn").isChecked());
        form.Get<QCheckBox>("checkOn").setChecked(true);
        form.Get<QDoubleSpinBox>("limit").setValue(70.0);
        form.Get<QSpinBox>("delay").setValue(5);
        form.Click("okButton");
    });
    answer.start(50);
    speed.ApplyMenuChoice(entry);
    EXPECT_EQ(seen, QStringList({"74.6 mph", "3.1 mph", "3 s", "0"}));
    const CSpeedAlarmSettings &s = m_frame->GetTrip().GetSpeedAlarm().GetSettings();
    EXPECT_TRUE(s.on);
    EXPECT_DOUBLE_EQ(s.limitKmh, 70.0 * 1.609344);
    EXPECT_DOUBLE_EQ(s.toleranceKmh, 5.0) << "not changed: kept exactly";
    EXPECT_DOUBLE_EQ(s.delaySeconds, 5.0);

    // The digital dashboard's menu opens the same dialog; Cancel keeps everything.
    seen.clear();
    QObject::disconnect(&answer, nullptr, nullptr, nullptr);
    QObject::connect(&answer, &QTimer::timeout, [&] {
        auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        if (dialog == nullptr)
            return;
        const CDialogForm form{*dialog};
        seen << form.Get<QDoubleSpinBox>("limit").text();
        form.Get<QDoubleSpinBox>("limit").setValue(10.0);
        form.Click("cancelButton");
    });
    OpenDigital().ApplyMenuChoice(3);
    EXPECT_EQ(seen, QStringList({"70.0 mph"}));
    EXPECT_DOUBLE_EQ(m_frame->GetTrip().GetSpeedAlarm().GetSettings().limitKmh, 70.0 * 1.609344);
    QSettings file(QString::fromStdString(CSettingsKey::GetSettingsFile()), QSettings::IniFormat);
    EXPECT_EQ(file.value(QStringLiteral("Software/Veloran/SpeedAlarm/On")).toString(),
              QStringLiteral("1"));
    EXPECT_EQ(file.value(QStringLiteral("Software/Veloran/SpeedAlarm/Delay")).toString(),
              QStringLiteral("5"));
}
