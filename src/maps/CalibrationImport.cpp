#include "maps/CalibrationImport.h"

#include "base/Numbers.h"
#include "geo/CoordinateRange.h"
#include "geo/Distance.h"
#include "geo/GeoConstants.h"
#include "geo/UTM.h"
#include "maps/MapInfo.h"
#include "storage/AtomicFile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <pugixml.hpp>
#include <utility>

namespace
{

// A pixel position on the sheet and the position it shows.
struct CSample {
    double x = 0.0;
    double y = 0.0;
    double latitude = 0.0;
    double longitude = 0.0;
};

// Sheets described by corners and a rotation are sampled on a 5 × 5 grid: corners, edge
// midpoints and the centre, enough to find the worst misfit of an affine or bilinear mapping.
constexpr int kGridSteps = 4;

// Ozi numbers its reference points Point01 to Point30; more lines are not from Ozi.
constexpr std::size_t kMaxOziPoints = 30;
// A point line has 17 fields; beyond those nothing is read.
constexpr std::size_t kMaxOziFields = 20;

// A world file's corners must lie within these to count as degrees; longitudes up to 360 let a
// sheet cross the antimeridian, projected metres are far beyond either bound.
constexpr double kMaxLatitude = 90.0;
constexpr double kMaxLongitude = 360.0;

// Degrees a fitted corner may overshoot a pole or the antimeridian by rounding alone.
constexpr double kEdgeSnap = 1e-9;

// Pixel coordinates of Ozi points: anything a 32-bit pixel can hold.
constexpr double kMaxPixel = 2147483647.0;

// Entities and DOCTYPE stay unread, as for the waypoint files.
constexpr unsigned kParseOptions = pugi::parse_default & ~pugi::parse_doctype;

constexpr std::array<std::pair<const char *, CalibrationFormat>, 11> kExtensions = {{
    {"map", CalibrationFormat::OziMap},
    {"jgw", CalibrationFormat::WorldFile},
    {"pgw", CalibrationFormat::WorldFile},
    {"tfw", CalibrationFormat::WorldFile},
    {"gfw", CalibrationFormat::WorldFile},
    {"jpgw", CalibrationFormat::WorldFile},
    {"pngw", CalibrationFormat::WorldFile},
    {"tifw", CalibrationFormat::WorldFile},
    {"gifw", CalibrationFormat::WorldFile},
    {"wld", CalibrationFormat::WorldFile},
    {"kml", CalibrationFormat::Kml},
}};

CCalibrationImport Failure(std::string error)
{
    CCalibrationImport result;
    result.error = std::move(error);
    return result;
}

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

std::string_view Trim(std::string_view text)
{
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

std::string Lower(std::string_view text)
{
    std::string out(text);
    for (char &c : out)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return out;
}

// At most `maxParts`, the last one holding the rest: a line of a million commas costs nothing.
std::vector<std::string_view> Split(std::string_view text, char separator, std::size_t maxParts)
{
    std::vector<std::string_view> parts;
    for (;;) {
        const std::size_t at =
            parts.size() + 1 < maxParts ? text.find(separator) : std::string_view::npos;
        parts.push_back(text.substr(0, at));
        if (at == std::string_view::npos)
            return parts;
        text.remove_prefix(at + 1);
    }
}

// The first `maxWords` blank-separated words.
std::vector<std::string_view> Words(std::string_view text, std::size_t maxWords)
{
    std::vector<std::string_view> words;
    std::size_t i = 0;
    while (i < text.size() && words.size() < maxWords) {
        while (i < text.size() && IsBlank(text[i]))
            ++i;
        const std::size_t start = i;
        while (i < text.size() && !IsBlank(text[i]))
            ++i;
        if (i > start)
            words.push_back(text.substr(start, i - start));
    }
    return words;
}

// A plain decimal number and nothing else: ScanDouble alone would read "12abc" as 12 and accept
// "nan", "inf" and hexadecimal.
bool ReadNumber(std::string_view text, double &value)
{
    text = Trim(text);
    std::size_t i = 0;
    const auto digits = [&] {
        const std::size_t start = i;
        while (i < text.size() && text[i] >= '0' && text[i] <= '9')
            ++i;
        return i - start;
    };
    if (i < text.size() && (text[i] == '+' || text[i] == '-'))
        ++i;
    std::size_t mantissa = digits();
    if (i < text.size() && text[i] == '.') {
        ++i;
        mantissa += digits();
    }
    if (mantissa == 0)
        return false;
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        ++i;
        if (i < text.size() && (text[i] == '+' || text[i] == '-'))
            ++i;
        if (digits() == 0)
            return false;
    }
    double read = 0.0;
    if (i != text.size() || ScanDouble(text, read) != 1 || !std::isfinite(read))
        return false;
    value = read;
    return true;
}

// NaN counts as the worst: a misfit that cannot be measured must still ask the user.
void KeepWorst(double &worst, double value)
{
    worst = std::isnan(value) ? std::numeric_limits<double>::infinity() : std::max(worst, value);
}

// Least squares of longitude on x and latitude on y, each on its own, around the means: with
// degrees near 48 and slopes near 1e-5 raw sums of squares would lose most digits.
CCalibrationImport Fit(const std::vector<CSample> &samples, int width, int height,
                       const char *noScaleError)
{
    if (samples.size() < 2)
        return Failure(samples.empty() ? "no reference points" : "only one reference point");
    const double n = static_cast<double>(samples.size());
    double meanX = 0.0, meanY = 0.0, meanLatitude = 0.0, meanLongitude = 0.0;
    for (const CSample &s : samples) {
        meanX += s.x / n;
        meanY += s.y / n;
        meanLatitude += s.latitude / n;
        meanLongitude += s.longitude / n;
    }
    double xx = 0.0, xLongitude = 0.0, yy = 0.0, yLatitude = 0.0;
    for (const CSample &s : samples) {
        xx += (s.x - meanX) * (s.x - meanX);
        xLongitude += (s.x - meanX) * (s.longitude - meanLongitude);
        yy += (s.y - meanY) * (s.y - meanY);
        yLatitude += (s.y - meanY) * (s.latitude - meanLatitude);
    }
    if (!(xx > 0.0) || !(yy > 0.0))
        return Failure("reference points all in one row or column");
    const double xSlope = xLongitude / xx;
    const double ySlope = yLatitude / yy;
    const double x0 = meanLongitude - xSlope * meanX;
    const double y0 = meanLatitude - ySlope * meanY;
    // The sums' rounding must not push the edges of a sheet of the whole earth past the poles
    // or the antimeridian.
    const auto snap = [](double degrees, double limit) {
        return std::fabs(degrees) > limit && std::fabs(degrees) - limit < kEdgeSnap
                   ? std::copysign(limit, degrees)
                   : degrees;
    };
    const CGeoPosition topLeft(snap(y0, 90.0), snap(x0, 180.0), 0.0);
    const CGeoPosition bottomRight(snap(y0 + ySlope * height, 90.0),
                                   snap(x0 + xSlope * width, 180.0), 0.0);
    const bool finite = std::isfinite(topLeft.m_latitude) && std::isfinite(topLeft.m_longitude)
                        && std::isfinite(bottomRight.m_latitude)
                        && std::isfinite(bottomRight.m_longitude);
    // Equal corners would make the map's scale infinite.
    if (!finite || topLeft.m_latitude == bottomRight.m_latitude
        || topLeft.m_longitude == bottomRight.m_longitude)
        return Failure(noScaleError);
    // The west edge on the earth, the east one at most once round it (past 180 across the
    // antimeridian).
    const double west = std::min(topLeft.m_longitude, bottomRight.m_longitude);
    const double east = std::max(topLeft.m_longitude, bottomRight.m_longitude);
    if (!IsValidLatitude(topLeft.m_latitude) || !IsValidLatitude(bottomRight.m_latitude)
        || !IsValidLongitude(west) || east - west > 360.0)
        return Failure("the map's corners lie off the earth");

    CCalibrationImport result;
    result.ok = true;
    result.sourcePoints = static_cast<int>(samples.size());
    result.pairs.resize(2);
    result.pairs[0].m_name = "Imported NW";
    result.pairs[0].m_position = topLeft;
    result.pairs[1].m_name = "Imported SE";
    result.pairs[1].m_point = {width, height};
    result.pairs[1].m_position = bottomRight;
    // Corners a hair apart (1e-300 degrees) are distinct yet give a map an infinite scale.
    if (!CalibrationProblem(result.pairs).empty())
        return Failure(noScaleError);
    for (const CSample &s : samples) {
        const double fittedX = (s.longitude - x0) / xSlope;
        const double fittedY = (s.latitude - y0) / ySlope;
        KeepWorst(result.maxErrorPixels, std::hypot(fittedX - s.x, fittedY - s.y));
        const CGeoPosition truth(s.latitude, s.longitude, 0.0);
        const CGeoPosition fitted(y0 + ySlope * s.y, x0 + xSlope * s.x, 0.0);
        KeepWorst(result.maxErrorMetres, Distance(truth, fitted));
    }
    return result;
}

template <typename PositionAt>
std::vector<CSample> SampleGrid(int width, int height, PositionAt positionAt)
{
    std::vector<CSample> samples;
    for (int j = 0; j <= kGridSteps; ++j)
        for (int i = 0; i <= kGridSteps; ++i)
            samples.push_back(positionAt(static_cast<double>(width) * i / kGridSteps,
                                         static_cast<double>(height) * j / kGridSteps));
    return samples;
}

// "48", "10.5000", "N": degrees and minutes with the hemisphere letter; a minus sign on the
// degrees also counts. Empty degrees mark an unused point.
bool ReadOziAngle(std::string_view degreesText, std::string_view minutesText,
                  std::string_view hemisphereText, const char *letters, double limit, double &angle)
{
    double degrees = 0.0, minutes = 0.0;
    if (!ReadNumber(degreesText, degrees))
        return false;
    if (!Trim(minutesText).empty() && !ReadNumber(minutesText, minutes))
        return false;
    const std::string_view hemisphere = Trim(hemisphereText);
    if (hemisphere.size() != 1 || (hemisphere[0] != letters[0] && hemisphere[0] != letters[1]))
        return false;
    if (minutes < 0.0 || minutes >= 60.0)
        return false;
    const double magnitude = std::fabs(degrees) + minutes / 60.0;
    if (magnitude > limit)
        return false;
    const bool negative = (hemisphere[0] == letters[1]) != (Trim(degreesText)[0] == '-');
    angle = negative ? -magnitude : magnitude;
    return true;
}

// Zone, easting, northing, hemisphere of a UTM map's point, through our inverse.
bool ReadOziGrid(std::string_view zoneText, std::string_view eastingText,
                 std::string_view northingText, std::string_view hemisphereText, CSample &sample)
{
    double zone = 0.0, easting = 0.0, northing = 0.0;
    const std::string_view hemisphere = Trim(hemisphereText);
    if (!ReadNumber(zoneText, zone) || !ReadNumber(eastingText, easting)
        || !ReadNumber(northingText, northing) || hemisphere.size() != 1
        || (hemisphere[0] != 'N' && hemisphere[0] != 'S'))
        return false;
    if (zone < 1.0 || zone > 60.0 || zone != std::floor(zone) || easting <= 0.0 || easting >= 1e6
        || northing < 0.0 || northing > 1e7)
        return false;
    // The inverse takes a band letter and counts every band below 'N' as southern, so Ozi's
    // hemisphere letter "S" itself would read as northern.
    const std::string zoneName =
        FormatC("%d%c", static_cast<int>(zone), hemisphere[0] == 'S' ? 'C' : 'N');
    CGeoPosition position;
    UTMToLatLon(position, northing, easting, zoneName);
    sample.latitude = position.m_latitude;
    sample.longitude = position.m_longitude;
    return std::isfinite(sample.latitude) && std::isfinite(sample.longitude);
}

// "Point01,xy,  x,  y,in, deg, 48, 10.0000,N, 11, 30.0000,E, grid, zone, easting, northing,N"
bool ReadOziPoint(const std::vector<std::string_view> &fields, bool utm, CSample &sample)
{
    if (fields.size() < 12 || !ReadNumber(fields[2], sample.x) || !ReadNumber(fields[3], sample.y)
        || std::fabs(sample.x) > kMaxPixel || std::fabs(sample.y) > kMaxPixel)
        return false;
    if (ReadOziAngle(fields[6], fields[7], fields[8], "NS", 90.0, sample.latitude)
        && ReadOziAngle(fields[9], fields[10], fields[11], "EW", 180.0, sample.longitude))
        return true;
    // Grid fields hold UTM only on UTM maps; other grids are projections we do not have.
    return utm && fields.size() >= 17
           && ReadOziGrid(fields[13], fields[14], fields[15], fields[16], sample);
}

bool IsWgs84(std::string_view datum)
{
    std::string squeezed;
    for (const char c : Lower(Trim(datum)))
        if (c != ' ')
            squeezed += c;
    return squeezed == "wgs84";
}

CCalibrationImport ImportOzi(std::string_view bytes, int width, int height)
{
    if (bytes.substr(0, 3) == "\xEF\xBB\xBF")
        bytes.remove_prefix(3);
    // Lines with their number and first field; only the few lines read are split further.
    const auto forEachLine = [bytes](auto &&visit) {
        std::string_view rest = bytes;
        for (std::size_t number = 1; !rest.empty(); ++number) {
            const std::size_t end = rest.find('\n');
            const std::string_view line = Trim(rest.substr(0, end));
            visit(number, Trim(line.substr(0, line.find(','))), line);
            rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        }
    };
    bool header = false, wgs84 = false, utm = false;
    forEachLine([&](std::size_t number, std::string_view key, std::string_view line) {
        if (number == 1)
            header = line.substr(0, 25) == "OziExplorer Map Data File";
        else if (number == 5)
            wgs84 = IsWgs84(key);
        else if (key == "Map Projection") {
            const std::vector<std::string_view> fields = Split(line, ',', 3);
            utm = fields.size() > 1 && fields[1].find("UTM") != std::string_view::npos;
        }
    });
    if (!header)
        return Failure("not an OziExplorer map file");
    // Positions in another datum lie up to hundreds of metres off, and we have no datum shifts.
    if (!wgs84)
        return Failure("datum is not WGS 84");

    std::vector<CSample> samples;
    std::size_t pointLines = 0;
    std::string error;
    forEachLine([&](std::size_t, std::string_view key, std::string_view line) {
        if (key.substr(0, 5) == "Point") {
            const std::vector<std::string_view> fields = Split(line, ',', kMaxOziFields);
            if (pointLines == kMaxOziPoints || fields.size() < 2 || Trim(fields[1]) != "xy")
                return;
            ++pointLines;
            CSample sample;
            if (ReadOziPoint(fields, utm, sample))
                samples.push_back(sample);
            return;
        }
        if (key != "IWH")
            return;
        const std::vector<std::string_view> fields = Split(line, ',', 5);
        // Points of a resized image would all be off by the scale.
        double w = 0.0, h = 0.0;
        if (fields.size() < 4 || !ReadNumber(fields[2], w) || !ReadNumber(fields[3], h)
            || (w == width && h == height))
            return;
        error = std::fabs(w) > kMaxPixel || std::fabs(h) > kMaxPixel
                    ? "made for an image of another size"
                    : FormatC("made for an image of %.0f x %.0f pixels", w, h);
    });
    if (!error.empty())
        return Failure(error);
    return Fit(samples, width, height, "reference points give no scale");
}

CCalibrationImport ImportWorldFile(std::string_view bytes, int width, int height)
{
    std::array<double, 6> v{};
    const std::vector<std::string_view> words = Words(bytes, v.size() + 1);
    if (words.size() != v.size())
        return Failure("not a world file (six numbers)");
    for (std::size_t i = 0; i < v.size(); ++i)
        if (!ReadNumber(words[i], v[i]))
            return Failure("not a world file (six numbers)");
    const double a = v[0], d = v[1], b = v[2], e = v[3], c = v[4], f = v[5];
    // (c, f) is the centre of the top-left pixel, while a map point is a pixel's top-left
    // corner: point (x, y) lies half a pixel up and left of the centre the file's (x, y) names.
    const auto positionAt = [&](double x, double y) {
        return CSample{x, y, d * (x - 0.5) + e * (y - 0.5) + f, a * (x - 0.5) + b * (y - 0.5) + c};
    };
    for (const CSample &corner :
         {positionAt(0, 0), positionAt(width, 0), positionAt(0, height), positionAt(width, height)})
        if (!(std::fabs(corner.latitude) <= kMaxLatitude)
            || !(std::fabs(corner.longitude) <= kMaxLongitude))
            return Failure("not in degrees");
    return Fit(SampleGrid(width, height, positionAt), width, height,
               b != 0.0 || d != 0.0 ? "rotated too far" : "pixel size is zero");
}

std::string_view LocalName(pugi::xml_node node)
{
    const std::string_view name = node.name();
    const std::size_t colon = name.rfind(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

pugi::xml_node Child(pugi::xml_node parent, std::string_view localName)
{
    for (const pugi::xml_node child : parent.children())
        if (child.type() == pugi::node_element && LocalName(child) == localName)
            return child;
    return {};
}

// Document order, iterative: the parser accepts any depth of nesting.
pugi::xml_node FindElement(pugi::xml_node root, std::string_view localName)
{
    pugi::xml_node node = root.first_child();
    while (node) {
        if (node.type() == pugi::node_element && LocalName(node) == localName)
            return node;
        if (node.first_child()) {
            node = node.first_child();
            continue;
        }
        while (node != root && !node.next_sibling())
            node = node.parent();
        node = node == root ? pugi::xml_node() : node.next_sibling();
    }
    return {};
}

bool ReadChildNumber(pugi::xml_node parent, std::string_view localName, double &value)
{
    const pugi::xml_node child = Child(parent, localName);
    return child && ReadNumber(child.text().get(), value);
}

CCalibrationImport ImportLatLonBox(pugi::xml_node box, int width, int height)
{
    double north = 0.0, south = 0.0, east = 0.0, west = 0.0, rotation = 0.0;
    if (!ReadChildNumber(box, "north", north) || !ReadChildNumber(box, "south", south)
        || !ReadChildNumber(box, "east", east) || !ReadChildNumber(box, "west", west))
        return Failure("LatLonBox without north, south, east and west");
    if (Child(box, "rotation") && !ReadChildNumber(box, "rotation", rotation))
        return Failure("LatLonBox rotation is no number");
    if (std::fabs(north) > kMaxLatitude || std::fabs(south) > kMaxLatitude
        || std::fabs(east) > 180.0 || std::fabs(west) > 180.0)
        return Failure("not in degrees");
    if (!(north > south) || east == west)
        return Failure("LatLonBox is empty");
    // A box across the antimeridian has its east edge west of its west edge.
    if (east < west)
        east += 360.0;
    const double centreLatitude = 0.5 * (north + south);
    const double centreLongitude = 0.5 * (east + west);
    // The sheet turns on the ground, so it keeps its shape: rotate in a local frame with
    // longitudes shrunk by the cosine of the latitude, not in raw degrees.
    const double shrink = std::cos(centreLatitude * kDegToRad);
    const double halfEast = 0.5 * (east - west) * shrink;
    const double halfNorth = 0.5 * (north - south);
    const double cosine = std::cos(rotation * kDegToRad);
    const double sine = std::sin(rotation * kDegToRad);
    const auto positionAt = [&](double x, double y) {
        if (rotation == 0.0)
            return CSample{x, y, north + (south - north) * y / height,
                           west + (east - west) * x / width};
        const double u = (2.0 * x / width - 1.0) * halfEast;
        const double v = (1.0 - 2.0 * y / height) * halfNorth;
        return CSample{x, y, centreLatitude + u * sine + v * cosine,
                       centreLongitude + (u * cosine - v * sine) / shrink};
    };
    return Fit(SampleGrid(width, height, positionAt), width, height, "rotated too far");
}

// gx:LatLonQuad: "lon,lat[,alt]" corners counter-clockwise from the lower left.
CCalibrationImport ImportLatLonQuad(pugi::xml_node quad, int width, int height)
{
    const std::vector<std::string_view> tuples = Words(Child(quad, "coordinates").text().get(), 5);
    if (tuples.size() != 4)
        return Failure("LatLonQuad needs four corners");
    std::array<CSample, 4> corners{};
    for (std::size_t i = 0; i < tuples.size(); ++i) {
        const std::vector<std::string_view> numbers = Split(tuples[i], ',', 4);
        double altitude = 0.0;
        if (numbers.size() < 2 || numbers.size() > 3
            || !ReadNumber(numbers[0], corners[i].longitude)
            || !ReadNumber(numbers[1], corners[i].latitude)
            || (numbers.size() == 3 && !ReadNumber(numbers[2], altitude)))
            return Failure("LatLonQuad needs four corners");
        if (std::fabs(corners[i].latitude) > kMaxLatitude
            || std::fabs(corners[i].longitude) > 180.0)
            return Failure("not in degrees");
    }
    const CSample &lowerLeft = corners[0], &lowerRight = corners[1], &upperRight = corners[2],
                  &upperLeft = corners[3];
    // Between the corners the sheet is stretched bilinearly.
    const auto positionAt = [&](double x, double y) {
        const double u = x / width, v = y / height;
        const auto blend = [&](double CSample::*field) {
            const double top = upperLeft.*field + (upperRight.*field - upperLeft.*field) * u;
            const double bottom = lowerLeft.*field + (lowerRight.*field - lowerLeft.*field) * u;
            return top + (bottom - top) * v;
        };
        return CSample{x, y, blend(&CSample::latitude), blend(&CSample::longitude)};
    };
    return Fit(SampleGrid(width, height, positionAt), width, height, "LatLonQuad gives no scale");
}

CCalibrationImport ImportKml(std::string_view bytes, int width, int height)
{
    pugi::xml_document document;
    const pugi::xml_parse_result parsed =
        document.load_buffer(bytes.data(), bytes.size(), kParseOptions, pugi::encoding_auto);
    if (!parsed)
        return Failure(FormatC("not a KML file: %s", parsed.description()));
    const pugi::xml_node overlay = FindElement(document, "GroundOverlay");
    if (!overlay)
        return Failure("no GroundOverlay");
    // The quad, when given, is what the overlay is drawn into.
    if (const pugi::xml_node quad = Child(overlay, "LatLonQuad"))
        return ImportLatLonQuad(quad, width, height);
    if (const pugi::xml_node box = Child(overlay, "LatLonBox"))
        return ImportLatLonBox(box, width, height);
    return Failure("GroundOverlay without LatLonBox");
}

// GeoKey values this import knows.
constexpr int kModelProjected = 1;
constexpr int kModelGeographic = 2;
constexpr int kPixelIsPoint = 2;
constexpr int kWgs84 = 4326;
constexpr int kWgs84Datum = 6326;
constexpr int kUserDefined = 32767;
constexpr int kDegree = 9102;
constexpr int kMetre = 9001;
constexpr int kUtmNorth = 32600;
constexpr int kUtmSouth = 32700;
// More tiepoints than this are a grid for warping, not reference points.
constexpr std::size_t kMaxTiepoints = 1000;

// The position a GeoTIFF's model coordinates name, or false for what is not in degrees or no
// UTM grid position.
using ModelToPosition = bool (*)(int zone, double x, double y, CSample &sample);

bool DegreesToPosition(int, double x, double y, CSample &sample)
{
    sample.longitude = x;
    sample.latitude = y;
    return std::fabs(y) <= kMaxLatitude && std::fabs(x) <= kMaxLongitude;
}

// Zones are signed: negative for the southern hemisphere.
bool UtmToPosition(int zone, double x, double y, CSample &sample)
{
    // Far outside its zone the series of the inverse diverge.
    if (!(x > -1e6 && x < 2e6 && y > -1e7 && y < 2e7))
        return false;
    // Any band letter below 'N' means the southern hemisphere to the inverse.
    const std::string zoneName = FormatC("%d%c", std::abs(zone), zone < 0 ? 'C' : 'N');
    CGeoPosition position;
    UTMToLatLon(position, y, x, zoneName);
    sample.latitude = position.m_latitude;
    sample.longitude = position.m_longitude;
    return std::isfinite(sample.latitude) && std::isfinite(sample.longitude)
           && std::fabs(sample.latitude) <= kMaxLatitude;
}

// How the model coordinates read, or an error for a coordinate system we cannot place.
std::string GeoTiffModel(const CGeoTiffKeys &keys, ModelToPosition &convert, int &zone)
{
    if (keys.modelType == kModelGeographic) {
        const bool wgs84 =
            keys.geographicType == kWgs84
            || (keys.geographicType == kUserDefined && keys.geodeticDatum == kWgs84Datum);
        if (!wgs84)
            return keys.geographicType == 0 ? "no geographic coordinate system"
                   : keys.geographicType == kUserDefined
                       ? "datum is not WGS 84"
                       : FormatC("coordinate system EPSG:%d is not WGS 84", keys.geographicType);
        if (keys.angularUnits != 0 && keys.angularUnits != kDegree)
            return "angles are not in degrees";
        convert = DegreesToPosition;
        return {};
    }
    if (keys.modelType == kModelProjected) {
        const int code = keys.projectedType;
        if (code > kUtmNorth && code <= kUtmNorth + 60)
            zone = code - kUtmNorth;
        else if (code > kUtmSouth && code <= kUtmSouth + 60)
            zone = kUtmSouth - code;
        else
            return code == 0 || code == kUserDefined
                       ? "projection is not UTM on WGS 84"
                       : FormatC("projection EPSG:%d is not UTM on WGS 84", code);
        if (keys.linearUnits != 0 && keys.linearUnits != kMetre)
            return "distances are not in metres";
        convert = UtmToPosition;
        return {};
    }
    return keys.modelType == 0 ? "no georeferencing"
                               : FormatC("model type %d is neither latitude/longitude nor a "
                                         "projection",
                                         keys.modelType);
}

bool AllFinite(const std::vector<double> &values, std::size_t count)
{
    return std::all_of(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(count),
                       [](double v) { return std::isfinite(v); });
}

} // namespace

std::optional<CalibrationFormat> CalibrationFormatOfPath(const std::string &path)
{
    const std::size_t slash = path.rfind('/');
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return std::nullopt;
    const std::string extension = Lower(std::string_view(path).substr(dot + 1));
    for (const auto &[name, format] : kExtensions)
        if (extension == name)
            return format;
    return std::nullopt;
}

CCalibrationImport ImportCalibration(std::string_view bytes, CalibrationFormat format, int width,
                                     int height)
{
    if (width <= 0 || height <= 0)
        return Failure("no image size");
    if (bytes.size() > kMaxCalibrationBytes)
        return Failure("file too large");
    switch (format) {
    case CalibrationFormat::OziMap:
        return ImportOzi(bytes, width, height);
    case CalibrationFormat::WorldFile:
        return ImportWorldFile(bytes, width, height);
    case CalibrationFormat::Kml:
        return ImportKml(bytes, width, height);
    }
    return Failure("unknown calibration format");
}

CCalibrationImport ImportCalibrationFile(const std::string &path, int width, int height)
{
    const std::optional<CalibrationFormat> format = CalibrationFormatOfPath(path);
    if (!format)
        return Failure("unknown calibration file type");
    std::string bytes;
    if (const int error = ReadWholeFile(path, bytes, kMaxCalibrationBytes); error != 0)
        return Failure(std::strerror(error));
    return ImportCalibration(bytes, *format, width, height);
}

std::vector<std::string> FindCalibrationFiles(const std::string &imagePath)
{
    namespace fs = std::filesystem;
    const fs::path image(imagePath);
    const fs::path folder = image.parent_path();
    const std::string stem = image.stem().string();
    if (stem.empty())
        return {};
    std::vector<std::pair<std::size_t, std::string>> found;
    std::error_code error;
    for (fs::directory_iterator it(folder.empty() ? fs::path(".") : folder, error), end;
         !error && it != end; it.increment(error)) {
        const std::string name = it->path().filename().string();
        if (name.size() <= stem.size() + 1 || name.compare(0, stem.size(), stem) != 0
            || name[stem.size()] != '.')
            continue;
        const std::string extension = Lower(std::string_view(name).substr(stem.size() + 1));
        const auto known = std::find_if(kExtensions.begin(), kExtensions.end(),
                                        [&](const auto &e) { return extension == e.first; });
        std::error_code typeError;
        if (known != kExtensions.end() && it->is_regular_file(typeError))
            found.emplace_back(known - kExtensions.begin(), name);
    }
    std::sort(found.begin(), found.end());
    std::vector<std::string> paths;
    for (const auto &[order, name] : found)
        paths.push_back(folder.empty() ? name : (folder / name).string());
    return paths;
}

CCalibrationImport ImportGeoTiff(const CGeoTiffKeys &keys)
{
    const int width = keys.width, height = keys.height;
    if (width <= 0 || height <= 0)
        return Failure("no image size");
    ModelToPosition convert = nullptr;
    int zone = 0;
    if (const std::string error = GeoTiffModel(keys, convert, zone); !error.empty())
        return Failure(error);
    // A tiepoint names a pixel's top-left corner, unless the raster is of points: then it names
    // the pixel's centre, half a pixel down and right of the corner a map point is.
    const double shift = keys.rasterType == kPixelIsPoint ? 0.5 : 0.0;
    const std::vector<double> &m = keys.transformation;
    const std::vector<double> &t = keys.tiepoints;
    const std::vector<double> &s = keys.pixelScale;
    std::array<double, 6> affine{}; // x = a0 i + a1 j + a2, y = a3 i + a4 j + a5
    if (m.size() >= 16 && AllFinite(m, 16)) {
        if (m[12] != 0.0 || m[13] != 0.0 || m[15] != 1.0)
            return Failure("transformation is not affine");
        affine = {m[0], m[1], m[3], m[4], m[5], m[7]};
    } else if (t.size() >= 6 && s.size() >= 2 && AllFinite(t, 6) && AllFinite(s, 2)) {
        affine = {s[0], 0.0, t[3] - t[0] * s[0], 0.0, -s[1], t[4] + t[1] * s[1]};
    } else if (t.size() >= 6) {
        // Tiepoints alone are reference points.
        if (t.size() / 6 > kMaxTiepoints)
            return Failure("too many tiepoints");
        std::vector<CSample> samples;
        for (std::size_t i = 0; i + 6 <= t.size(); i += 6) {
            CSample sample{t[i] + shift, t[i + 1] + shift, 0.0, 0.0};
            if (!std::isfinite(t[i]) || !std::isfinite(t[i + 1]) || std::fabs(t[i]) > kMaxPixel
                || std::fabs(t[i + 1]) > kMaxPixel || !convert(zone, t[i + 3], t[i + 4], sample))
                return Failure("a tiepoint lies off the earth");
            samples.push_back(sample);
        }
        return Fit(samples, width, height, "tiepoints give no scale");
    } else {
        return Failure("no georeferencing");
    }
    bool onEarth = true;
    const auto positionAt = [&](double x, double y) {
        const double i = x - shift, j = y - shift;
        CSample sample{x, y, 0.0, 0.0};
        onEarth = convert(zone, affine[0] * i + affine[1] * j + affine[2],
                          affine[3] * i + affine[4] * j + affine[5], sample)
                  && onEarth;
        return sample;
    };
    const std::vector<CSample> samples = SampleGrid(width, height, positionAt);
    if (!onEarth)
        return Failure("the map's corners lie off the earth");
    return Fit(samples, width, height,
               affine[1] != 0.0 || affine[3] != 0.0 ? "rotated too far" : "pixel size is zero");
}
