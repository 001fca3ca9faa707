#include "nmea/LineAssembler.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace
{

std::vector<std::string> Cut(const std::string &bytes, std::size_t chunk, std::size_t *pending)
{
    CLineAssembler a;
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < bytes.size(); i += chunk)
        a.Feed(std::string_view(bytes).substr(i, chunk),
               [&](std::string_view line) { lines.emplace_back(line); });
    *pending = a.GetPending();
    return lines;
}

struct Case {
    std::string bytes;
    std::vector<std::string> lines;
    std::size_t pending;
    const char *legend;
};

} // namespace

TEST(LineAssembler, CutsLikeTheReader)
{
    const std::string s81(81, 'a');
    const std::string s82(82, 'b');
    const Case cases[] = {
        {"$GPGGA,1\r\n$GPRMC,2\r\n", {"$GPGGA,1\r\n", "$GPRMC,2\r\n"}, 0, "two lines"},
        {"\n", {"\n"}, 0, "a lone line feed is a line"},
        {"\n\n", {"\n", "\n"}, 0, "two empty lines"},
        {s81 + "\n", {s81 + "\n"}, 0, "82 bytes ending in the line feed"},
        {s82, {s82}, 0, "82 bytes without line feed end a line"},
        {s82 + "\n", {s82, "\n"}, 0, "the line feed after 82 bytes is a line of its own"},
        {s82 + "xy\r\n", {s82, "xy\r\n"}, 0, "long line split after 82 bytes"},
        {std::string(200, 'c'),
         {std::string(82, 'c'), std::string(82, 'c')},
         36,
         "two full pieces, the rest waits"},
        {"$GPGGA", {}, 6, "unfinished last line is not a line"},
        {std::string("ab\0cd\n", 6), {"ab"}, 0, "a NUL cuts the line as a C string"},
        {std::string("\0\n", 2), {""}, 0, "a line starting with NUL is empty"},
    };
    for (const Case &c : cases) {
        for (std::size_t chunk : {std::size_t{1}, std::size_t{3}, std::size_t{4096}}) {
            SCOPED_TRACE(std::string(c.legend) + ", chunk " + std::to_string(chunk));
            std::size_t pending = 0;
            EXPECT_EQ(Cut(c.bytes, chunk, &pending), c.lines);
            EXPECT_EQ(pending, c.pending);
        }
    }
}

TEST(LineAssembler, FullPieceTerminatorLandsAtIndex83)
{
    CLineAssembler a;
    a.Feed(std::string(82, 'x'), [](std::string_view) {});
    const char *buffer = a.GetBuffer();
    EXPECT_EQ(buffer[81], 'x');
    EXPECT_EQ(buffer[82], '\0') << "never written by data";
    EXPECT_EQ(buffer[83], '\0');
    // A short line after it leaves stale bytes behind its own terminator; pacing reads index 4.
    a.Feed("$GPGGA\n", [](std::string_view) {});
    a.Feed("\n", [](std::string_view) {});
    EXPECT_EQ(buffer[0], '\n');
    EXPECT_EQ(buffer[1], '\0');
    EXPECT_EQ(buffer[4], 'G');
}
