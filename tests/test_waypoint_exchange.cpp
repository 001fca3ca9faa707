#include "storage/AtomicFile.h"
#include "waypoints/WaypointExchange.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <unistd.h>

namespace
{

// A folder of the test's own, removed with everything in it.
struct CTempDir {
    CTempDir() { EXPECT_NE(::mkdtemp(m_path.data()), nullptr); }
    ~CTempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    std::string operator/(const char *name) const { return m_path + "/" + name; }
    std::string m_path = ::testing::TempDir() + "veloran-gpx-XXXXXX";
};

std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

CWaypoint Make(const char *name, double lat, double lon, const char *description = "")
{
    return {name, CGeoPosition(lat, lon, 0.0), 1.0, description, 0, 0};
}

TEST(WaypointExchange, ExportsTheGPX10Document)
{
    const CWaypointList list = {
        Make("Tom & Jerry's <\"Caf\xC3\xA9\">", 48.1173, -11.516667, "a < b"),
        Make("Gipfel", -0.0000004, 47.5)};
    EXPECT_EQ(ExportGPX(list),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<gpx version=\"1.0\" creator=\"Veloran 1.x - https://veloran.org/\" "
              "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
              "xmlns=\"http://www.topografix.com/GPX/1/0\" "
              "xsi:schemaLocation=\"http://www.topografix.com/GPX/1/0 "
              "http://www.topografix.com/GPX/1/0/gpx.xsd\">\n"
              "  <wpt lat=\"48.117300\" lon=\"-11.516667\">\n"
              "    <name>Tom &amp; Jerry's &lt;\"Caf\xC3\xA9\"&gt;</name>\n"
              "    <desc>a &lt; b</desc>\n"
              "  </wpt>\n"
              "  <wpt lat=\"-0.000000\" lon=\"47.500000\">\n"
              "    <name>Gipfel</name>\n"
              "  </wpt>\n"
              "</gpx>\n");
}

TEST(WaypointExchange, ExportThenImportKeepsTexts)
{
    // Markup characters, CDATA markers, other scripts, blanks, an empty name (no "unnamed").
    CWaypointList list = {
        Make("Tom & Jerry's <\"Caf\xC3\xA9\">", 48.1173, -11.516667, "&amp; ' \""),
        Make("\xE6\x9D\xB1\xE4\xBA\xAC", -33.856784, 151.215297,
             "\xD0\x9C\xD0\xB8\xF0\x9F\x98\x80"),
        Make("]]> <![CDATA[x", 0.0, 0.0, "\t tab and spaces "), Make("", 1.0, 2.0),
        Make(" ", 3.0, 4.0, "\n")};
    CWaypointList expected = list;
    // What no XML character can be comes back as U+FFFD.
    list.push_back(Make("bell\x07 \xFF", 5.0, 6.0, "nul\x01"));
    expected.push_back(Make("bell\uFFFD \uFFFD", 5.0, 6.0, "nul\uFFFD"));
    const CImportResult result = ImportWaypointsFromText(ExportGPX(list), WaypointFileType::GPX);
    ASSERT_EQ(result.status, ImportStatus::Ok) << result.detail;
    ASSERT_EQ(result.waypoints.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_TRUE(result.waypoints[i] == expected[i])
            << i << ": '" << result.waypoints[i].m_name << "' '"
            << result.waypoints[i].m_description << "'";
}

TEST(WaypointExchange, ImportsByElementNames)
{
    // Below U+0100 a UTF-16LE code unit is the Latin-1 byte and a zero.
    std::string utf16 = "\xFF\xFE", opens, closes;
    for (const char c : std::string("<gpx><wpt lat='1' lon='2'><name>\xC4</name></wpt></gpx>"))
        utf16 += std::string{c, '\0'};
    for (int i = 0; i < 100000; ++i) {
        opens += "<b>";
        closes += "</b>";
    }
    using enum WaypointFileType;
    const struct {
        WaypointFileType type;
        std::string text;
        const char *imported, *legend; // how many, the first one's name; or "load failed"
    } cases[] = {
        {GPX, "<g:gpx xmlns:g='http://www.topografix.com/GPX/1/1'><g:wpt lat='1' lon='2'/></g:gpx>",
         "0", "a prefixed root is no /gpx"},
        {GPX, "<gpx><wpt lat='1'><name>a</wpt></gpx>", "load failed", "mismatched end tag"},
        {GPX, utf16, "1 \xC3\x84", "UTF-16 with BOM"},
        {GPX,
         "<?xml version='1.0' encoding='ISO-8859-1'?><gpx><wpt><name>Caf\xE9</name></wpt></gpx>",
         "1 Caf\xC3\xA9", "ISO-8859-1 as declared"},
        {GPX, "<gpx><wpt><name>a<![CDATA[<b>]]><i>c</i>d<!-- x --></name></wpt></gpx>", "1 a<b>cd",
         "text, CDATA and nested text in order, no comment"},
        {GPX, "<gpx><wpt><name>" + opens + "deep" + closes + "</name></wpt></gpx>", "1 deep",
         "text 100,000 levels down: no recursion to overflow the stack"},
        {LOC, "<loc xmlns='urn:x'><waypoint><name>x</name></waypoint></loc>", "1 x",
         "LOC with a default namespace"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        const CImportResult r = ImportWaypointsFromText(c.text, c.type);
        // A failure comes with its reason, a success without.
        EXPECT_EQ(r.detail.empty(), r.status == ImportStatus::Ok) << r.detail;
        const std::string first = r.waypoints.empty() ? "" : " " + r.waypoints[0].m_name;
        EXPECT_EQ(r.status == ImportStatus::LoadFailed ? "load failed"
                  : r.status == ImportStatus::Ok       ? std::to_string(r.waypoints.size()) + first
                                                       : "select failed",
                  c.imported);
    }
}

TEST(WaypointExchange, FileBeyondTheSizeLimitIsRefused)
{
    const CTempDir dir;
    std::ofstream(dir / "big.gpx").close();
    ASSERT_EQ(::truncate((dir / "big.gpx").c_str(), (64 << 20) + 1), 0); // sparse: never read
    const CImportResult result = ImportWaypoints(dir / "big.gpx", WaypointFileType::GPX);
    EXPECT_TRUE(result.status == ImportStatus::LoadFailed && result.detail == std::strerror(EFBIG))
        << result.detail;
}

TEST(WaypointExchange, FailedExportLeavesTheOldFile)
{
    const CTempDir dir;
    const std::string path = dir / "out.gpx";
    const CWaypointList list = {Make("A", 1.0, 2.0), Make("B", 3.0, 4.0, "d")};
    ASSERT_EQ(ExportGPXFile(path, {Make("old", 0.0, 0.0)}), 0);
    const std::string old = ReadFile(path);
    const CWriteFault fault{100, ENOSPC};
    EXPECT_EQ(ExportGPXFile(path, list, &fault), ENOSPC);
    EXPECT_EQ(ReadFile(path), old);
    EXPECT_EQ(ExportGPXFile(path, list), 0);
    EXPECT_EQ(ReadFile(path), ExportGPX(list));
}

} // namespace
