#include "NMEATestUtils.h"
#include "nmea/NMEAFields.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{

struct SplitCase {
    std::string line;
    int count;                       // Split's result
    std::vector<std::string> fields; // checked when not empty
    const char *legend;
};

} // namespace

TEST(NMEAFieldsSplit, ChecksumWalk)
{
    const std::string gga = "$GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*47";
    const SplitCase cases[] = {
        {gga + "\r\n", 15, {}, "valid checksum, CR LF"},
        {"$A,B*2F\r\n", 2, {"$A", "B"}, "upper-case hex digits"},
        {Sentence("GPRMC,1,A"), 3, {"$GPRMC", "1", "A"}, "builder"},
        {"$GPVTG,a,b*51\r\n", 3, {"$GPVTG", "a", "b"}, "unknown tags are split all the same"},
        {"$GPVTG,a,b*5f\r\n", 0, {}, "lower-case digits, wrong value"},
        {"$A,B*2f\r\n", 2, {"$A", "B"}, "lower-case hex digits"},
        {gga.substr(0, gga.size() - 2) + "48\r\n", 0, {}, "wrong checksum"},
        {gga + "\n", 0, {}, "checksum without CR is never terminated"},
        {gga, 0, {}, "checksum at end of line"},
        {"$GPGGA,1,2\r\n", 3, {"$GPGGA", "1", "2"}, "no asterisk: accepted unchecked"},
        {"$GPGGA,1,2\n", 2, {"$GPGGA", "1"}, "no CR: the last field is lost"},
        {"junk$GPGGA,1\r\n", 2, {"$GPGGA", "1"}, "text before $ is skipped"},
        {"$", 0, {}, "$ alone"},
        {"$G", 0, {}, "$ and one character: no delimiter, no field"},
        {"$\r\n", 1, {"$"}, "empty tag"},
        {"no dollar\r\n", 0, {}, "no $"},
        {"$A,,B,\r\n", 4, {"$A", "", "B", ""}, "empty fields are kept"},
        {Sentence("A,B") + "garbage", 2, {"$A", "B"}, "text after the checksum is ignored"},
        {"$A,B*\r\n", 0, {}, "empty checksum field"},
        {"$A,B*2F,\r\n", 2, {"$A", "B"}, "comma ends the checksum field"},
        {"$A*0x41\r\n", 1, {"$A"}, "checksum read the way %X reads it"},
        {"$A* 41\r\n", 1, {"$A"}, "blank before the checksum digits"},
        {"$A*141\r\n", 0, {}, "checksum wider than a byte"},
        {"$A*2A*\r\n", 0, {}, "second asterisk ends the checksum field"},
        {"$\xC4\xD6*12\r\n", 1, {"$\xC4\xD6"}, "bytes above 0x7F are folded as bytes"},
    };
    for (const SplitCase &c : cases) {
        SCOPED_TRACE(c.legend);
        CNMEAFields f;
        EXPECT_EQ(f.Split(c.line), c.count);
        if (!c.fields.empty()) {
            ASSERT_EQ(f.GetCount(), static_cast<int>(c.fields.size()));
            for (std::size_t i = 0; i < c.fields.size(); ++i)
                EXPECT_EQ(f.GetField(static_cast<int>(i)), c.fields[i]) << "field " << i;
        }
    }
}

TEST(NMEAFieldsSplit, KeepsComputedChecksumOfLastLineWithAsterisk)
{
    CNMEAFields f;
    ASSERT_EQ(f.Split("$A*41\r\n"), 1);
    EXPECT_EQ(f.GetChecksum(), 0x41U);
    ASSERT_EQ(f.Split("$B,1\r\n"), 2);
    EXPECT_EQ(f.GetChecksum(), 0x41U) << "a line without * leaves it";
    EXPECT_EQ(f.Split("$B*00\r\n"), 0);
    EXPECT_EQ(f.GetChecksum(), static_cast<unsigned>('B'));
}

TEST(NMEAFieldsSplit, OutOfRangeFieldsAreEmpty)
{
    CNMEAFields f;
    ASSERT_EQ(f.Split("$A,x\r\n"), 2);
    EXPECT_EQ(f.GetField(-1), "");
    EXPECT_EQ(f.GetField(2), "");
    EXPECT_EQ(f.GetField(1), "x");
    double d = 5.0;
    EXPECT_EQ(f.ReadDouble(7, d), -1) << "a missing field reads as end of input";
    EXPECT_EQ(d, 5.0);
}
