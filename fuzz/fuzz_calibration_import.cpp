// The calibration importers (three formats and GeoTIFF keys) on arbitrary bytes: a refusal
// says why and carries no pairs; an import gives two finite, distinct corners that calibrate a map
// which maps them back.
#include "maps/CalibrationImport.h"
#include "maps/MapInfo.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <utility>
#include <vector>

namespace
{

bool Close(double a, double b)
{
    return std::fabs(a - b) <= 1e-6 * std::max(1.0, std::max(std::fabs(a), std::fabs(b)));
}

// A map across the antimeridian keeps its east edge past 180; reading a pixel back gives the
// same meridian within [-180, 180].
bool SameMeridian(double a, double b)
{
    return Close(a, b) || Close(a + 360.0, b) || Close(a - 360.0, b);
}

void Check(const CCalibrationImport &result, int width, int height)
{
    if (!result.ok) {
        if (result.error.empty() || !result.pairs.empty())
            __builtin_trap();
        return;
    }
    if (!result.error.empty() || result.pairs.size() != 2 || result.sourcePoints < 2
        || !(result.maxErrorPixels >= 0.0) || !(result.maxErrorMetres >= 0.0)
        || result.pairs[0].m_point != CMapPoint{0, 0}
        || result.pairs[1].m_point != CMapPoint{width, height})
        __builtin_trap();
    const CGeoPosition &a = result.pairs[0].m_position;
    const CGeoPosition &b = result.pairs[1].m_position;
    if (!std::isfinite(a.m_latitude) || !std::isfinite(a.m_longitude)
        || !std::isfinite(b.m_latitude) || !std::isfinite(b.m_longitude)
        || a.m_latitude == b.m_latitude || a.m_longitude == b.m_longitude)
        __builtin_trap();
    CMapInfo map;
    map.m_pairs = result.pairs;
    CGeoPosition corner;
    if (!map.Calibrate() || !map.PixelToPosition({width, height}, corner)
        || !Close(corner.m_latitude, b.m_latitude)
        || !SameMeridian(corner.m_longitude, b.m_longitude))
        __builtin_trap();
}

// Six small integers pick the key values (mostly the ones the import knows), the rest are
// doubles dealt to the three tags by the first byte.
CGeoTiffKeys KeysOf(std::string_view bytes, int width, int height)
{
    CGeoTiffKeys keys;
    keys.width = width;
    keys.height = height;
    if (bytes.size() < 7)
        return keys;
    const auto pick = [&](std::size_t i, std::initializer_list<int> known) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        return byte < known.size() ? known.begin()[byte] : static_cast<int>(byte) * 131;
    };
    keys.modelType = pick(1, {1, 2, 0, 3});
    keys.rasterType = pick(2, {1, 2, 0});
    keys.geographicType = pick(3, {4326, 32767, 0, 4258});
    keys.geodeticDatum = pick(4, {6326, 0});
    keys.projectedType = pick(5, {32632, 32733, 32660, 32701, 3035, 0});
    keys.linearUnits = pick(6, {9001, 0, 9002});
    const auto split = static_cast<unsigned char>(bytes[0]);
    std::vector<double> numbers((bytes.size() - 7) / sizeof(double));
    if (!numbers.empty())
        std::memcpy(numbers.data(), bytes.data() + 7, numbers.size() * sizeof(double));
    const std::size_t a = std::min<std::size_t>(numbers.size(), split & 0x3Fu);
    const std::size_t b = std::min<std::size_t>(numbers.size() - a, (split >> 6) * 2u + 1u);
    keys.tiepoints.assign(numbers.begin(), numbers.begin() + static_cast<std::ptrdiff_t>(a));
    keys.pixelScale.assign(numbers.begin() + static_cast<std::ptrdiff_t>(a),
                           numbers.begin() + static_cast<std::ptrdiff_t>(a + b));
    keys.transformation.assign(numbers.begin() + static_cast<std::ptrdiff_t>(a + b), numbers.end());
    return keys;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    // The seeds' image size, and a single pixel.
    for (const auto &[width, height] : {std::pair{1200, 900}, std::pair{1, 1}}) {
        for (const CalibrationFormat format :
             {CalibrationFormat::OziMap, CalibrationFormat::WorldFile, CalibrationFormat::Kml})
            Check(ImportCalibration(text, format, width, height), width, height);
        Check(ImportGeoTiff(KeysOf(text, width, height)), width, height);
    }
    return 0;
}
