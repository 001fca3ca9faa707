#include "dashboard/Dashboard.h"
#include "dashboard/DigiDash.h"
#include "dashboard/TripComputer.h"
#include "settings/DisplaySettings.h"
#include "ui/UiTestUtils.h"

#include <QApplication>
#include <QImage>
#include <QMenu>
#include <QPainter>
#include <QSettings>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <string>

namespace
{

class HeadUpTest : public CUiTest
{
protected:
    void SetUp() override
    {
        CUiTest::SetUp();
        m_dash = std::make_unique<CDashboard>(m_display);
        // Every read-out live and none of them symmetric, so that a page drawn upright can
        // never pass for its mirror.
        m_dash->SetReplaying(true);
        m_dash->SetTimeOfDay(45319);
        m_dash->SetSpeed(87.3);
        m_dash->SetCompass(84.4, -1, -1);
        m_dash->SetAltitude(545);
        m_dash->AddMileageSample(CGeoPosition(48.1, 11.5, 0), 45300, 50, false);
        m_dash->AddMileageSample(CGeoPosition(48.2, 11.5, 0), 45319, 50, false);
        CTripFigures figures;
        figures.distanceMetres = 12345.0;
        figures.movingSeconds = 1500.0;
        figures.stoppedSeconds = 120.0;
        figures.maxSpeedKmh = 131.4;
        figures.gainMetres = 40.0;
        m_trip.Restore(figures);
    }

    std::unique_ptr<CDigiDash> Open(QSize size)
    {
        auto dd = std::make_unique<CDigiDash>(*m_dash, m_display);
        dd->SetTrip(&m_trip, [] { return std::optional<CTripTarget>(); });
        dd->resize(size);
        return dd;
    }

    // What the widget paints on the screen, through its paint event.
    static QImage Screen(CDigiDash &dd) { return dd.grab().toImage().convertToFormat(kFormat); }

    // The page as it reads: a head-up display's reflection. The widget draws it into an opaque
    // picture before flipping it; straight on the screen, glyph edges blend by the screen's.
    static QImage Face(CDigiDash &dd, QImage::Format format = QImage::Format_RGB32)
    {
        QImage image(dd.size(), format);
        image.fill(Qt::magenta);
        QPainter painter(&image);
        dd.RenderFace(painter);
        painter.end();
        return image.convertToFormat(kFormat);
    }

    // Share of pure black pixels.
    static double Black(const QImage &image)
    {
        int black = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                black += image.pixel(x, y) == qRgb(0, 0, 0) ? 1 : 0;
        return static_cast<double>(black) / (image.width() * image.height());
    }

    static constexpr QImage::Format kFormat = QImage::Format_RGB32;
    CDisplaySettings m_display;
    std::unique_ptr<CDashboard> m_dash;
    CTripComputer m_trip;
};

// The first pixel where two pictures differ, for the failure message.
std::string FirstDifference(const QImage &a, const QImage &b)
{
    if (a.size() != b.size())
        return "sizes differ";
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if (a.pixel(x, y) != b.pixel(x, y))
                return std::to_string(x) + "," + std::to_string(y);
    return "none";
}

} // namespace

// The screen shows the page flipped left to right, pixel for pixel, on both pages, at a phone's
// size held upright and a car screen's, by day and at night, with the speed warning's band too;
// upright the screen shows the page as it is.
TEST_F(HeadUpTest, ScreenIsTheExactMirrorOfThePage)
{
    struct Case {
        QSize size;
        CDigiDash::Page page;
        bool night;
        const char *warning;
    };
    const Case cases[] = {
        {{800, 480}, CDigiDash::kPageReadOuts, false, ""},
        {{480, 640}, CDigiDash::kPageReadOuts, false, "Speed 97 km/h, limit 80"},
        {{800, 480}, CDigiDash::kPageTrip, false, "Speed 97 km/h, limit 80"},
        {{480, 640}, CDigiDash::kPageTrip, false, ""},
        {{800, 480}, CDigiDash::kPageReadOuts, true, "Speed 97 km/h, limit 80"},
        {{480, 640}, CDigiDash::kPageTrip, true, ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(QStringLiteral("%1x%2 page %3 %4 %5")
                         .arg(c.size.width())
                         .arg(c.size.height())
                         .arg(c.page)
                         .arg(c.night ? "night" : "day")
                         .arg(c.warning)
                         .toStdString());
        m_display.SetNightMode(c.night);
        const std::unique_ptr<CDigiDash> dd = Open(c.size);
        dd->SetHeadUp(false); // the last case left it on
        dd->SetPage(c.page);
        dd->SetSpeedWarning(QString::fromUtf8(c.warning));

        const QImage upright = Screen(*dd);
        const QImage uprightFace = Face(*dd, dd->grab().toImage().format());
        EXPECT_EQ(upright, uprightFace) << FirstDifference(upright, uprightFace);

        dd->SetHeadUp(true);
        const QImage face = Face(*dd);
        const QImage screen = Screen(*dd);
        ASSERT_EQ(screen.size(), c.size);
        EXPECT_NE(face, face.mirrored(true, false)) << "a page that reads the same both ways";
        const QImage expected = face.mirrored(true, false);
        EXPECT_EQ(screen, expected) << "first difference at " << FirstDifference(screen, expected);

        // On black, which a windscreen does not reflect; the panel's picture only upright by day.
        EXPECT_GT(Black(face), 0.5);
        EXPECT_EQ(Black(upright) > 0.5, c.night);
        if (c.night) {
            for (int y = 0; y < face.height(); y += 2)
                for (int x = 0; x < face.width(); x += 2) {
                    const QColor p = face.pixelColor(x, y);
                    ASSERT_LE(std::max(p.green(), p.blue()), 70) << "nothing but reds at night";
                }
        }
    }
}

// On a screen of two device pixels to the point the flipped page has them all: no picture drawn
// at half the resolution and blown up.
TEST_F(HeadUpTest, DenseScreensMirrorEveryDevicePixel)
{
    const std::unique_ptr<CDigiDash> dd = Open({480, 640});
    dd->SetHeadUp(true);
    const auto draw = [&dd](bool mirrored) {
        QImage image(dd->size() * 2, QImage::Format_RGB32);
        image.setDevicePixelRatio(2);
        image.fill(Qt::magenta);
        QPainter painter(&image);
        if (mirrored)
            dd->Render(painter);
        else
            dd->RenderFace(painter);
        painter.end();
        return image;
    };
    const QImage screen = draw(true);
    const QImage expected = draw(false).mirrored(true, false);
    EXPECT_EQ(screen, expected) << "first difference at " << FirstDifference(screen, expected);
}

// By day the reflection is faint: captions and units as bright as the digits.
TEST_F(HeadUpTest, DayReadOutsAreBright)
{
    const std::unique_ptr<CDigiDash> dd = Open({800, 480});
    const auto brightShare = [&dd](const QImage &image) {
        const CDigiDash::CLayout cells = dd->Layout(image.size());
        int bright = 0;
        int drawn = 0;
        for (const CDigiDash::CCell &cell : cells) {
            const QRect r = cell.box.toAlignedRect().adjusted(4, 4, -4, -4);
            for (int y = r.top(); y <= r.bottom(); ++y)
                for (int x = r.left(); x <= r.right(); ++x) {
                    const int v = qGray(image.pixel(x, y));
                    drawn += v > 100 ? 1 : 0;
                    bright += v > 235 ? 1 : 0;
                }
        }
        return static_cast<double>(bright) / std::max(1, drawn);
    };
    const double upright = brightShare(Face(*dd));
    dd->SetHeadUp(true);
    const double headUp = brightShare(Face(*dd));
    EXPECT_GT(headUp, upright);
    EXPECT_GT(headUp, 0.6) << "most of what is drawn at full brightness";
}

// H turns it on and off, as the menu's entry does; it is stored, and a new dashboard starts as
// the last one was left.
TEST_F(HeadUpTest, KeyAndMenuToggleAndTheSettingIsStored)
{
    const std::unique_ptr<CDigiDash> dd = Open({800, 480});
    EXPECT_FALSE(dd->IsHeadUp()) << "off by default";
    ASSERT_EQ(dd->MenuTexts().size(), 5);
    EXPECT_EQ(dd->MenuTexts()[4], QStringLiteral("Head-Up Display (Mirrored)"));

    dd->show();
    QTest::keyClick(dd.get(), Qt::Key_H, Qt::ControlModifier);
    EXPECT_FALSE(dd->IsHeadUp()) << "Ctrl+H is no H";
    QTest::keyClick(dd.get(), Qt::Key_H);
    EXPECT_TRUE(dd->IsHeadUp());
    EXPECT_TRUE(dd->isVisible()) << "the key leaves the dashboard open";
    const QString file = QString::fromStdString(CSettingsKey::GetSettingsFile());
    EXPECT_EQ(QSettings(file, QSettings::IniFormat)
                  .value(QStringLiteral("Software/Veloran/DigitalDashboard/HeadUp"))
                  .toInt(),
              1);
    EXPECT_TRUE(Open({800, 480})->IsHeadUp());

    QTest::keyClick(dd.get(), Qt::Key_H);
    EXPECT_FALSE(dd->IsHeadUp());
    EXPECT_FALSE(Open({800, 480})->IsHeadUp());
    dd->ApplyMenuChoice(4);
    EXPECT_TRUE(dd->IsHeadUp());
    EXPECT_TRUE(Open({800, 480})->IsHeadUp());
    dd->ApplyMenuChoice(4);
    EXPECT_FALSE(dd->IsHeadUp());
}

// A point of the screen falls on the page's pixel drawn there: the flipped column, whole-pixel
// mouse positions and a finger's fractions alike; upright nothing moves.
TEST_F(HeadUpTest, ScreenPointsFallOnThePixelDrawnThere)
{
    const std::unique_ptr<CDigiDash> dd = Open({800, 480});
    struct Case {
        QPointF at;
        QPoint upright;
        QPoint headUp;
    };
    const Case cases[] = {
        {{0, 0}, {0, 0}, {799, 0}},
        {{799, 479}, {799, 479}, {0, 479}},
        {{10.75, 20.25}, {10, 20}, {789, 20}},
        {{400, 240}, {400, 240}, {399, 240}},
        {{-0.5, 5}, {-1, 5}, {800, 5}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::to_string(c.at.x()) + "," + std::to_string(c.at.y()));
        dd->SetHeadUp(false);
        EXPECT_EQ(dd->FacePixel(c.at), c.upright);
        dd->SetHeadUp(true);
        EXPECT_EQ(dd->FacePixel(c.at), c.headUp);
    }

    // Against the drawing: across the speed's digits, every screen pixel is the page's pixel it
    // maps to.
    dd->SetHeadUp(true);
    const QImage screen = Screen(*dd);
    const QImage face = Face(*dd);
    const QRectF speed = dd->Layout(dd->size())[CDigiDash::kSpeed].box;
    for (int y = static_cast<int>(speed.top()); y < speed.bottom(); y += 3)
        for (int x = 0; x < screen.width(); ++x) {
            const QPoint on = dd->FacePixel(QPointF(x, y));
            ASSERT_EQ(screen.pixel(x, y), face.pixel(on)) << x << "," << y;
        }
}

// Mirrored, a tap still returns, a press dragged off the screen does not, and a long press opens
// the menu under the finger, upright and readable, whose entry turns the mirror off.
TEST_F(HeadUpTest, TapsAndTheMenuWorkMirrored)
{
    const std::unique_ptr<CDigiDash> dd = Open({800, 480});
    dd->SetHeadUp(true);
    int closed = 0;
    QObject::connect(dd.get(), &CDigiDash::Closed, [&closed] { ++closed; });
    dd->show();

    QTest::mousePress(dd.get(), Qt::LeftButton, {}, QPoint(700, 100));
    QTest::mouseRelease(dd.get(), Qt::LeftButton, {}, QPoint(-3, 100));
    EXPECT_EQ(closed, 0) << "released off the screen";
    QTest::mouseClick(dd.get(), Qt::LeftButton, {}, QPoint(1, 1));
    EXPECT_EQ(closed, 1) << "a tap at the very edge";
    EXPECT_FALSE(dd->isVisible());

    dd->show();
    const QPoint finger(150, 120);
    QRect menuAt;
    bool checked = false;
    QTimer poll;
    poll.setInterval(20);
    QObject::connect(&poll, &QTimer::timeout, [&] {
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        if (menu == nullptr)
            return;
        poll.stop();
        menuAt = menu->geometry();
        for (QAction *action : menu->actions()) {
            if (action->text() != QStringLiteral("Head-Up Display (Mirrored)"))
                continue;
            checked = action->isChecked();
            const QPoint entry = menu->actionGeometry(action).center();
            QTest::mousePress(menu, Qt::LeftButton, {}, entry);
            QTest::mouseRelease(menu, Qt::LeftButton, {}, entry);
            return;
        }
        menu->close();
    });
    poll.start();
    QTest::mousePress(dd.get(), Qt::LeftButton, {}, finger);
    ASSERT_TRUE(ProcessUntil([&] { return !menuAt.isNull() && !poll.isActive(); }));
    QTest::mouseRelease(dd.get(), Qt::LeftButton, {}, finger);
    EXPECT_EQ(menuAt.topLeft(), dd->mapToGlobal(finger)) << "under the finger, not its mirror";
    EXPECT_TRUE(checked);
    EXPECT_FALSE(dd->IsHeadUp());
    EXPECT_EQ(closed, 1) << "the long press is no tap";
    EXPECT_TRUE(dd->isVisible());
}
