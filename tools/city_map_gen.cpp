// veloran-city-map: draws the street map of an invented town under the demo drive, for README
// screenshots and map tests,
//
//   veloran-city-map DEMO.nmea OUT.png     ->  OUT.png, OUT.pgw (world file)
//
// The drive's own path is drawn as the main road, so the replayed track runs on streets. The
// map is linear in longitude and latitude (the map page's model); it prints the drive's
// bounding box and the two corner pairs as "pair X Y LAT LON" lines for scripts. Needs no
// display: it runs on the offscreen platform.

#include <QFile>
#include <QFileInfo>
#include <QFont>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QPainterPathStroker>
#include <QSaveFile>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <random>
#include <vector>

namespace
{

constexpr int kWidth = 2000;
constexpr int kHeight = 1500;
// Ground resolution; spans are rounded to 1e-4 degrees, so this holds to a fraction of a percent.
constexpr double kMetresPerPixel = 3.0;
constexpr double kMetresPerDegreeLat = 111190.0; // at 48 degrees north
constexpr double kMetresPerDegreeLonEquator = 111320.0;
constexpr double kPi = 3.14159265358979323846;
// The drive must keep this far from every edge.
constexpr double kMinMarginPixels = 150.0;

const QString kFontFamily = QStringLiteral("Liberation Sans");

namespace Colour
{
const QColor Ground(0xf1, 0xed, 0xe5);
const QColor Building(0xdc, 0xd3, 0xc6);
const QColor BuildingWarm(0xe3, 0xcf, 0xc4);
const QColor Courtyard(0xf4, 0xf0, 0xe8);
const QColor Lawn(0xd5, 0xe8, 0xc2);
const QColor StreetCasing(0xc4, 0xbb, 0xae);
const QColor Street(0xff, 0xff, 0xff);
const QColor MainCasing(0xc8, 0x93, 0x2c);
const QColor Main(0xfb, 0xd7, 0x6b);
const QColor Bridge(0x6a, 0x66, 0x60);
const QColor Water(0xaa, 0xd3, 0xdf);
const QColor Bank(0x86, 0xb4, 0xc9);
const QColor Park(0xc8, 0xe6, 0xa8);
const QColor ParkEdge(0x9c, 0xc4, 0x7c);
const QColor Tree(0x9d, 0xcb, 0x80);
const QColor TreeEdge(0x7d, 0xae, 0x62);
const QColor Path(0xf6, 0xf1, 0xdf);
const QColor Label(0x3c, 0x3c, 0x3c);
const QColor District(0x8a, 0x80, 0x74);
const QColor WaterLabel(0x3d, 0x6f, 0x96);
const QColor ParkLabel(0x3f, 0x6e, 0x2a);
} // namespace Colour

struct CLatLon {
    double lat = 0.0;
    double lon = 0.0;
};

// The map's corners; pixel (0,0) is the north-west corner, (kWidth,kHeight) the south-east.
struct CFrame {
    double north = 0.0, south = 0.0, west = 0.0, east = 0.0;

    [[nodiscard]] QPointF ToPixel(const CLatLon &p) const
    {
        return {(p.lon - west) / (east - west) * kWidth,
                (north - p.lat) / (north - south) * kHeight};
    }
};

// A deterministic source of numbers: the same map on every run and every platform.
class CRandom
{
public:
    double Uniform(double lo, double hi) { return lo + (hi - lo) * (m_engine() / 4294967296.0); }
    bool Chance(double p) { return Uniform(0, 1) < p; }

private:
    std::mt19937 m_engine{20260614};
};

double ParseCoordinate(const QByteArray &value, const QByteArray &hemisphere, int degreeDigits)
{
    const double degrees = value.left(degreeDigits).toDouble();
    const double minutes = value.mid(degreeDigits).toDouble();
    const double d = degrees + minutes / 60.0;
    return hemisphere == "S" || hemisphere == "W" ? -d : d;
}

// The GGA positions with a fix, in log order.
std::vector<CLatLon> ReadDrive(const QString &path)
{
    std::vector<CLatLon> drive;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return drive;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine().trimmed();
        if (!line.startsWith('$') || line.mid(3, 3) != "GGA")
            continue;
        const QList<QByteArray> f = line.split(',');
        if (f.size() < 7 || f[2].isEmpty() || f[4].isEmpty() || f[6] == "0")
            continue;
        drive.push_back({ParseCoordinate(f[2], f[3], 2), ParseCoordinate(f[4], f[5], 3)});
    }
    return drive;
}

double Round4(double v)
{
    return std::round(v * 1e4) / 1e4;
}

// The drive's bounding box centred on a map of kMetresPerPixel.
CFrame FrameAround(const std::vector<CLatLon> &drive)
{
    auto [minLat, maxLat] =
        std::minmax_element(drive.begin(), drive.end(),
                            [](const CLatLon &a, const CLatLon &b) { return a.lat < b.lat; });
    auto [minLon, maxLon] =
        std::minmax_element(drive.begin(), drive.end(),
                            [](const CLatLon &a, const CLatLon &b) { return a.lon < b.lon; });
    const double lat = (minLat->lat + maxLat->lat) / 2;
    const double lon = (minLon->lon + maxLon->lon) / 2;
    const double latSpan = Round4(kHeight * kMetresPerPixel / kMetresPerDegreeLat);
    const double lonSpan =
        Round4(kWidth * kMetresPerPixel / (kMetresPerDegreeLonEquator * std::cos(lat * kPi / 180)));
    CFrame f;
    f.north = Round4(lat + latSpan / 2);
    f.south = f.north - latSpan;
    f.west = Round4(lon - lonSpan / 2);
    f.east = f.west + lonSpan;
    std::printf("drive %.6f %.6f %.6f %.6f (south west north east)\n", minLat->lat, minLon->lon,
                maxLat->lat, maxLon->lon);
    return f;
}

// Streets of the grid: nearly straight lines, x = base + slant * (y - centre) for the ones
// running north-south, y = base + slant * (x - centre) for the others.
struct CGridLine {
    double base = 0.0;
    double slant = 0.0;
};

std::vector<CGridLine> MakeGridLines(CRandom &rng, int extent, double spacing)
{
    std::vector<CGridLine> lines;
    for (double b = -spacing / 2; b < extent + spacing; b += spacing * rng.Uniform(0.8, 1.25))
        lines.push_back({b + rng.Uniform(-6, 6), rng.Uniform(-0.035, 0.035)});
    return lines;
}

QPointF Crossing(const CGridLine &v, const CGridLine &h)
{
    // x = v.base + v.slant (y - H/2), y = h.base + h.slant (x - W/2)
    const double x = (v.base + v.slant * (h.base - kHeight / 2.0 - h.slant * kWidth / 2.0))
                     / (1 - v.slant * h.slant);
    return {x, h.base + h.slant * (x - kWidth / 2.0)};
}

QLineF VerticalLine(const CGridLine &v)
{
    return {v.base + v.slant * (-20 - kHeight / 2.0), -20.0,
            v.base + v.slant * (kHeight + 20 - kHeight / 2.0), kHeight + 20.0};
}

QLineF HorizontalLine(const CGridLine &h)
{
    return {-20.0, h.base + h.slant * (-20 - kWidth / 2.0), kWidth + 20.0,
            h.base + h.slant * (kWidth + 20 - kWidth / 2.0)};
}

// A smooth curve through `points` (Catmull-Rom as cubic Béziers).
QPainterPath SmoothPath(const std::vector<QPointF> &points)
{
    QPainterPath path(points.front());
    for (std::size_t i = 0; i + 1 < points.size(); ++i) {
        const QPointF p0 = points[i == 0 ? 0 : i - 1];
        const QPointF p1 = points[i];
        const QPointF p2 = points[i + 1];
        const QPointF p3 = points[std::min(i + 2, points.size() - 1)];
        path.cubicTo(p1 + (p2 - p0) / 6, p2 - (p3 - p1) / 6, p2);
    }
    return path;
}

void StrokePath(QPainter &p, const QPainterPath &path, const QColor &colour, double width)
{
    p.strokePath(path, QPen(colour, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
}

QFont MapFont(double pixelSize, int weight = QFont::Normal, bool italic = false)
{
    QFont font(kFontFamily);
    font.setPixelSize(static_cast<int>(pixelSize));
    font.setWeight(static_cast<QFont::Weight>(weight));
    font.setItalic(italic);
    return font;
}

// Text centred on `at`, turned by `degrees`, with a halo that keeps it readable over streets.
QRectF DrawLabel(QPainter &p, const QString &text, QPointF at, double degrees, const QFont &font,
                 const QColor &colour, const QColor &halo = Colour::Courtyard, double spacing = 0)
{
    QFont f = font;
    if (spacing > 0)
        f.setLetterSpacing(QFont::AbsoluteSpacing, spacing);
    QPainterPath path;
    path.addText(0, 0, f, text);
    const QRectF box = path.boundingRect();
    path.translate(-box.center());
    p.save();
    p.translate(at);
    p.rotate(degrees);
    if (halo.alpha() > 0)
        StrokePath(p, path, halo, 4);
    p.fillPath(path, colour);
    const QRectF covered = p.transform().map(path).boundingRect();
    p.restore();
    return covered;
}

// Readable upright: text never runs upside down.
double Upright(double degrees)
{
    while (degrees > 90)
        degrees -= 180;
    while (degrees < -90)
        degrees += 180;
    return degrees;
}

// The point at `fraction` of a polyline's length and the direction there (over ±span pixels).
std::pair<QPointF, double> AlongPolyline(const std::vector<QPointF> &line, double fraction,
                                         double span = 60)
{
    std::vector<double> at(1, 0.0);
    for (std::size_t i = 1; i < line.size(); ++i)
        at.push_back(at.back() + QLineF(line[i - 1], line[i]).length());
    const auto pointAt = [&](double s) {
        s = std::clamp(s, 0.0, at.back());
        const std::size_t i = std::min<std::size_t>(
            static_cast<std::size_t>(std::upper_bound(at.begin(), at.end(), s) - at.begin()),
            line.size() - 1);
        const double piece = at[i] - at[i - 1];
        return piece > 0 ? line[i - 1] + (line[i] - line[i - 1]) * ((s - at[i - 1]) / piece)
                         : line[i];
    };
    const double s = fraction * at.back();
    const QPointF a = pointAt(s - span);
    const QPointF b = pointAt(s + span);
    return {pointAt(s), Upright(std::atan2(b.y() - a.y(), b.x() - a.x()) * 180 / kPi)};
}

double DistanceToPolyline(QPointF q, const std::vector<QPointF> &line)
{
    double best = 1e9;
    for (std::size_t i = 1; i < line.size(); ++i) {
        const QPointF d = line[i] - line[i - 1];
        const double len2 = QPointF::dotProduct(d, d);
        const double t =
            len2 > 0 ? std::clamp(QPointF::dotProduct(q - line[i - 1], d) / len2, 0.0, 1.0) : 0.0;
        best = std::min(best, QLineF(q, line[i - 1] + d * t).length());
    }
    return best;
}

void DrawNorthArrow(QPainter &p, QPointF centre)
{
    p.setPen(QPen(Colour::Label, 2));
    p.setBrush(QColor(255, 255, 255, 220));
    p.drawEllipse(centre, 42, 42);
    QPainterPath left, right;
    left.moveTo(centre + QPointF(0, -32));
    left.lineTo(centre + QPointF(-14, 22));
    left.lineTo(centre + QPointF(0, 12));
    left.closeSubpath();
    right.moveTo(centre + QPointF(0, -32));
    right.lineTo(centre + QPointF(14, 22));
    right.lineTo(centre + QPointF(0, 12));
    right.closeSubpath();
    p.setPen(QPen(Colour::Label, 1.5));
    p.setBrush(Colour::Label);
    p.drawPath(left);
    p.setBrush(Qt::white);
    p.drawPath(right);
    DrawLabel(p, QStringLiteral("N"), centre + QPointF(0, -58), 0, MapFont(22, QFont::Bold),
              Colour::Label);
}

void DrawScaleBar(QPainter &p, QPointF origin, double metresPerPixel)
{
    constexpr int kSegments = 4;
    constexpr double kSegmentMetres = 125;
    const double segment = kSegmentMetres / metresPerPixel;
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 255, 255, 220));
    p.drawRoundedRect(QRectF(origin + QPointF(-18, -44), QSizeF(segment * kSegments + 70, 72)), 6,
                      6);
    p.setPen(QPen(Colour::Label, 1.5));
    for (int i = 0; i < kSegments; ++i) {
        p.setBrush(i % 2 == 0 ? Colour::Label : Qt::white);
        p.drawRect(QRectF(origin + QPointF(i * segment, 0), QSizeF(segment, 10)));
    }
    const QFont font = MapFont(15);
    for (int i = 0; i <= kSegments; i += 2) {
        const QString text =
            i == kSegments ? QStringLiteral("500 m") : QString::number(i * kSegmentMetres, 'f', 0);
        DrawLabel(p, text, origin + QPointF(i * segment + (i == kSegments ? 14 : 0), -16), 0, font,
                  Colour::Label, Qt::transparent);
    }
}

void DrawTitle(QPainter &p)
{
    p.setPen(QPen(Colour::District, 1.5));
    p.setBrush(QColor(255, 255, 255, 230));
    p.drawRoundedRect(QRectF(36, 36, 330, 104), 8, 8);
    p.setPen(Colour::Label);
    p.setFont(MapFont(40, QFont::Bold));
    p.drawText(QRectF(36, 44, 330, 52), Qt::AlignCenter, QStringLiteral("Velmsford"));
    p.setFont(MapFont(17));
    p.drawText(QRectF(36, 96, 330, 30), Qt::AlignCenter, QStringLiteral("Town map"));
}

bool SaveAtomically(const QString &path, const std::function<bool(QIODevice &)> &write)
{
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && write(file) && file.commit();
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: veloran-city-map DEMO.nmea OUT.png\n");
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    if (!QFontDatabase::families().contains(kFontFamily))
        std::fprintf(stderr, "veloran-city-map: warning: font %s is missing\n",
                     qPrintable(kFontFamily));

    const std::vector<CLatLon> drive = ReadDrive(QString::fromLocal8Bit(argv[1]));
    if (drive.size() < 2) {
        std::fprintf(stderr, "veloran-city-map: no GGA positions in %s\n", argv[1]);
        return 1;
    }
    const CFrame frame = FrameAround(drive);
    std::vector<QPointF> track;
    for (const CLatLon &p : drive)
        if (track.empty() || QLineF(track.back(), frame.ToPixel(p)).length() > 0.5)
            track.push_back(frame.ToPixel(p));
    for (const QPointF &q : track)
        if (std::min({q.x(), q.y(), kWidth - q.x(), kHeight - q.y()}) < kMinMarginPixels) {
            std::fprintf(stderr, "veloran-city-map: the drive does not fit the map\n");
            return 1;
        }
    // The drive starts and ends on the road, not where the road starts and ends: it runs on to
    // the edges the way the drive set off and arrived.
    // The unit step out of a line at its first point, against its heading.
    const auto away = [](const std::vector<QPointF> &line) {
        for (const QPointF &q : line)
            if (QLineF(line.front(), q).length() >= 40)
                return (line.front() - q) / QLineF(line.front(), q).length();
        return QPointF(0, 0);
    };
    const auto toEdge = [](QPointF from, QPointF step) {
        if (step.isNull())
            return from;
        while (QRectF(-20, -20, kWidth + 40, kHeight + 40).contains(from))
            from += step * 10;
        return from;
    };
    std::vector<QPointF> road = track;
    road.insert(road.begin(), toEdge(track.front(), away(track)));
    road.push_back(toEdge(track.back(), away({track.rbegin(), track.rend()})));
    const double metresPerPixel = (frame.east - frame.west) / kWidth * kMetresPerDegreeLonEquator
                                  * std::cos((frame.north + frame.south) / 2 * kPi / 180);

    CRandom rng;
    const std::vector<CGridLine> columns = MakeGridLines(rng, kWidth, 84);
    const std::vector<CGridLine> rows = MakeGridLines(rng, kHeight, 64);
    // One avenue each way besides the drive's own road.
    const std::size_t avenueColumn = columns.size() * 7 / 20;
    const std::size_t avenueRow = rows.size() * 4 / 5;

    QImage image(kWidth, kHeight, QImage::Format_RGB32);
    image.fill(Colour::Ground);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);

    // Blocks: buildings round a courtyard, now and then a lawn or a square.
    p.setPen(Qt::NoPen);
    for (std::size_t i = 0; i + 1 < columns.size(); ++i)
        for (std::size_t j = 0; j + 1 < rows.size(); ++j) {
            const QPolygonF block{Crossing(columns[i], rows[j]), Crossing(columns[i + 1], rows[j]),
                                  Crossing(columns[i + 1], rows[j + 1]),
                                  Crossing(columns[i], rows[j + 1])};
            const double kind = rng.Uniform(0, 1);
            if (kind < 0.06) {
                p.setBrush(Colour::Lawn);
                p.drawPolygon(block);
                continue;
            }
            p.setBrush(kind < 0.22 ? Colour::BuildingWarm : Colour::Building);
            p.drawPolygon(block);
            const QPointF centre = (block[0] + block[1] + block[2] + block[3]) / 4;
            const double inner = rng.Uniform(0.35, 0.6);
            QPolygonF court;
            for (const QPointF &corner : block)
                court << centre + (corner - centre) * inner;
            p.setBrush(kind < 0.35 ? Colour::Lawn : Colour::Courtyard);
            p.drawPolygon(court);
        }

    QPainterPath streets;
    for (const CGridLine &c : columns) {
        const QLineF l = VerticalLine(c);
        streets.moveTo(l.p1());
        streets.lineTo(l.p2());
    }
    for (const CGridLine &r : rows) {
        const QLineF l = HorizontalLine(r);
        streets.moveTo(l.p1());
        streets.lineTo(l.p2());
    }
    StrokePath(p, streets, Colour::StreetCasing, 9);
    StrokePath(p, streets, Colour::Street, 6);

    // The park on the river's east bank, south of the drive.
    const QRectF parkArea(1455, 790, 360, 290);
    QPainterPath park;
    park.addRoundedRect(parkArea, 40, 40);
    p.setPen(QPen(Colour::ParkEdge, 3));
    p.setBrush(Colour::Park);
    p.drawPath(park);
    p.setPen(Qt::NoPen);
    for (int k = 0; k < 150; ++k) {
        const QPointF at(rng.Uniform(parkArea.left() + 25, parkArea.right() - 20),
                         rng.Uniform(parkArea.top() + 20, parkArea.bottom() - 20));
        const double r = rng.Uniform(5, 10);
        p.setBrush(Colour::TreeEdge);
        p.drawEllipse(at, r + 1.5, r + 1.5);
        p.setBrush(Colour::Tree);
        p.drawEllipse(at, r, r);
    }
    QPainterPath parkPaths =
        SmoothPath({{1480, 1050}, {1560, 960}, {1650, 935}, {1720, 870}, {1790, 820}});
    parkPaths.addPath(SmoothPath({{1490, 830}, {1580, 880}, {1620, 1000}, {1700, 1060}}));
    StrokePath(p, parkPaths, Colour::Path, 5);
    p.setPen(QPen(Colour::Bank, 2));
    p.setBrush(Colour::Water);
    p.drawEllipse(QPointF(1700, 985), 52, 30);

    // The river, north to south; streets end at its banks unless they cross on a bridge.
    const QPainterPath river = SmoothPath({{1370, -30},
                                           {1335, 180},
                                           {1395, 420},
                                           {1455, 640},
                                           {1410, 900},
                                           {1430, 1150},
                                           {1520, 1340},
                                           {1560, 1530}});
    constexpr double kRiverWidth = 52;
    StrokePath(p, river, Colour::Bank, kRiverWidth + 5);
    StrokePath(p, river, Colour::Water, kRiverWidth);
    QPainterPathStroker stroker;
    stroker.setWidth(kRiverWidth + 5);
    const QPainterPath riverArea = stroker.createStroke(river);

    QPainterPath footBridges;
    for (std::size_t j = 2; j < rows.size(); j += 4) {
        const QLineF l = HorizontalLine(rows[j]);
        footBridges.moveTo(l.p1());
        footBridges.lineTo(l.p2());
    }
    p.save();
    p.setClipPath(riverArea);
    p.strokePath(footBridges, QPen(Colour::Bridge, 12, Qt::SolidLine, Qt::FlatCap));
    p.strokePath(footBridges, QPen(Colour::Street, 6, Qt::SolidLine, Qt::FlatCap));
    p.restore();

    // Main roads: the drive's path and the two avenues, on bridges over the river.
    QPainterPath mainRoads;
    mainRoads.addPolygon(QPolygonF(QList<QPointF>(road.begin(), road.end())));
    const QLineF avenue = VerticalLine(columns[avenueColumn]);
    mainRoads.moveTo(avenue.p1());
    mainRoads.lineTo(avenue.p2());
    const QLineF ring = HorizontalLine(rows[avenueRow]);
    mainRoads.moveTo(ring.p1());
    mainRoads.lineTo(ring.p2());
    p.save();
    p.setClipPath(riverArea);
    StrokePath(p, mainRoads, Colour::Bridge, 22);
    p.restore();
    StrokePath(p, mainRoads, Colour::MainCasing, 17);
    StrokePath(p, mainRoads, Colour::Main, 13);

    // Names: the main roads, water, park and districts first, then the streets wherever a
    // label has room, clear of them and of the main roads.
    std::vector<QRectF> taken = {QRectF(0, 0, 420, 170), QRectF(kWidth - 180, 0, 180, 180),
                                 QRectF(0, kHeight - 130, 420, 130)};
    const QFont mainFont = MapFont(12, QFont::Bold);
    const std::vector<QPointF> avenueLine{avenue.p1(), avenue.p2()};
    const std::vector<QPointF> ringLine{ring.p1(), ring.p2()};
    const auto roadLabel = [&](const std::vector<QPointF> &line, double fraction,
                               const QString &name) {
        const auto [at, degrees] = AlongPolyline(line, fraction);
        taken.push_back(DrawLabel(p, name, at, degrees, mainFont, Colour::Label, Qt::transparent));
    };
    roadLabel(road, 0.18, QStringLiteral("Linden Avenue"));
    roadLabel(road, 0.4, QStringLiteral("Linden Avenue"));
    roadLabel(road, 0.8, QStringLiteral("High Street"));
    roadLabel(avenueLine, 0.2, QStringLiteral("Station Road"));
    roadLabel(avenueLine, 0.82, QStringLiteral("Station Road"));
    roadLabel(ringLine, 0.12, QStringLiteral("South Parade"));
    roadLabel(ringLine, 0.9, QStringLiteral("South Parade"));

    std::vector<QPointF> riverLine;
    for (double t = 0; t <= 1.0; t += 0.01)
        riverLine.push_back(river.pointAtPercent(t));
    const auto [riverAt, riverDegrees] = AlongPolyline(riverLine, 0.2, 90);
    taken.push_back(DrawLabel(p, QStringLiteral("River Velm"), riverAt, riverDegrees,
                              MapFont(17, QFont::Normal, true), Colour::WaterLabel, Qt::transparent,
                              1.5));
    DrawLabel(p, QStringLiteral("Velm Meadows"), parkArea.center() + QPointF(-40, -40), 0,
              MapFont(17, QFont::DemiBold, true), Colour::ParkLabel, Colour::Park, 1);

    const QFont districtFont = MapFont(26, QFont::Bold);
    const struct {
        const char *name;
        QPointF at;
    } districts[] = {
        {"OLD TOWN", {820, 330}},
        {"NEWFIELD", {520, 1150}},
        {"EASTBANK", {1720, 430}},
        {"MILLWARD", {1050, 1000}},
    };
    for (const auto &d : districts)
        taken.push_back(DrawLabel(p, QString::fromLatin1(d.name), d.at, 0, districtFont,
                                  Colour::District, Colour::Courtyard, 6));

    const QStringList rowNames = {
        "Mill Lane",     "Chapel Street", "Orchard Row",   "Bell Street",  "Tanner's Walk",
        "Quarry Road",   "Rose Lane",     "Market Street", "Garden Row",   "School Lane",
        "Elm Street",    "Weaver Street", "Vine Street",   "Cooper's Row", "Meadow Lane",
        "Castle Street", "Ash Grove",     "Well Street",   "Barley Row",   "Hill Street",
        "Wharf Lane",    "Brook Street",  "Kiln Row",      "Cross Street", "Salt Lane"};
    const QStringList columnNames = {
        "Abbey Road",   "Baker Street", "Church Lane",  "Dyer Street",  "Fenn Road",
        "Glebe Street", "Hazel Way",    "Inn Lane",     "Juniper Road", "Kings Walk",
        "Lark Street",  "Moor Lane",    "Nook Street",  "Oak Road",     "Pound Lane",
        "Queen Street", "Rectory Road", "Smith Street", "Tower Lane",   "Union Street",
        "Water Lane",   "York Street",  "Beech Road",   "Cedar Lane",   "Holly Street"};
    const QFont streetFont = MapFont(12);
    const std::array<const std::vector<QPointF> *, 3> mainLines{&road, &avenueLine, &ringLine};
    const QFontMetricsF metrics(streetFont);
    // Draws `name` on the street between `a` and `b` when it has room there.
    const auto streetLabel = [&](const QString &name, QPointF a, QPointF b) {
        const QPointF at = (a + b) / 2;
        const double degrees = Upright(std::atan2(b.y() - a.y(), b.x() - a.x()) * 180 / kPi);
        const bool upright = std::abs(degrees) > 45;
        const double w = metrics.horizontalAdvance(name) + 10;
        const double h = metrics.height() + 4;
        const QRectF box(at - (upright ? QPointF(h, w) : QPointF(w, h)) / 2,
                         upright ? QSizeF(h, w) : QSizeF(w, h));
        constexpr double kRoom = 14; // clear of a main road's casing
        if (w > QLineF(a, b).length() - 12
            || !QRectF(10, 10, kWidth - 20, kHeight - 20).contains(box) || riverArea.intersects(box)
            || parkArea.intersects(box)
            || std::any_of(taken.begin(), taken.end(), [&](const QRectF &t) {
                   return t.adjusted(-8, -8, 8, 8).intersects(box);
               }))
            return false;
        for (const std::vector<QPointF> *line : mainLines)
            for (const QPointF &corner :
                 {box.topLeft(), box.topRight(), box.bottomLeft(), box.bottomRight(), box.center()})
                if (DistanceToPolyline(corner, *line) < kRoom)
                    return false;
        taken.push_back(DrawLabel(p, name, at, degrees, streetFont, Colour::Label, Colour::Street));
        return true;
    };
    // Each name tries the blocks from a different start, so the names spread over the town.
    for (std::size_t j = 1; j + 1 < rows.size() && j <= std::size_t(rowNames.size()); ++j) {
        if (j == avenueRow)
            continue;
        for (std::size_t k = 0; k + 1 < columns.size(); ++k) {
            const std::size_t i = (j * 7 + k) % (columns.size() - 1);
            if (streetLabel(rowNames[int(j - 1)], Crossing(columns[i], rows[j]),
                            Crossing(columns[i + 1], rows[j])))
                break;
        }
    }
    for (std::size_t i = 1; i + 1 < columns.size() && i <= std::size_t(columnNames.size());
         i += 2) {
        if (i == avenueColumn)
            continue;
        for (std::size_t k = 0; k + 1 < rows.size(); ++k) {
            const std::size_t j = (i * 5 + k) % (rows.size() - 1);
            if (streetLabel(columnNames[int(i - 1)], Crossing(columns[i], rows[j]),
                            Crossing(columns[i], rows[j + 1])))
                break;
        }
    }

    DrawTitle(p);
    DrawNorthArrow(p, {kWidth - 90.0, 100.0});
    DrawScaleBar(p, {60.0, kHeight - 60.0}, metresPerPixel);
    p.end();

    const QString pngPath = QString::fromLocal8Bit(argv[2]);
    if (!SaveAtomically(pngPath, [&](QIODevice &d) { return image.save(&d, "PNG", 0); })) {
        std::fprintf(stderr, "veloran-city-map: cannot write %s\n", argv[2]);
        return 1;
    }
    // World file: pixel size, two rotation terms, then the centre of the top-left pixel.
    const double xPixel = (frame.east - frame.west) / kWidth;
    const double yPixel = -(frame.north - frame.south) / kHeight;
    const QString world = QStringLiteral("%1\n0.0\n0.0\n%2\n%3\n%4\n")
                              .arg(xPixel, 0, 'f', 10)
                              .arg(yPixel, 0, 'f', 10)
                              .arg(frame.west + xPixel / 2, 0, 'f', 10)
                              .arg(frame.north + yPixel / 2, 0, 'f', 10);
    const QFileInfo png(pngPath);
    const QString worldPath =
        png.path() + QLatin1Char('/') + png.completeBaseName() + QStringLiteral(".pgw");
    if (!SaveAtomically(worldPath,
                        [&](QIODevice &d) { return d.write(world.toLatin1()) == world.size(); })) {
        std::fprintf(stderr, "veloran-city-map: cannot write %s\n", qPrintable(worldPath));
        return 1;
    }
    std::printf("pair 0 0 %.4f %.4f\n", frame.north, frame.west);
    std::printf("pair %d %d %.4f %.4f\n", kWidth, kHeight, frame.south, frame.east);
    std::printf("metres-per-pixel %.3f\n", metresPerPixel);
    return 0;
}
