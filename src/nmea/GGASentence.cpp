#include "GGASentence.h"

#include "NMEAFields.h"

#include <cmath>
#include <cstdint>

namespace
{

constexpr double kOneSixtieth = 0.016666666666666666;

double NMEAToDegrees(double value)
{
    // Whole degrees are the integer part divided by 100 in integer arithmetic; values outside the
    // 64-bit range (only garbage gets there) take the same route in floating point.
    double degrees;
    if (std::fabs(value) < 9.0e18)
        degrees = static_cast<double>(static_cast<std::int64_t>(value) / 100);
    else
        degrees = std::trunc(value / 100.0);
    const double minutes = value - degrees * 100.0;
    return degrees + minutes * kOneSixtieth;
}

} // namespace

CGeoPosition PositionFromNMEA(const CNMEAFields &fields, int firstIndex)
{
    double latitude = 0.0;
    double longitude = 0.0;
    fields.ReadDouble(firstIndex, latitude);
    fields.ReadDouble(firstIndex + 2, longitude);
    latitude = NMEAToDegrees(latitude);
    longitude = NMEAToDegrees(longitude);
    if (fields.FieldView(firstIndex + 1) == "S")
        latitude = -latitude;
    if (fields.FieldView(firstIndex + 3) == "W")
        longitude = -longitude;
    return CGeoPosition(latitude, longitude, 0.0);
}

void CGGASentence::Reset()
{
    m_time.clear();
    m_quality = 0;
    m_satellites = 0;
    m_hdop = 0.0;
    m_altitude = 0.0;
    m_geoidSeparation = 0.0;
    m_dgpsAge = 0.0;
    m_dgpsStation = 0;
}

int CGGASentence::Parse(const CNMEAFields &fields)
{
    m_time.assign(fields.FieldView(1));
    fields.ReadInt(6, m_quality);
    fields.ReadInt(7, m_satellites);
    fields.ReadDouble(8, m_hdop);
    fields.ReadDouble(9, m_altitude);
    fields.ReadDouble(11, m_geoidSeparation);
    fields.ReadDouble(13, m_dgpsAge);
    fields.ReadInt(14, m_dgpsStation);
    if (m_hdop == 0.0)
        m_hdop = kMissingHDOP;
    m_position = PositionFromNMEA(fields, 2);
    return 1;
}
