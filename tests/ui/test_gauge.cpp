#include "base/Mnemonic.h"
#include "dashboard/ScaleGauge.h"
#include "ui/UiTestUtils.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QImage>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace
{

// A scale gauge that tells what the framework did with it.
class CProbeGauge : public CScaleGauge
{
public:
    explicit CProbeGauge(bool digitalCapable, int modes = 2)
        : CScaleGauge(QStringLiteral("Probe"))
    {
        SetDigitalCapable(digitalCapable);
        QStringList names;
        for (int m = 1; m <= modes; ++m)
            names << QStringLiteral("Mode %1").arg(m);
        SetModeNames(names);
        SetActionNames({QStringLiteral("Act")});
        StoreMode(1);
        SetScale(10, 10, 10);
    }
    void OnAction(int index) override { actions.push_back(index); }
    void ShowFix() { SetShowsFix(true); }

    std::vector<int> actions;
    int faces = 0;

protected:
    void DrawBackground(QPainter &painter) override
    {
        ++faces;
        CScaleGauge::DrawBackground(painter);
    }
};

// Counts the paint events a widget receives: what reaches the screen, whoever asked for it.
class CPaintCounter : public QObject
{
public:
    explicit CPaintCounter(QWidget &widget) { widget.installEventFilter(this); }
    [[nodiscard]] int Count() const { return m_count; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            ++m_count;
        return QObject::eventFilter(watched, event);
    }

private:
    int m_count = 0;
};

QImage Render(CGauge &gauge, qreal ratio = 1.0)
{
    QImage image(gauge.size() * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::magenta);
    QPainter painter(&image);
    gauge.Render(painter);
    return image;
}

bool Dark(QRgb p)
{
    return qRed(p) < 60 && qGreen(p) < 60 && qBlue(p) < 60;
}

bool White(QRgb p)
{
    return qRed(p) > 240 && qGreen(p) > 240 && qBlue(p) > 240;
}

// The point at `fraction` of the needle's length from the centre, for a value on a 100-unit
// turn: 0 down, 25 left, 50 up, 75 right.
QPoint AlongNeedle(int radius, double value, double fraction)
{
    const double theta = value * (-2 * M_PI / 100);
    const double l = fraction * 0.85 * radius;
    return {radius + static_cast<int>(std::lround(l * std::sin(theta))),
            radius + static_cast<int>(std::lround(l * std::cos(theta)))};
}

using GaugeTest = CUiTest;

} // namespace

TEST_F(GaugeTest, TicksAndNightInversion)
{
    CProbeGauge gauge(false);
    gauge.resize(160, 160);
    const int r = gauge.GetRadius();
    ASSERT_EQ(r, 79);
    // The tick ring's three kinds: major black at the bottom, middle blue a quarter way round
    // the half circle's 50 ticks (index 5), minor grey in between.
    gauge.SetValue(0.0);
    const QImage day = Render(gauge);
    // The pixel around the middle of a tick that stands out most from the face (a one-pixel
    // line is antialiased): the darkest by day, the brightest at night.
    const auto tickPixel = [&](const QImage &image, int index, bool night = false) {
        const CTick t = TickAt(index, 50, r, 10);
        const int cx = (t.outer.x + t.inner.x) / 2;
        const int cy = (t.outer.y + t.inner.y) / 2;
        QRgb darkest = image.pixel(cx, cy);
        for (int y = cy - 1; y <= cy + 1; ++y)
            for (int x = cx - 1; x <= cx + 1; ++x)
                if ((qGray(image.pixel(x, y)) < qGray(darkest)) != night)
                    darkest = image.pixel(x, y);
        return darkest;
    };
    EXPECT_TRUE(Dark(tickPixel(day, 10)));
    EXPECT_EQ(QColor(tickPixel(day, 5)).blue(), 255);
    EXPECT_LT(QColor(tickPixel(day, 5)).red(), 80);
    EXPECT_NEAR(QColor(tickPixel(day, 3)).red(), 170, 40);
    const QPoint face = AlongNeedle(r, 62, 0.3);
    EXPECT_TRUE(White(day.pixel(face)));

    gauge.SetNightColours(NightColours::Inverted, false);
    gauge.SetNight(true, false);
    const QImage night = Render(gauge);
    EXPECT_TRUE(Dark(night.pixel(face))) << "a white face turns black";
    const QColor inverted = tickPixel(night, 10, true);
    EXPECT_GT(inverted.red() + inverted.green() + inverted.blue(), 3 * 200)
        << "black marks turn white";
    EXPECT_EQ(QColor(night.pixel(0, 0)).rgb(), QColor(0, 0, 0).rgb())
        << "the page background under the gauge too";
}

// The red night keeps the inversion's order of light (the face dark, the marks bright) in reds
// alone, nothing brighter than 200.
TEST_F(GaugeTest, TicksAtNightInRed)
{
    CProbeGauge gauge(false);
    gauge.resize(160, 160);
    const int r = gauge.GetRadius();
    gauge.SetNight(true, false);
    ASSERT_TRUE(gauge.IsNightRed()) << "red is night's default";
    const QImage night = Render(gauge);
    EXPECT_EQ(QColor(night.pixel(AlongNeedle(r, 62, 0.3))).rgb(), QColor(0, 0, 0).rgb())
        << "the white face turns black";
    int brightest = 0;
    for (int y = 0; y < night.height(); ++y)
        for (int x = 0; x < night.width(); ++x) {
            const QRgb p = night.pixel(x, y);
            ASSERT_TRUE(qBlue(p) <= qGreen(p) && qGreen(p) <= qRed(p) && qRed(p) <= 200)
                << x << "," << y << ": " << qRed(p) << " " << qGreen(p) << " " << qBlue(p);
            brightest = std::max(brightest, qRed(p));
        }
    EXPECT_GE(brightest, 190) << "the black marks turn the brightest red";
}

TEST_F(GaugeTest, RadiusFromWidthAndFaceAtThePixelRatio)
{
    CProbeGauge gauge(false);
    for (const auto &[width, radius] : {std::pair{80, 39}, {81, 40}, {160, 79}}) {
        gauge.resize(width, width);
        EXPECT_EQ(gauge.GetRadius(), radius) << width;
    }
    // At ratio 2 the cached face is drawn at twice the pixels: a tick is as crisp as at 1x,
    // never a 1x face scaled up.
    gauge.resize(80, 80);
    const QImage sharp = Render(gauge, 2.0);
    ASSERT_EQ(sharp.width(), 160);
    const CTick t = TickAt(10, 50, 39, 10); // a major tick at 1x coordinates
    EXPECT_TRUE(Dark(sharp.pixel(t.outer.x + t.inner.x, t.outer.y + t.inner.y)));
    int grey = 0;
    for (int y = 0; y < sharp.height(); ++y) {
        for (int x = 0; x < sharp.width(); ++x) {
            const QColor c = sharp.pixel(x, y);
            grey += c.red() > 90 && c.red() < 160 && c.red() == c.blue();
        }
    }
    EXPECT_LT(grey, 400) << "few half-grey pixels: edges are antialiased, not smeared";
}

// An equal value repaints nothing, nor does one whose needle stays on the same pixels; the face
// is rebuilt only when the range changes: a value that fits no range sets the same range 10 on
// every call, and the same face.
TEST_F(GaugeTest, RepaintsAndFaceRebuilds)
{
    CProbeGauge gauge(false);
    const CPaintCounter paints(gauge);
    gauge.resize(160, 160);
    gauge.show();
    ASSERT_TRUE(ProcessUntil([&] { return paints.Count() > 0; }));
    const auto settle = [] { ProcessUntil([] { return false; }, 60); };
    settle();
    gauge.SetValue(150);
    settle();
    const int painted = paints.Count();
    const int faces = gauge.faces;
    gauge.SetValue(150);
    settle();
    EXPECT_EQ(paints.Count(), painted) << "same value: no paint";
    gauge.SetValue(160);
    settle();
    EXPECT_EQ(paints.Count(), painted + 1);
    EXPECT_EQ(gauge.faces, faces) << "a value in range keeps the face";
    gauge.SetValue(160.001);
    settle();
    EXPECT_EQ(paints.Count(), painted + 1) << "a needle that did not move: no paint";
    gauge.SetValue(5000);
    settle();
    EXPECT_EQ(gauge.faces, faces + 1) << "a new range: a new face";
    gauge.SetValue(0);
    settle();
    EXPECT_EQ(gauge.faces, faces + 2) << "back to range 10: a new face";
    gauge.SetValue(0.5);
    settle();
    gauge.SetValue(50);
    settle();
    EXPECT_EQ(gauge.faces, faces + 2) << "fitting no range sets range 10 again: the same face";
    EXPECT_EQ(paints.Count(), painted + 5) << "but the needle moved each time";
}

TEST_F(GaugeTest, MenuEntriesAndOutcomes)
{
    CProbeGauge capable(true, 3);
    const std::vector<CGaugeMenuEntry> entries = capable.MenuEntries();
    ASSERT_EQ(entries.size(), 7u);
    EXPECT_EQ(entries[0].text, "Mode 1");
    EXPECT_TRUE(entries[0].checked);
    EXPECT_EQ(entries[3].text, "Analog");
    EXPECT_TRUE(entries[3].separatorBefore);
    EXPECT_TRUE(entries[3].checked);
    EXPECT_EQ(entries[5].text, "Act");
    EXPECT_EQ(entries[6].text, capable.GetValueText()) << "the value last";

    // The real menu, dismissed and chosen from, by right button and by Menu key.
    const auto answer = [](const QString &text) {
        QTimer::singleShot(50, [text] {
            auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
            ASSERT_NE(menu, nullptr);
            int key = Qt::Key_Escape;
            for (QAction *action : menu->actions()) {
                if (!text.isEmpty()
                    && QString::fromStdString(StripMnemonic(action->text().toStdString()))
                           == text) {
                    menu->setActiveAction(action);
                    key = Qt::Key_Return;
                }
            }
            QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
            QApplication::sendEvent(menu, &press);
        });
    };
    capable.resize(80, 80);
    answer({});
    capable.ShowContextMenu(QPoint(10, 10));
    EXPECT_EQ(capable.actions, std::vector<int>{-5}) << "dismissed: -M-2";
    EXPECT_EQ(capable.GetMode(), 1);
    answer(QStringLiteral("Digital"));
    QContextMenuEvent key(QContextMenuEvent::Keyboard, QPoint(), QPoint());
    QApplication::sendEvent(&capable, &key);
    EXPECT_TRUE(capable.IsDigital());
    answer(QStringLiteral("Mode 3"));
    QContextMenuEvent click(QContextMenuEvent::Mouse, QPoint(5, 5),
                            capable.mapToGlobal(QPoint(5, 5)));
    QApplication::sendEvent(&capable, &click);
    EXPECT_EQ(capable.GetMode(), 3);
    EXPECT_EQ(capable.actions, (std::vector<int>{-5, 0, -2}));

    CProbeGauge plain(false, 2);
    plain.ApplyMenuChoice(0);
    plain.ApplyMenuChoice(3);
    EXPECT_EQ(plain.actions, (std::vector<int>{-2, 1})) << "-M when dismissed; then the action";
}

// Stale: the moving parts grey with the age; gone: no needle, "---"; no fix: said in words.
TEST_F(GaugeTest, StaleGoneAndNoFix)
{
    CProbeGauge gauge(false);
    gauge.ShowFix();
    gauge.resize(160, 160);
    const int r = gauge.GetRadius();
    gauge.SetValue(25);
    const QPoint needle = AlongNeedle(r, 25, 0.6);
    EXPECT_TRUE(Dark(Render(gauge).pixel(needle)));

    gauge.SetFreshness(GaugeFreshness::Stale, 5, false);
    const QColor stale = Render(gauge).pixel(needle);
    EXPECT_NEAR(stale.red(), 150, 20);
    EXPECT_EQ(stale.red(), stale.blue()) << "grey";

    gauge.SetFreshness(GaugeFreshness::Gone, 12, false);
    const QImage gone = Render(gauge);
    EXPECT_TRUE(White(gone.pixel(needle))) << "no needle";
    int dashes = 0; // grey pixels of "---" in a band across the centre
    for (int y = r - r / 5; y <= r + r / 5; ++y) {
        for (int x = r - r / 2; x < r + r / 2; ++x) {
            const QColor c = gone.pixel(x, y);
            dashes += std::abs(c.red() - 150) < 30 && c.red() == c.blue();
        }
    }
    EXPECT_GT(dashes, r) << "\"---\" across the centre";

    const auto orange = [](const QImage &image) {
        int n = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) {
                const QColor c = image.pixel(x, y);
                n += c.red() > 150 && c.green() > 50 && c.green() < 130 && c.blue() < 60;
            }
        return n;
    };
    gauge.SetFreshness(GaugeFreshness::Live, 0, true);
    EXPECT_GT(orange(Render(gauge)), 20) << "NO FIX";
    CProbeGauge clock(false); // a gauge whose value needs no fix says nothing
    clock.resize(160, 160);
    clock.SetFreshness(GaugeFreshness::Live, 0, true);
    EXPECT_LT(orange(Render(clock)), 10) << "only antialiased edges of red on yellow";
}
