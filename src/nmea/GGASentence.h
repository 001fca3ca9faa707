#pragma once

#include "NMEASentence.h"
#include "base/GeoPosition.h"

#include <cstdint>
#include <string>

class CNMEAFields;

/// Builds a position from NMEA ddmm.mmmm / dddmm.mmmm values and their hemisphere texts;
/// only "S" and "W" (upper case) negate. Height is 0.
CGeoPosition PositionFromNMEA(const CNMEAFields &fields, int firstIndex);

/// Global positioning fix data.
class CGGASentence : public CNMEASentence
{
public:
    CGGASentence() { CGGASentence::Reset(); }

    void Reset() override;
    [[nodiscard]] SentenceType GetType() const override { return kSentenceGGA; }
    int Parse(const CNMEAFields &fields) override;

    /// Stands in for a missing dilution: a receiver that sends none counts as very poor, so that
    /// gauges and averages never see a zero.
    static constexpr double kMissingHDOP = 50.0;

    std::string m_time;            ///< hhmmss.ss UTC as received
    std::int32_t m_quality = 0;    ///< 0 invalid, 1 GPS, 2 differential, as sent
    std::int32_t m_satellites = 0; ///< satellites in use
    double m_hdop = 0.0;
    double m_altitude = 0.0;        ///< metres above mean sea level
    double m_geoidSeparation = 0.0; ///< metres
    double m_dgpsAge = 0.0;         ///< seconds
    std::int32_t m_dgpsStation = 0;
    CGeoPosition m_position;
};
