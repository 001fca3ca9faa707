#include "GnssSignal.h"

#include "base/Numbers.h"

#include <array>

namespace
{

// NMEA 4.11's signal IDs per system, 1 to 12; SBAS satellites come under the GPS talker and
// send L1 only.
using Names = std::array<std::string_view, 12>;

constexpr Names kGps = {"L1", "L1P", "L1M", "L2P", "L2C", "L2C", "L5", "L5"};
constexpr Names kSbas = {"L1", "", "", "", "", "", "L5", "L5"};
constexpr Names kGlonass = {"G1", "G1P", "G2", "G2P"};
constexpr Names kGalileo = {"E5a", "E5b", "E5", "E6", "E6", "E1", "E1"};
constexpr Names kBeiDou = {"B1I", "B1Q", "B1C", "B1A", "B2a", "B2b",
                           "B2",  "B3I", "B3Q", "B3A", "B2I", "B2Q"};
constexpr Names kQzss = {"L1", "L1C", "L1C", "L1S", "L2C", "L2C", "L5", "L5", "L6", "L6"};
constexpr Names kNavic = {"L5", "S", "L5", "S", "L1"};

const Names *NamesOf(GnssSystem system)
{
    switch (system) {
    case GnssSystem::GPS:
        return &kGps;
    case GnssSystem::SBAS:
        return &kSbas;
    case GnssSystem::GLONASS:
        return &kGlonass;
    case GnssSystem::Galileo:
        return &kGalileo;
    case GnssSystem::BeiDou:
        return &kBeiDou;
    case GnssSystem::QZSS:
        return &kQzss;
    case GnssSystem::NavIC:
        return &kNavic;
    case GnssSystem::Unknown:
        break;
    }
    return nullptr;
}

} // namespace

std::int32_t ReadSignalId(std::string_view field)
{
    return field.size() == 1 ? HexDigit(static_cast<unsigned char>(field[0])) : -1;
}

std::string_view GnssSignalName(GnssSystem system, std::int32_t signalId)
{
    const Names *names = NamesOf(system);
    if (names == nullptr || signalId < 1 || signalId > static_cast<std::int32_t>(names->size()))
        return {};
    return (*names)[static_cast<std::size_t>(signalId - 1)];
}
