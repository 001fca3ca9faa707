// The three calibration importers on arbitrary bytes: a refusal says why and carries no pairs;
// an import gives two finite, distinct corners that calibrate a map which maps them back.
#include "maps/CalibrationImport.h"
#include "maps/MapInfo.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    // The seeds' image size, and a single pixel.
    for (const auto &[width, height] : {std::pair{1200, 900}, std::pair{1, 1}}) {
        for (const CalibrationFormat format :
             {CalibrationFormat::OziMap, CalibrationFormat::WorldFile, CalibrationFormat::Kml}) {
            const CCalibrationImport result = ImportCalibration(text, format, width, height);
            if (!result.ok) {
                if (result.error.empty() || !result.pairs.empty())
                    __builtin_trap();
                continue;
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
    }
    return 0;
}
