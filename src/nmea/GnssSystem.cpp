#include "GnssSystem.h"

#include <array>

std::optional<GnssMode> GnssModeFromName(std::string_view name)
{
    if (name == "all")
        return GnssMode::AllSystems;
    if (name == "gps")
        return GnssMode::GpsOnly;
    return std::nullopt;
}

namespace
{

struct SystemNames {
    const char *name;
    const char *shortName;
};

constexpr std::array<SystemNames, kGnssSystemCount> kNames = {{
    {"GPS", "GPS"},
    {"SBAS", "SBA"},
    {"GLONASS", "GLO"},
    {"Galileo", "GAL"},
    {"BeiDou", "BDS"},
    {"QZSS", "QZS"},
    {"NavIC", "NAV"},
    {"other", "?"},
}};

const SystemNames &NamesOf(GnssSystem system)
{
    const auto i = static_cast<std::size_t>(system);
    return kNames[i < kNames.size() ? i : kNames.size() - 1];
}

// Number ranges as receivers send them, and the offset that takes each to the number within
// its system.
struct Range {
    GnssSystem system;
    std::int32_t first;
    std::int32_t last;
    std::int32_t offset;
};

constexpr std::array<Range, 14> kRanges = {{
    {GnssSystem::GPS, 1, 32, 0},
    {GnssSystem::SBAS, 33, 64, -87}, // NMEA's 33-64 are PRN 120-151
    {GnssSystem::SBAS, 120, 158, 0},
    {GnssSystem::GLONASS, 65, 96, 64},
    {GnssSystem::GLONASS, 1, 32, 0},
    {GnssSystem::Galileo, 1, 36, 0},
    {GnssSystem::Galileo, 101, 136, 100},
    {GnssSystem::Galileo, 301, 336, 300},
    {GnssSystem::BeiDou, 1, 63, 0},
    {GnssSystem::BeiDou, 201, 263, 200},
    {GnssSystem::BeiDou, 401, 463, 400},
    {GnssSystem::QZSS, 193, 202, 192},
    {GnssSystem::QZSS, 1, 10, 0},
    {GnssSystem::NavIC, 1, 14, 0},
}};

// Without a hint the low numbers are GPS's and SBAS's; 201 and 202 go to BeiDou, whose 201+
// numbering is far more common than QZSS's top two.
constexpr std::array<Range, 9> kByRangeAlone = {{
    {GnssSystem::GPS, 1, 32, 0},
    {GnssSystem::SBAS, 33, 64, -87},
    {GnssSystem::GLONASS, 65, 96, 64},
    {GnssSystem::Galileo, 101, 136, 100},
    {GnssSystem::SBAS, 120, 158, 0},
    {GnssSystem::QZSS, 193, 200, 192},
    {GnssSystem::BeiDou, 201, 263, 200},
    {GnssSystem::Galileo, 301, 336, 300},
    {GnssSystem::BeiDou, 401, 463, 400},
}};

bool HintCovers(GnssSystem hint, GnssSystem system)
{
    return hint == system || (hint == GnssSystem::GPS && system == GnssSystem::SBAS);
}

} // namespace

const char *GnssSystemName(GnssSystem system)
{
    return NamesOf(system).name;
}

const char *GnssSystemShortName(GnssSystem system)
{
    return NamesOf(system).shortName;
}

GnssSystem SystemOfTalker(std::string_view talker)
{
    if (talker == "GP")
        return GnssSystem::GPS;
    if (talker == "GL")
        return GnssSystem::GLONASS;
    if (talker == "GA")
        return GnssSystem::Galileo;
    if (talker == "GB" || talker == "BD")
        return GnssSystem::BeiDou;
    if (talker == "GQ" || talker == "QZ")
        return GnssSystem::QZSS;
    if (talker == "GI")
        return GnssSystem::NavIC;
    return GnssSystem::Unknown;
}

GnssSystem SystemOfNmeaId(std::int32_t id)
{
    switch (id) {
    case 1:
        return GnssSystem::GPS;
    case 2:
        return GnssSystem::GLONASS;
    case 3:
        return GnssSystem::Galileo;
    case 4:
        return GnssSystem::BeiDou;
    case 5:
        return GnssSystem::QZSS;
    case 6:
        return GnssSystem::NavIC;
    default:
        return GnssSystem::Unknown;
    }
}

CSatelliteId NormaliseSatellite(GnssSystem hint, std::int32_t number)
{
    if (hint != GnssSystem::Unknown) {
        for (const Range &r : kRanges)
            if (HintCovers(hint, r.system) && number >= r.first && number <= r.last)
                return {r.system, number - r.offset};
    }
    for (const Range &r : kByRangeAlone)
        if (number >= r.first && number <= r.last)
            return {r.system, number - r.offset};
    return {GnssSystem::Unknown, number};
}
