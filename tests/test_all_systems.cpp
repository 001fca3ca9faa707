#include "NMEATestUtils.h"
#include "dashboard/SkyView.h"
#include "nmea/GPSDataRows.h"
#include "nmea/LineAssembler.h"
#include "nmea/NMEAParser.h"
#include "receiver/LineRouter.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{

// The sentence with an LF-only line end, as Linux tools save logs.
std::string LfSentence(std::string_view body)
{
    std::string s = Sentence(body);
    s.erase(s.size() - 2, 1);
    return s;
}

std::vector<std::string> Pieces(const std::string &bytes, std::size_t chunk)
{
    CLineAssembler a(GnssMode::AllSystems);
    std::vector<std::string> pieces;
    for (std::size_t i = 0; i < bytes.size(); i += chunk)
        a.Feed(std::string_view(bytes).substr(i, chunk),
               [&](std::string_view p) { pieces.emplace_back(p); });
    return pieces;
}

// Feeds whole lines (or runs of them) through the all-systems assembler into the parser.
struct AllSystems {
    CNMEAParser parser{GnssMode::AllSystems};
    std::vector<int> types;
    bool skyChanged = false;

    void Feed(const std::string &bytes)
    {
        CLineAssembler a(GnssMode::AllSystems);
        a.Feed(bytes, [&](std::string_view line) {
            types.push_back(parser.Parse(line));
            skyChanged = skyChanged || parser.SkyChanged();
        });
    }
    int InView(GnssSystem system) const { return parser.m_sky.GetInViewCount(system); }
};

const std::string kGga94 = "GNGGA,123519.00,4807.03812345,N,01131.00012345,E,4,24,0.6,545.4123,M,"
                           "46.9,M,1.0,0001";

} // namespace

TEST(AllSystemsLines, AcceptanceRules)
{
    const std::string body = "GNGGA,120000.00,5230.1,N,01323.2,E,1,14,0.7,34.0,M,39.0,M,,";
    std::string wrong = Sentence(body);
    wrong[wrong.size() - 3] = wrong[wrong.size() - 3] == '0' ? '1' : '0';
    const std::string checksum = Sentence(body).substr(Sentence(body).size() - 5, 3); // "*HH"
    const struct {
        std::string line;
        int type;
        const char *legend;
    } cases[] = {
        {Sentence(body), kSentenceGGA, "CR LF"},
        {LfSentence(body), kSentenceGGA, "LF only"},
        {"$" + body + checksum + "\r\r\n", kSentenceGGA, "CR CR LF"},
        {"$GPRMC,8,A,,,,,,,,,*1e\r\n", kSentenceRMC, "lower-case hex digits"},
        {wrong, kSentenceNone, "wrong checksum"},
        {"$" + body + checksum.substr(0, 2) + "\r\n", kSentenceNone, "one checksum digit"},
        {"$" + body + checksum + "0\r\n", kSentenceNone, "three checksum digits"},
        {"$" + body + checksum + " \r\n", kSentenceNone, "text after the checksum"},
        {"$" + body + "\r\n", kSentenceGGA, "no '*': taken unchecked, the last field too"},
        {"$" + body + "\t\r\n", kSentenceNone, "a tab is not printable"},
        {"$" + body + "\xb0\r\n", kSentenceNone, "nor is a byte above 0x7e"},
        {std::string("$GPVTG,\0,T\r\n", 12), kSentenceNone, "nor is NUL"},
        {Sentence(kGga94), kSentenceGGA, "a 94-byte RTK GGA"},
        {"$GPVTG" + std::string(249, ',') + "\r\n", kSentenceVTG, "255 bytes"},
        {"$GPVTG" + std::string(250, ',') + "\r\n", kSentenceNone, "256 bytes"},
        {Sentence("GLGSV,1,1,00"), kSentenceGSV, "GLONASS talker"},
        {Sentence("PQGSV,1,1,00,1,5"), kSentenceGSV, "Quectel's $PQ"},
        {Sentence("BDGSA,A,3,,,,,,,,,,,,,1.0,1.0,1.0"), kSentenceGSA, "BD talker"},
        {Sentence("gpGGA,1"), kSentenceNone, "lower-case talker"},
        {Sentence("GPGGAX,1"), kSentenceNone, "tag too long"},
        {Sentence("GPZDA,1"), kSentenceNone, "unknown type"},
        {"$GPGGA,1*00$GPRMC,2\r\n", kSentenceNone, "two sentences in one call"},
        {"$\r\n", kSentenceNone, "a lone $"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CNMEAParser parser(GnssMode::AllSystems);
        EXPECT_EQ(parser.Parse(c.line), c.type);
    }
    CNMEAParser exact;
    EXPECT_EQ(exact.Parse(Sentence(body)), kSentenceNone) << "GPS only refuses GN";
}

TEST(AllSystemsLines, AssemblerCutsAtLineFeedsAndDollars)
{
    const std::string gga = LfSentence("GPGGA,1");
    const std::string gsa = Sentence("GNGSA,A,3,1,,,,,,,,,,,,1,1,1,1");
    const struct {
        std::string bytes;
        std::vector<std::string> pieces;
        const char *legend;
    } cases[] = {
        {gga + gsa, {gga, gsa}, "LF and CR LF lines"},
        {"$" + gsa, {"$", gsa}, "$$GNGSA: the first '$' is a sentence of its own"},
        {gga.substr(0, gga.size() - 1) + gsa,
         {gga.substr(0, gga.size() - 1), gsa},
         "two sentences run together"},
        {"xy" + gsa, {"xy", gsa}, "garbage before the '$'"},
        {"$GPGGA,1\r\n\n", {"$GPGGA,1\r\n", "\n"}, "an empty line"},
        {gga + "$GPRMC,unfinished", {gga}, "an unfinished last sentence is no line"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        for (const std::size_t chunk : {std::size_t{1}, std::size_t{7}, c.bytes.size()})
            EXPECT_EQ(Pieces(c.bytes, chunk), c.pieces) << "chunk " << chunk;
    }
}

// Too long for a sentence: handed on in parts, for the recording, none of them a sentence.
TEST(AllSystemsLines, LongPiecesGoOnInPartsNeverParsed)
{
    const std::string gga =
        Sentence("GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,");
    const std::string body = gga.substr(0, gga.find('*'));
    const struct {
        std::string bytes;
        const char *legend;
    } cases[] = {
        {body + std::string(300, '0') + "\r\n" + gga, "a GGA without checksum, over 255 bytes"},
        {body + std::string(300, '0') + gga, "the same cut by the next '$'"},
        {"$GPZZZ,12" + body + std::string(300, '0') + "\n" + gga,
         "a fragment, then an over-long remainder"},
        {"$$$$" + body + std::string(CLineAssembler::kSentenceRoom, ',') + "\n" + gga,
         "a '$' storm, then a long one"},
        {std::string(5000, 'x') + "\n" + gga, "long garbage"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        for (const std::size_t chunk :
             {std::size_t{1}, std::size_t{7}, std::size_t{256}, c.bytes.size()}) {
            SCOPED_TRACE(chunk);
            std::string joined;
            int sentences = 0;
            CNMEAParser parser(GnssMode::AllSystems);
            for (const std::string &piece : Pieces(c.bytes, chunk)) {
                joined += piece;
                sentences += parser.Parse(piece) != kSentenceNone ? 1 : 0;
            }
            EXPECT_EQ(joined, c.bytes);
            EXPECT_EQ(sentences, 1) << "only the good GGA at the end";
        }
    }
}

TEST(AllSystemsLines, ReplayPacesOncePerEpoch)
{
    std::string last;
    const struct {
        const char *line;
        bool paced;
    } lines[] = {
        {"$GNGGA,120000.00,x", true}, {"$GPGGA,120000.00,x", false}, {"$GNRMC,120000.00", false},
        {"$GPGGA,120001.00,x", true}, {"$GNGGA,120001.00*", false},  {"$GNGGA,*00", true},
    };
    for (const auto &l : lines) {
        SCOPED_TRACE(l.line);
        EXPECT_EQ(StartsEpoch(l.line, last), l.paced);
    }
}

TEST(AllSystemsSatellites, NumbersNormalisedPerSystem)
{
    using S = GnssSystem;
    const struct {
        S hint;
        int number;
        CSatelliteId id;
    } cases[] = {
        {S::GPS, 7, {S::GPS, 7}},
        {S::GPS, 33, {S::SBAS, 120}},
        {S::GPS, 64, {S::SBAS, 151}},
        {S::GPS, 131, {S::SBAS, 131}},
        {S::GPS, 70, {S::GLONASS, 6}},
        {S::GLONASS, 65, {S::GLONASS, 1}},
        {S::GLONASS, 24, {S::GLONASS, 24}},
        {S::Galileo, 36, {S::Galileo, 36}},
        {S::Galileo, 101, {S::Galileo, 1}},
        {S::Galileo, 336, {S::Galileo, 36}},
        {S::BeiDou, 40, {S::BeiDou, 40}},
        {S::BeiDou, 263, {S::BeiDou, 63}},
        {S::BeiDou, 401, {S::BeiDou, 1}},
        {S::QZSS, 193, {S::QZSS, 1}},
        {S::QZSS, 202, {S::QZSS, 10}},
        {S::NavIC, 14, {S::NavIC, 14}},
        {S::Unknown, 12, {S::GPS, 12}},
        {S::Unknown, 40, {S::SBAS, 127}},
        {S::Unknown, 96, {S::GLONASS, 32}},
        {S::Unknown, 195, {S::QZSS, 3}},
        {S::Unknown, 201, {S::BeiDou, 1}},
        {S::Unknown, 305, {S::Galileo, 5}},
        {S::Unknown, 500, {S::Unknown, 500}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(GnssSystemName(c.hint)) + " " + std::to_string(c.number));
        const CSatelliteId id = NormaliseSatellite(c.hint, c.number);
        EXPECT_EQ(id.system, c.id.system);
        EXPECT_EQ(id.number, c.id.number);
    }
}

TEST(AllSystemsSatellites, OneUsedSetPerRunOfGSAs)
{
    AllSystems r;
    // u-blox: one GSA per system with its system ID; GGA caps its count at 12.
    r.Feed(Sentence("GNGGA,120000.00,5230.1,N,01323.2,E,1,12,0.7,34.0,M,39.0,M,,")
           + Sentence("GNGSA,A,3,02,05,07,13,15,20,,,,,,,1.3,0.7,1.1,1")
           + Sentence("GNGSA,A,3,66,67,75,66,,,,,,,,,1.3,0.7,1.1,2")
           + Sentence("GNGSA,A,3,11,12,,,,,,,,,,,1.3,0.7,1.1,3")
           + Sentence("GNGSA,A,3,33,201,,,,,,,,,,,1.3,0.7,1.1,4"));
    EXPECT_EQ(r.parser.GetSatellitesInUse(), 13) << "a duplicate counts once, not GGA's 12";
    EXPECT_TRUE(r.parser.m_sky.IsUsed({GnssSystem::GLONASS, 2}));
    EXPECT_TRUE(r.parser.m_sky.IsUsed({GnssSystem::Galileo, 11}));
    EXPECT_TRUE(r.parser.m_sky.IsUsed({GnssSystem::BeiDou, 33})) << "BeiDou 33 is never SBAS";
    EXPECT_TRUE(r.parser.m_sky.IsUsed({GnssSystem::BeiDou, 1}));
    EXPECT_EQ(r.parser.m_gsa.m_pdopHistory.GetSize(), 1) << "one DOP sample per run";

    // The next epoch: GLONASS's GSA is empty, a 24-slot GSA lists GPS and Galileo.
    std::string slots;
    for (int i = 1; i <= 24; ++i)
        slots += "," + std::to_string(i <= 12 ? i : 300 + i);
    r.Feed(Sentence("GNRMC,120001.00,A,,,,,,,,,") + Sentence("GNGSA,A,3" + slots + ",1.2,0.6,1.0")
           + Sentence("GNGSA,A,3,,,,,,,,,,,,,1.2,0.6,1.0,2"));
    EXPECT_EQ(r.parser.GetSatellitesInUse(), 24);
    EXPECT_FALSE(r.parser.m_sky.IsUsed({GnssSystem::GLONASS, 2}));
    EXPECT_TRUE(r.parser.m_sky.IsUsed({GnssSystem::Galileo, 24}));
    EXPECT_DOUBLE_EQ(r.parser.m_gsa.m_vdop, 1.0) << "DOPs after any number of slots";
    EXPECT_EQ(r.parser.m_gsa.m_pdopHistory.GetSize(), 2);
}

TEST(AllSystemsSatellites, SkyFromGroupsPerTalkerAndSignal)
{
    AllSystems r;
    const std::string epoch1 =
        Sentence("GNGGA,120000.00,5230.1,N,01323.2,E,1,12,0.7,34.0,M,39.0,M,,")
        + Sentence("GNGSA,A,3,02,05,,,,,,,,,,,1.3,0.7,1.1,1")
        + Sentence("GPGSV,2,1,05,02,48,120,44,05,30,200,41,07,62,070,47,13,15,300,38,1")
        + Sentence("GPGSV,2,2,05,44,22,250,40,1")              // SBAS under GP
        + Sentence("GPGSV,1,1,02,02,48,120,49,07,62,070,30,8") // L5: 02 again, better
        + Sentence("GLGSV,1,1,02,66,40,050,42,67,,,35,1")      // 67 without a position
        + Sentence("GAGSV,1,1,01,301,33,090,41,7")             // Galileo numbered 301+
        + Sentence("GBGSV,1,1,01,201,20,180,30,1")             // BeiDou numbered 201+
        + Sentence("PQGSV,1,1,01,195,60,010,39,1,5");          // QZSS via Quectel's $PQ
    r.Feed(epoch1);
    EXPECT_FALSE(r.skyChanged) << "a sky reaches the pages only when its GSV run ends";
    EXPECT_EQ(r.parser.GetSatellitesInView(), 0);
    r.Feed(Sentence("GNRMC,120000.00,A,,,,,,,,,"));
    EXPECT_TRUE(r.skyChanged);
    EXPECT_EQ(r.InView(GnssSystem::GPS), 4);
    EXPECT_EQ(r.InView(GnssSystem::SBAS), 1);
    EXPECT_EQ(r.InView(GnssSystem::GLONASS), 2);
    EXPECT_EQ(r.InView(GnssSystem::Galileo), 1);
    EXPECT_EQ(r.InView(GnssSystem::BeiDou), 1);
    EXPECT_EQ(r.InView(GnssSystem::QZSS), 1);
    const CSkyView view = SkyViewOf(r.parser);
    EXPECT_EQ(view.inView, 10);
    EXPECT_EQ(view.inUse, 2);
    ASSERT_EQ(view.satellites.size(), 9u) << "GLONASS 67 counts but has no place";
    EXPECT_EQ(view.satellites[0].snr, 49) << "GPS 2's best signal";
    EXPECT_TRUE(view.satellites[0].used);
    ASSERT_EQ(view.systems.size(), 6u);
    EXPECT_EQ(view.systems[0].inUse, 2);
    const CDataRows rows = BuildReceptionRows(r.parser);
    ASSERT_EQ(rows.size(), 8u);
    EXPECT_EQ(rows[0].value, "2 of 10 sats");
    EXPECT_EQ(rows[4].label, "GLONASS:");
    EXPECT_EQ(rows[4].value, "0 of 2 sats");

    // Interleaved and broken groups: GLONASS empties, part 1 drops an unfinished GPS group and
    // a part out of order drops Galileo's; both keep the last complete sky.
    r.skyChanged = false;
    r.Feed(Sentence("GNRMC,120005.00,A,,,,,,,,,")
           + Sentence("GPGSV,2,1,05,02,48,120,44,05,30,200,41,07,62,070,47,13,15,300,38,1")
           + Sentence("GLGSV,1,1,00,1") + Sentence("GAGSV,2,2,02,301,33,090,41,7")
           + Sentence("GPGSV,1,1,01,02,48,120,44,1") + Sentence("GNVTG,,T,,M,0,N,0,K,A"));
    EXPECT_TRUE(r.skyChanged);
    EXPECT_EQ(r.InView(GnssSystem::GPS), 1);
    EXPECT_EQ(r.InView(GnssSystem::GLONASS), 0);
    EXPECT_EQ(r.InView(GnssSystem::Galileo), 1) << "not reported: kept";
    EXPECT_EQ(r.InView(GnssSystem::SBAS), 1) << "not reported: kept";

    // Receiver time moves on: a system silent for more than 10 s goes.
    r.skyChanged = false;
    r.Feed(Sentence("GNRMC,120010.00,A,,,,,,,,,"));
    EXPECT_FALSE(r.skyChanged);
    EXPECT_EQ(r.InView(GnssSystem::Galileo), 1);
    r.Feed(Sentence("GNRMC,120010.50,A,,,,,,,,,"));
    EXPECT_TRUE(r.skyChanged);
    EXPECT_EQ(r.InView(GnssSystem::Galileo), 0);
    EXPECT_EQ(r.InView(GnssSystem::SBAS), 0);
    EXPECT_EQ(r.InView(GnssSystem::GPS), 1) << "reported again at 12:00:05";
}

TEST(AllSystemsFix, OneTalkerFollowedAndRouted)
{
    CNMEAParser parser(GnssMode::AllSystems);
    const auto gga = [](const char *talker, const char *time, const char *lat) {
        return Sentence(std::string(talker) + "GGA," + time + "," + lat
                        + ",N,01323.2,E,1,08,0.9,34.0,M,39.0,M,,");
    };
    const struct {
        std::string line;
        bool taken;
        double latitude;
        const char *legend;
    } steps[] = {
        {gga("GP", "120000", "5230.0"), true, 52.5, "the first talker seen"},
        {gga("GN", "120000", "5231.2"), true, 52.52, "GN outranks GP"},
        {gga("GP", "120001", "5230.0"), false, 52.52, "GP's copy is ignored"},
        {gga("GN", "120001", "5231.2"), true, 52.52, ""},
        {gga("GP", "120002", "5230.0"), false, 52.52, "GN went quiet: 1"},
        {gga("GP", "120003", "5230.0"), false, 52.52, "2"},
        {gga("GP", "120004", "5230.0"), false, 52.52, "3"},
        {gga("GP", "120005", "5230.0"), true, 52.5, "GP takes over after three"},
        {gga("GL", "120006", "5236.0"), false, 52.5, "GL never outranks GP"},
    };
    for (const auto &s : steps) {
        SCOPED_TRACE(s.legend);
        ASSERT_EQ(parser.Parse(s.line), kSentenceGGA);
        EXPECT_EQ(parser.WasUsed(), s.taken);
        EXPECT_NEAR(parser.m_gga.m_position.m_latitude, s.latitude, 1e-9);
        const CLineRoute route = RouteLine(kSentenceGGA, parser);
        EXPECT_EQ(route.fix.has_value(), s.taken) << "a copy moves nothing";
    }
}

TEST(AllSystemsFix, ModeSwitchStartsAfresh)
{
    CNMEAParser parser(GnssMode::AllSystems);
    parser.Parse(Sentence("GNGGA,120000,5230.0,N,01323.2,E,1,08,0.9,34.0,M,39.0,M,,"));
    parser.Parse(Sentence("GNGSA,A,3,02,05,,,,,,,,,,,1.3,0.7,1.1,1"));
    ASSERT_EQ(parser.GetSatellitesInUse(), 2);
    parser.SetMode(GnssMode::GpsOnly);
    EXPECT_EQ(parser.GetSatellitesInUse(), 0);
    EXPECT_EQ(parser.m_gga.m_quality, 0);
    EXPECT_EQ(parser.m_gga.m_position.m_latitude, 0.0) << "no position of the other mode";
    EXPECT_EQ(parser.m_gsa.m_pdopHistory.GetSize(), 0);
    EXPECT_EQ(parser.Parse(Sentence("GNGSA,A,3,02,05,,,,,,,,,,,1.3,0.7,1.1,1")), kSentenceNone);
}
