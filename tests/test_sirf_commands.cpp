#include "FileTestUtils.h"
#include "receiver/ReceiverBytes.h"
#include "receiver/SirfCommands.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{

constexpr std::time_t kWeek1024 = 935280000; // 1999-08-22 00:00:00 UTC
constexpr std::time_t kWeek = 7 * 86400;

} // namespace

TEST(SirfCommands, ProgramChipsetLines)
{
    const std::vector<std::string> expected = {
        "$PSRF103,00,00,01,01*25\r\n", "$PSRF103,04,00,01,01*21\r\n", "$PSRF103,05,00,01,01*20\r\n",
        "$PSRF103,02,00,04,01*22\r\n", "$PSRF103,03,00,04,01*23\r\n",
    };
    EXPECT_EQ(ProgramChipsetCommands(), expected);

    std::vector<std::string> written;
    EXPECT_TRUE(SendProgramChipset([&](std::string_view bytes) {
        written.emplace_back(bytes);
        return true;
    }));
    EXPECT_EQ(written, expected) << "one write per command, in this order";
}

TEST(SirfCommands, ChecksumCoversOnlyWhatFollowsTheDollar)
{
    const struct {
        const char *body, *text, *legend;
    } cases[] = {
        {"$A", "$A*41\r\n", "with the '$' it would be 65"},
        {"$", "$*00\r\n", "nothing to sum"},
        {"$PSRF103,00,00,01,01", "$PSRF103,00,00,01,01*25\r\n", "two hex digits, upper case"},
        {"$PSRF103,04,00,01,01", "$PSRF103,04,00,01,01*21\r\n", "leading zero"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(WithSirfChecksum(c.body), c.text);
    }
}

// Weeks by hand: GPS week 2048 began on Sunday 2019-04-07, 2026-03-15 is 2534 days = 362 weeks
// later, also a Sunday.
TEST(SirfCommands, GpsWeekAndTimeOfWeek)
{
    const struct {
        std::time_t utc;
        std::int64_t week, timeOfWeek;
        const char *legend;
    } cases[] = {
        {kWeek1024, 1024, 0, "1999-08-22 00:00:00"},
        {kWeek1024 + kWeek - 1, 1024, 604799, "last second of week 1024"},
        {kWeek1024 + kWeek, 1025, 0, "one week later"},
        {kWeek1024 + 3 * kWeek + 86400 + 61, 1027, 86461, "Monday 00:01:01 of week 1027"},
        {1773578096, 2410, 45296, "2026-03-15 12:34:56"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        const CGpsWeekTime t = GpsWeekTime(c.utc);
        EXPECT_EQ(t.week, c.week);
        EXPECT_EQ(t.timeOfWeek, c.timeOfWeek);
    }
}

// Hot Connect: the same line twice, one write each; the altitude is always 500 m.
TEST(SirfCommands, HotConnectLines)
{
    const struct {
        double latitude, longitude;
        std::time_t utc;
        const char *line, *legend;
    } cases[] = {
        {48.15, 11.62, kWeek1024, "$PSRF104,48.150000,11.620000,500,0,0,1024,12,3*2C\r\n",
         "start of week 1024"},
        {-33.8567891, 151.2151234, 1773578096,
         "$PSRF104,-33.856789,151.215123,500,0,45296,2410,12,3*3F\r\n",
         "south and east, six decimals, 2026"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        std::vector<std::string> written;
        EXPECT_TRUE(SendHotConnect(
            [&](std::string_view bytes) {
                written.emplace_back(bytes);
                return true;
            },
            c.latitude, c.longitude, c.utc));
        EXPECT_EQ(written, std::vector<std::string>(2, c.line));
    }
    EXPECT_EQ(CSirfNavInitCommand(0, 0, {}).GetAltitudeMeters(), 500.0);
}

// Binary message 129 as the protocol lays it out: the rates and checksum flags of the ten NMEA
// messages, the speed big-endian, the 15-bit sum; a frame the speed hunt reads as SiRF binary.
TEST(SirfCommands, SwitchToNmeaFrame)
{
    const std::string expected = FromHex("A0 A2 00 18 81 02 01 01 00 01 01 01 05 01 01 01 01 01 "
                                         "00 01 00 01 00 01 00 01 12 C0 01 68 B0 B3");
    EXPECT_EQ(SirfSwitchToNmeaFrame(4800), expected);
    EXPECT_EQ(SirfSwitchToNmeaFrame(9600).substr(26, 2), FromHex("25 80"));
    EXPECT_EQ(ClassifyReceiverBytes(SirfSwitchToNmeaFrame(4800)), StreamKind::SirfBinary);
}
