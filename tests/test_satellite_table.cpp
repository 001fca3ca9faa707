#include "NMEATestUtils.h"
#include "dashboard/SatelliteTable.h"
#include "nmea/GnssSignal.h"
#include "nmea/LineAssembler.h"
#include "nmea/NMEAParser.h"

#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace
{

std::vector<std::pair<GnssSystem, int>> IdsOf(const std::vector<CSatelliteRow> &rows)
{
    std::vector<std::pair<GnssSystem, int>> ids;
    for (const CSatelliteRow &r : rows)
        ids.emplace_back(r.system, r.number);
    return ids;
}

CSatelliteRow Row(GnssSystem system, int number, int elevation, int azimuth, int snr, bool used)
{
    return {system, number, elevation, azimuth, snr, used, {{"", snr}}};
}

} // namespace

TEST(SatelliteSignals, NamedPerSystem)
{
    const struct {
        GnssSystem system;
        int id;
        const char *name;
    } cases[] = {
        {GnssSystem::GPS, 1, "L1"},
        {GnssSystem::GPS, 5, "L2C"},
        {GnssSystem::GPS, 6, "L2C"},
        {GnssSystem::GPS, 7, "L5"},
        {GnssSystem::GPS, 8, "L5"},
        {GnssSystem::SBAS, 1, "L1"},
        {GnssSystem::GLONASS, 1, "G1"},
        {GnssSystem::GLONASS, 3, "G2"},
        {GnssSystem::Galileo, 1, "E5a"},
        {GnssSystem::Galileo, 2, "E5b"},
        {GnssSystem::Galileo, 3, "E5"},
        {GnssSystem::Galileo, 7, "E1"},
        {GnssSystem::Galileo, 6, "E1"},
        {GnssSystem::BeiDou, 1, "B1I"},
        {GnssSystem::BeiDou, 3, "B1C"},
        {GnssSystem::BeiDou, 5, "B2a"},
        {GnssSystem::BeiDou, 11, "B2I"},
        {GnssSystem::BeiDou, 8, "B3I"},
        {GnssSystem::QZSS, 1, "L1"},
        {GnssSystem::QZSS, 4, "L1S"},
        {GnssSystem::QZSS, 8, "L5"},
        {GnssSystem::QZSS, 10, "L6"},
        {GnssSystem::NavIC, 1, "L5"},
        {GnssSystem::NavIC, 2, "S"},
        // Nothing to name: no ID, "all bars", beyond the table, no system.
        {GnssSystem::GPS, -1, ""},
        {GnssSystem::GPS, 0, ""},
        {GnssSystem::GPS, 9, ""},
        {GnssSystem::Galileo, 8, ""},
        {GnssSystem::BeiDou, 13, ""},
        {GnssSystem::Unknown, 1, ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(GnssSystemName(c.system)) + " " + std::to_string(c.id));
        EXPECT_EQ(GnssSignalName(c.system, c.id), c.name);
    }
}

TEST(SatelliteSignals, SignalIdIsOneHexDigit)
{
    const struct {
        const char *field;
        int id;
    } cases[] = {{"1", 1}, {"0", 0},   {"8", 8},  {"B", 11}, {"c", 12},
                 {"", -1}, {"10", -1}, {"G", -1}, {" 1", -1}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.field);
        EXPECT_EQ(ReadSignalId(c.field), c.id);
    }
}

TEST(SatelliteSignals, EachSignalKeptOnceAtItsBest)
{
    CNMEAParser parser(GnssMode::AllSystems);
    CLineAssembler assembler(GnssMode::AllSystems);
    const std::string epoch =
        Sentence("GPGSV,1,1,02,02,48,120,44,05,30,200,41,1")
        + Sentence("GPGSV,1,1,01,02,48,120,31,8")
        + Sentence("GNGSV,1,1,01,02,48,120,46,1") // L1 again under GN, stronger
        + Sentence("GBGSV,1,1,01,21,71,056,39,B") // B2I: hexadecimal signal ID
        + Sentence("GBGSV,1,1,01,21,71,056,44,1") + Sentence("GNRMC,120000.00,A,,,,,,,,,");
    assembler.Feed(epoch, [&](std::string_view line) { parser.Parse(line); });
    const CSkyView view = SkyViewOf(parser);
    const std::vector<CSatelliteRow> rows = SatelliteRowsOf(view, parser.m_sky.GetSatellites());
    ASSERT_EQ(rows.size(), 3u);
    const CSatelliteRow &gps2 = rows[0];
    EXPECT_EQ(gps2.number, 2);
    ASSERT_EQ(gps2.bars.size(), 2u);
    EXPECT_EQ(gps2.bars[0].name, "L1");
    EXPECT_EQ(gps2.bars[0].snr, 46);
    EXPECT_EQ(gps2.bars[1].name, "L5");
    EXPECT_EQ(gps2.bars[1].snr, 31);
    EXPECT_EQ(gps2.snr, 46);
    const CSatelliteRow &beidou = rows[2];
    EXPECT_EQ(beidou.system, GnssSystem::BeiDou);
    ASSERT_EQ(beidou.bars.size(), 2u);
    EXPECT_EQ(beidou.bars[0].name, "B2I");
    EXPECT_EQ(beidou.bars[1].name, "B1I");
}

// The multi-system drive, read as the window reads it: at every sky it publishes, the table
// holds exactly the sky view's satellites, with the same values, and names their bars.
TEST(SatelliteTable, RowsAreTheSkyViewsSatellitesOnARealDrive)
{
    std::ifstream file(VELORAN_NMEA_DATA "/multi_drive.nmea", std::ios::binary);
    ASSERT_TRUE(file) << "no multi_drive.nmea";
    std::stringstream bytes;
    bytes << file.rdbuf();
    CNMEAParser parser(GnssMode::AllSystems);
    CLineAssembler assembler(GnssMode::AllSystems);
    int skies = 0;
    std::size_t most = 0;
    std::set<std::pair<GnssSystem, std::string>> names;
    assembler.Feed(bytes.str(), [&](std::string_view line) {
        parser.Parse(line);
        if (!parser.SkyChanged())
            return;
        ++skies;
        const CSkyView view = SkyViewOf(parser);
        std::vector<CSatelliteRow> rows = SatelliteRowsOf(view, parser.m_sky.GetSatellites());
        SortSatelliteRows(rows, SatelliteSort::System);
        std::map<std::pair<GnssSystem, int>, CSkySatellite> sky;
        for (const CSkySatellite &s : view.satellites)
            sky[{s.system, s.prn}] = s;
        ASSERT_EQ(rows.size(), sky.size()) << "sky " << skies;
        std::size_t i = 0;
        for (const auto &[id, s] : sky) { // a map: in system, then number order
            const CSatelliteRow &r = rows[i++];
            ASSERT_EQ(std::make_pair(r.system, r.number), id) << "sky " << skies;
            EXPECT_EQ(r.elevation, s.elevation);
            EXPECT_EQ(r.azimuth, s.azimuth);
            EXPECT_EQ(r.used, s.used);
            EXPECT_EQ(r.snr, s.snr);
            ASSERT_FALSE(r.bars.empty());
            int best = -1;
            for (const CSignalBar &b : r.bars) {
                best = std::max(best, b.snr);
                names.insert({r.system, b.name});
            }
            EXPECT_EQ(best, r.snr) << "the sky view shows the best signal";
        }
        most = std::max(most, rows.size());
    });
    EXPECT_GT(skies, 60);
    EXPECT_GE(most, 25u);
    const std::set<std::pair<GnssSystem, std::string>> expected = {
        {GnssSystem::GPS, "L1"},     {GnssSystem::GPS, "L5"},     {GnssSystem::SBAS, "L1"},
        {GnssSystem::GLONASS, "G1"}, {GnssSystem::Galileo, "E1"}, {GnssSystem::Galileo, "E5a"},
        {GnssSystem::BeiDou, "B1I"},
    };
    EXPECT_EQ(names, expected);
}

TEST(SatelliteTable, GpsOnlyRowsHaveOneUnnamedSignal)
{
    CSkyView view;
    view.satellites = {{7, 40, 120, 35, true, GnssSystem::GPS},
                       {3, 10, 300, 0, false, GnssSystem::GPS}};
    const std::vector<CSatelliteRow> rows = SatelliteRowsOf(view, {});
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].number, 7) << "in the sky's order until sorted";
    ASSERT_EQ(rows[0].bars.size(), 1u);
    EXPECT_EQ(rows[0].bars[0].name, "");
    EXPECT_EQ(rows[0].bars[0].snr, 35);
}

TEST(SatelliteTable, Sorting)
{
    using S = GnssSystem;
    const std::vector<CSatelliteRow> sky = {
        Row(S::Galileo, 4, 75, 343, 46, true), Row(S::GPS, 13, 56, 68, 34, true),
        Row(S::GPS, 4, 36, 326, 33, false),    Row(S::GLONASS, 65, 40, 69, 0, false),
        Row(S::SBAS, 133, 34, 189, -1, false), Row(S::GPS, 19, 72, 328, 46, true),
    };
    using Ids = std::vector<std::pair<GnssSystem, int>>;
    const struct {
        SatelliteSort key;
        bool reversed;
        Ids order;
        const char *legend;
    } cases[] = {
        {SatelliteSort::System,
         false,
         {{S::GPS, 4},
          {S::GPS, 13},
          {S::GPS, 19},
          {S::SBAS, 133},
          {S::GLONASS, 65},
          {S::Galileo, 4}},
         "system, then number"},
        {SatelliteSort::System,
         true,
         {{S::Galileo, 4},
          {S::GLONASS, 65},
          {S::SBAS, 133},
          {S::GPS, 4},
          {S::GPS, 13},
          {S::GPS, 19}},
         "systems reversed, numbers still up"},
        {SatelliteSort::Signal,
         false,
         {{S::GPS, 19},
          {S::Galileo, 4},
          {S::GPS, 13},
          {S::GPS, 4},
          {S::SBAS, 133},
          {S::GLONASS, 65}},
         "strongest first; ties and the untracked by system, then number"},
        {SatelliteSort::Signal,
         true,
         {{S::SBAS, 133},
          {S::GLONASS, 65},
          {S::GPS, 4},
          {S::GPS, 13},
          {S::GPS, 19},
          {S::Galileo, 4}},
         "weakest first"},
        {SatelliteSort::Elevation,
         false,
         {{S::Galileo, 4},
          {S::GPS, 19},
          {S::GPS, 13},
          {S::GLONASS, 65},
          {S::GPS, 4},
          {S::SBAS, 133}},
         "highest first"},
        {SatelliteSort::Azimuth,
         false,
         {{S::GPS, 13},
          {S::GLONASS, 65},
          {S::SBAS, 133},
          {S::GPS, 4},
          {S::GPS, 19},
          {S::Galileo, 4}},
         "north, east, south, west"},
        {SatelliteSort::Number,
         false,
         {{S::GPS, 4},
          {S::Galileo, 4},
          {S::GPS, 13},
          {S::GPS, 19},
          {S::GLONASS, 65},
          {S::SBAS, 133}},
         "number; the same number by system"},
        {SatelliteSort::Used,
         false,
         {{S::GPS, 13},
          {S::GPS, 19},
          {S::Galileo, 4},
          {S::GPS, 4},
          {S::SBAS, 133},
          {S::GLONASS, 65}},
         "used first"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        std::vector<CSatelliteRow> rows = sky;
        SortSatelliteRows(rows, c.key, c.reversed);
        EXPECT_EQ(IdsOf(rows), c.order);
    }
}
