// The Map page on a 10,000 × 10,000-pixel sheet with a 50,000-point track, 1024 × 768 offscreen:
// a frame composed again after the view moved, at zoom 1 and 4, with its parts (the sheet alone,
// the frame without the track, the overlays over a composed frame); a fix followed by the view;
// the sheet's memory with its half-size copies, RGB32, paletted and 1-bit, at even and odd
// heights; a fix followed with 2 or 70,000 waypoints in the database. The device pixel ratio is
// the platform's: run again with QT_SCALE_FACTOR=2 for 2×.
#include "QtBenchMain.h"
#include "base/Numbers.h"
#include "maps/MapBitmap.h"
#include "maps/MapDatabase.h"
#include "maps/MapView.h"
#include "maps/TrackLoader.h"
#include "settings/SettingsKey.h"
#include "waypoints/WaypointBook.h"
#include "waypoints/WaypointDatabase.h"
#include "widgets/MessageBox.h"

#include <QApplication>
#include <QImage>
#include <QImageWriter>
#include <QPainter>
#include <QPainterPath>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <malloc.h>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace
{

constexpr int kSheetSide = 10000;
constexpr int kBlockSide = 250;
constexpr int kTrackPoints = 50000;
constexpr QSize kWindow(1024, 768);

// Blocks in 62 colours between a street grid, crossed by diagonal roads: a 64-colour palette.
QImage PalettedSheet()
{
    QImage image(kSheetSide, kSheetSide, QImage::Format_Indexed8);
    QList<QRgb> colours{qRgb(70, 70, 70), qRgb(230, 120, 40)};
    for (int i = 0; colours.size() < 64; ++i)
        colours << qRgb(120 + i * 37 % 136, 140 + i * 53 % 116, 100 + i * 71 % 156);
    image.setColorTable(colours);
    for (int y = 0; y < kSheetSide; ++y) {
        uchar *line = image.scanLine(y);
        const bool street = y % kBlockSide < 4;
        for (int x = 0; x < kSheetSide; ++x) {
            uchar index = static_cast<uchar>(2 + (x / kBlockSide * 7 + y / kBlockSide * 13) % 62);
            if (street || x % kBlockSide < 4)
                index = 0;
            if ((x + y) % 2300 < 7 || (x - y + kSheetSide) % 1700 < 7)
                index = 1;
            line[x] = index;
        }
    }
    return image;
}

// The same in true colour, with antialiased rivers, lakes and names on top.
QImage ColourSheet(const QImage &paletted)
{
    QImage image = paletted.convertToFormat(QImage::Format_RGB32);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath rivers;
    for (int i = 0; i < 8; ++i) {
        const double y = 600.0 + i * 1200.0;
        rivers.moveTo(0, y);
        rivers.cubicTo(3000, y - 900, 6000, y + 900, kSheetSide, y + 300);
    }
    painter.strokePath(rivers, QPen(QColor(40, 90, 200), 9));
    painter.setPen(QPen(Qt::darkBlue, 2));
    painter.setBrush(QColor(90, 150, 230));
    QFont font = painter.font();
    font.setPixelSize(18);
    painter.setFont(font);
    for (int y = 500; y < kSheetSide; y += 1000) {
        for (int x = 500; x < kSheetSide; x += 1000) {
            painter.drawEllipse(QPointF(x, y), 80 + x % 70, 50 + y % 60);
            painter.drawText(x - 60, y + 110, QStringLiteral("Blatt %1/%2").arg(x).arg(y));
        }
    }
    return image;
}

// A scanned 1-bit plan, 15,000 × 14,000: thin lines on white; a few tens of kB as PNG. (Qt's
// reader refuses larger 1-bit images under the page's allocation limit.)
QImage MonoSheet()
{
    QImage image(15000, 14000, QImage::Format_Mono);
    image.setColorTable({qRgb(255, 255, 255), qRgb(0, 0, 0)});
    image.fill(0);
    for (int y = 0; y < image.height(); ++y) {
        uchar *line = image.scanLine(y);
        if (y % 400 < 2) {
            std::memset(line, 0xFF, static_cast<std::size_t>(image.bytesPerLine()));
            continue;
        }
        for (int x = 0; x < image.width(); x += 400)
            line[x / 8] = 0xC0;
    }
    return image;
}

// (48.2 N, 11.5 E) at the top-left corner, (48.1 N, 11.7 E) at the bottom-right.
CMapInfo SheetMap(const QString &file)
{
    CMapInfo map;
    map.m_name = "Blatt";
    map.m_file = file.toStdString();
    map.m_width = kSheetSide;
    map.m_height = kSheetSide;
    map.m_pairs.resize(2);
    map.m_pairs[0].m_position = CGeoPosition(48.2, 11.5, 0.0);
    map.m_pairs[1].m_point = {kSheetSide, kSheetSide};
    map.m_pairs[1].m_position = CGeoPosition(48.1, 11.7, 0.0);
    map.Calibrate();
    return map;
}

// The sheet as PNG files (true colour, and paletted) and a map database holding the first.
class CSheetFiles
{
public:
    CSheetFiles()
    {
        const QImage paletted = PalettedSheet();
        m_colourPath = m_dir.filePath(QStringLiteral("sheet.png"));
        m_palettedPath = m_dir.filePath(QStringLiteral("paletted.png"));
        m_oddPalettedPath = m_dir.filePath(QStringLiteral("paletted-odd.png"));
        m_monoPath = m_dir.filePath(QStringLiteral("mono.png"));
        m_oddMonoPath = m_dir.filePath(QStringLiteral("mono-odd.png"));
        m_map = SheetMap(m_colourPath);
        const QImage mono = MonoSheet();
        m_ok = m_dir.isValid() && Write(ColourSheet(paletted), m_colourPath)
               && Write(paletted, m_palettedPath)
               && Write(paletted.copy(0, 0, kSheetSide, kSheetSide - 1), m_oddPalettedPath)
               && Write(mono, m_monoPath)
               && Write(mono.copy(0, 0, mono.width(), mono.height() - 1), m_oddMonoPath)
               && WriteDatabaseFile(JoinDatabasePath(m_dir.path().toStdString(), kMapFileName),
                                    {m_map}, MapCodec())
                      == 0;
    }

    QTemporaryDir m_dir;
    QString m_colourPath;
    QString m_palettedPath;
    QString m_oddPalettedPath;
    QString m_monoPath;
    QString m_oddMonoPath;
    CMapInfo m_map;
    bool m_ok = false;

private:
    static bool Write(const QImage &image, const QString &path)
    {
        QImageWriter writer(path);
        writer.setQuality(80); // zlib level 1: the blocks compress well enough, fast
        return writer.write(image);
    }
};

// A drive: about 20 pixels a step, the heading wandering, turned back at the sheet's edges;
// the reception colour changes now and then.
class CDrive
{
public:
    CTrackPoint Next()
    {
        for (;;) {
            m_heading += m_turn(m_random);
            const double x = m_x + 20.0 * std::cos(m_heading);
            const double y = m_y + 20.0 * std::sin(m_heading);
            if (x >= 0 && y >= 0 && x < kSheetSide && y < kSheetSide) {
                m_x = x;
                m_y = y;
                break;
            }
            m_heading += std::numbers::pi;
        }
        if (m_random() % 50 == 0)
            m_stop = m_random() % kQualityStops.size();
        return {{static_cast<std::int32_t>(m_x), static_cast<std::int32_t>(m_y)},
                kQualityStops[m_stop]};
    }

private:
    std::mt19937 m_random{20240601};
    std::normal_distribution<double> m_turn{0.0, 0.3};
    double m_x = kSheetSide / 2.0;
    double m_y = kSheetSide / 2.0;
    double m_heading = 0.0;
    std::size_t m_stop = 4;
};

// The page with the sheet decoded and the track loaded, kept for the whole run: decoding takes
// seconds, and a benchmark function runs more than once.
class CSheetView
{
public:
    explicit CSheetView(const CSheetFiles &files)
        : m_map(files.m_map)
    {
        m_view.resize(kWindow);
        m_view.Start(files.m_dir.path(), true, &m_book);
        if (!m_view.WaitForBitmap(300000)
            || m_view.GetBitmap().GetSize() != m_map.m_width * QSize(1, 1))
            return;
        CMapPageSettings &s = m_view.GetModel().m_settings;
        s.showCoordinates = true;
        s.showBearing = true;
        std::vector<CTrackPoint> track;
        for (int i = 0; i < kTrackPoints; ++i)
            track.push_back(m_drive.Next());
        m_view.GetModel().AppendTrack(track);
        m_view.SetFix(true);
        m_ok = m_view.GetModel().GetTrack().size() + 1 == kTrackPoints;
    }

    // The next point of the drive as a fix, in the middle of its pixel.
    CGeoPosition NextFix()
    {
        CGeoPosition position;
        m_map.PixelToPosition(m_drive.Next().point, position);
        position.m_longitude += 0.5 / m_map.m_xScale;
        position.m_latitude += 0.5 / m_map.m_yScale;
        return position;
    }

    CWaypointBook m_book{nullptr}; // empty unless a benchmark loads one
    CMapView m_view;
    bool m_ok = false;
    CMapInfo m_map;

private:
    CDrive m_drive;
};

std::unique_ptr<CSheetFiles> g_files;
std::unique_ptr<CSheetView> g_view;

const CSheetFiles *Files(benchmark::State &state)
{
    if (g_files == nullptr)
        g_files = std::make_unique<CSheetFiles>();
    if (!g_files->m_ok) {
        state.SkipWithError("cannot write the sheet");
        return nullptr;
    }
    return g_files.get();
}

CSheetView *View(benchmark::State &state)
{
    const CSheetFiles *files = Files(state);
    if (files == nullptr)
        return nullptr;
    if (g_view == nullptr)
        g_view = std::make_unique<CSheetView>(*files);
    if (!g_view->m_ok) {
        state.SkipWithError("the sheet did not load");
        return nullptr;
    }
    return g_view.get();
}

std::string WindowLabel(const CMapView &view)
{
    return FormatC("%dx%d at %gx", view.width(), view.height(), view.devicePixelRatioF());
}

// A /proc/self/status field in kB; -1 when missing.
std::int32_t StatusKiB(std::string_view field)
{
    std::ifstream in("/proc/self/status");
    for (std::string line; std::getline(in, line);) {
        std::int32_t kiB = 0;
        if (line.starts_with(field)
            && ScanInt(std::string_view(line).substr(field.size()), kiB) == 1)
            return kiB;
    }
    return -1;
}

// Sets VmHWM back to the current VmRSS (Linux 4.0 and later).
bool ResetPeakRss()
{
    std::ofstream out("/proc/self/clear_refs");
    out << "5" << std::flush;
    return static_cast<bool>(out);
}

// The view moved by 3 pixels each time, so the frame is composed again; `track` 0 hides it.
void BM_PaintMovedFrame(benchmark::State &state)
{
    CSheetView *sheet = View(state);
    if (sheet == nullptr)
        return;
    CMapView &view = sheet->m_view;
    CMapViewport &viewport = view.GetModel().Viewport();
    view.GetModel().m_settings.trackPosition = false;
    view.GetModel().m_settings.showTrack = state.range(1) != 0;
    viewport.SetZoom(static_cast<double>(state.range(0)));
    int step = 0;
    for (auto _ : state) {
        viewport.SetCentre({kSheetSide / 2 + 3 * (++step % 2), kSheetSide / 2});
        view.WaypointsChanged(); // the page's own "compose again"
        const QImage image = view.Render();
        benchmark::DoNotOptimize(image.constBits());
    }
    view.GetModel().m_settings.showTrack = true;
    state.SetLabel(WindowLabel(view) + (state.range(1) != 0 ? "" : ", no track"));
}
BENCHMARK(BM_PaintMovedFrame)
    ->ArgNames({"zoom", "track"})
    ->Args({1, 1})
    ->Args({4, 1})
    ->Args({1, 0})
    ->Args({4, 0})
    ->Unit(benchmark::kMillisecond);

// A paint over a frame that is still valid: the frame copied, the overlays drawn.
void BM_PaintOverlays(benchmark::State &state)
{
    CSheetView *sheet = View(state);
    if (sheet == nullptr)
        return;
    CMapView &view = sheet->m_view;
    view.GetModel().m_settings.trackPosition = false;
    view.GetModel().Viewport().SetZoom(1.0);
    view.GetModel().Viewport().SetCentre({kSheetSide / 2, kSheetSide / 2});
    view.WaypointsChanged();
    for (auto _ : state) {
        const QImage image = view.Render();
        benchmark::DoNotOptimize(image.constBits());
    }
    state.SetLabel(WindowLabel(view));
}
BENCHMARK(BM_PaintOverlays)->Unit(benchmark::kMillisecond);

// The sheet's part of a frame alone, as the page draws it into its frame.
void BM_DrawSheet(benchmark::State &state)
{
    CSheetView *sheet = View(state);
    if (sheet == nullptr)
        return;
    const CMapView &view = sheet->m_view;
    const double zoom = static_cast<double>(state.range(0));
    const QSize size = kWindow * view.devicePixelRatioF();
    QImage frame(size, QImage::Format_RGB32);
    int step = 0;
    for (auto _ : state) {
        QPainter painter(&frame);
        const double x = kSheetSide / 2.0 - size.width() * zoom / 2 + 3 * (++step % 2);
        const double y = kSheetSide / 2.0 - size.height() * zoom / 2;
        view.GetBitmap().Draw(painter, QRectF(QPointF(0, 0), size),
                              QRectF(x, y, size.width() * zoom, size.height() * zoom), zoom);
    }
    state.SetLabel(WindowLabel(view));
}
BENCHMARK(BM_DrawSheet)->ArgName("zoom")->Arg(1)->Arg(4)->Unit(benchmark::kMillisecond);

// A fix with Track Position on: the marker moves, the track grows by a segment, the view
// follows (so the frame is composed again), and the page paints.
void BM_FixFollowed(benchmark::State &state)
{
    CSheetView *sheet = View(state);
    if (sheet == nullptr)
        return;
    CMapView &view = sheet->m_view;
    view.GetModel().m_settings.trackPosition = true;
    view.GetModel().Viewport().SetZoom(1.0);
    for (auto _ : state) {
        view.SetPosition(sheet->NextFix());
        const QImage image = view.Render();
        benchmark::DoNotOptimize(image.constBits());
    }
    view.GetModel().m_settings.trackPosition = false;
    state.counters["segments"] = static_cast<double>(view.GetModel().GetTrack().size());
    state.SetLabel(WindowLabel(view));
}
BENCHMARK(BM_FixFollowed)->Unit(benchmark::kMillisecond);

// Decoding the sheet's PNG as the page does: the bytes kept (the image and its half-size copies)
// and the resident memory the load needed at its peak, in MB of 10^6 bytes. Kinds: 0 the
// 10,000 × 10,000 sheet in true colour, 1 paletted, 2 the 15,000 × 14,000 1-bit plan; `odd`
// takes a row off the height.
void BM_SheetMemory(benchmark::State &state)
{
    const CSheetFiles *files = Files(state);
    if (files == nullptr)
        return;
    const auto kind = state.range(0);
    const bool odd = state.range(1) != 0;
    const QString path = kind == 0   ? files->m_colourPath
                         : kind == 1 ? (odd ? files->m_oddPalettedPath : files->m_palettedPath)
                                     : (odd ? files->m_oddMonoPath : files->m_monoPath);
    CMapBitmap bitmap;
    std::int32_t before = -1;
    std::int32_t peak = -1;
    for (auto _ : state) {
        bitmap = CMapBitmap();
        // Freed heap pages would otherwise count as resident before and be reused unseen.
        ::malloc_trim(0);
        const bool reset = ResetPeakRss();
        before = StatusKiB("VmRSS:");
        bitmap = CMapBitmap::Decode(path);
        peak = reset ? StatusKiB("VmHWM:") : -1;
    }
    if (bitmap.IsNull()) {
        state.SkipWithError("decode failed");
        return;
    }
    state.counters["MB"] = static_cast<double>(bitmap.GetBytes()) / 1e6;
    if (peak > 0 && before > 0)
        state.counters["load_peak_MB"] = (peak - before) * 1.024e-3;
    const QImage &top = bitmap.GetLevels().front();
    state.SetLabel(FormatC("%dx%d, %s", top.width(), top.height(),
                           kind == 0   ? "RGB32"
                           : kind == 1 ? "Indexed8"
                                       : "1-bit"));
}
BENCHMARK(BM_SheetMemory)
    ->ArgNames({"kind", "odd"})
    ->Args({0, 0})
    ->Args({1, 0})
    ->Args({1, 1})
    ->Args({2, 0})
    ->Args({2, 1})
    ->Iterations(1)
    ->Repetitions(1)
    ->Unit(benchmark::kMillisecond);

// `count` waypoints, each with the default 1" circle (14 × 28 pixels here), spread over the
// sheet or (dense) packed into the 3,000-pixel square around where the drive is; then a fix
// followed as in BM_FixFollowed. 2 against 70,000: the cost of a big database on the page.
void BM_FixFollowedWaypoints(benchmark::State &state)
{
    CSheetView *sheet = View(state);
    if (sheet == nullptr)
        return;
    CMapView &view = sheet->m_view;
    view.GetModel().m_settings.trackPosition = true;
    view.GetModel().Viewport().SetZoom(1.0);
    view.SetPosition(sheet->NextFix());
    const CMapPoint at = view.GetModel().Viewport().GetCentre();
    const bool dense = state.range(1) != 0;
    const int side = dense ? 3000 : kSheetSide;
    const int left = dense ? std::clamp(at.x - side / 2, 0, kSheetSide - side) : 0;
    const int top = dense ? std::clamp(at.y - side / 2, 0, kSheetSide - side) : 0;
    std::mt19937 random(18);
    std::uniform_int_distribution<int> offset(0, side - 1);
    CWaypointList list;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        CWaypoint w;
        w.m_name = FormatC("WP%05d", static_cast<int>(i));
        sheet->m_map.PixelToPosition({left + offset(random), top + offset(random)}, w.m_position);
        list.push_back(w);
    }
    QTemporaryDir dir;
    QTemporaryDir none;
    if (!dir.isValid() || !none.isValid()
        || WriteDatabaseFile(JoinDatabasePath(dir.path().toStdString(), kWaypointFileName), list,
                             WaypointCodec())
               != 0
        || WriteDatabaseFile(JoinDatabasePath(none.path().toStdString(), kWaypointFileName), {},
                             WaypointCodec())
               != 0) {
        state.SkipWithError("cannot write the waypoints");
        return;
    }
    sheet->m_book.Load(dir.path(), false);
    view.WaypointsChanged();
    if (sheet->m_book.GetWaypoints().size() != list.size()) {
        state.SkipWithError("the waypoints did not load");
        return;
    }
    for (auto _ : state) {
        view.SetPosition(sheet->NextFix());
        const QImage image = view.Render();
        benchmark::DoNotOptimize(image.constBits());
    }
    view.GetModel().m_settings.trackPosition = false;
    sheet->m_book.Load(none.path(), false);
    view.WaypointsChanged();
    state.SetLabel(WindowLabel(view) + (dense ? ", dense" : ", spread"));
}
BENCHMARK(BM_FixFollowedWaypoints)
    ->ArgNames({"waypoints", "dense"})
    ->Args({2, 0})
    ->Args({70000, 0})
    ->Args({2, 1})
    ->Args({70000, 1})
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    return RunQtBenchmarks(argc, argv, [] {
        g_view.reset();
        g_files.reset();
    });
}
