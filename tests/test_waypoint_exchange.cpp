#include "waypoints/AtomicFile.h"
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

namespace fs = std::filesystem;

class CTempDir
{
public:
    CTempDir()
    {
        std::string pattern = ::testing::TempDir() + "veloran-gpx-XXXXXX";
        if (::mkdtemp(pattern.data()) != nullptr)
            m_path = pattern;
    }
    ~CTempDir()
    {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    CTempDir(const CTempDir &) = delete;
    CTempDir &operator=(const CTempDir &) = delete;

    [[nodiscard]] std::string operator/(const char *name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

CWaypoint Make(const char *name, double lat, double lon, const char *description = "")
{
    CWaypoint w;
    w.m_name = name;
    w.m_position = CGeoPosition(lat, lon, 0.0);
    w.m_description = description;
    return w;
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
    EXPECT_EQ(ExportedMessage(2), "2 waypoints successfully exported.");
    EXPECT_EQ(ImportedMessage(0), "0 waypoint(s) successfully imported.");
}

TEST(WaypointExchange, ExportThenImportKeepsTexts)
{
    struct Case {
        const char *name, *description, *importedName, *importedDescription, *legend;
    };
    const Case cases[] = {
        {"Tom & Jerry's <\"Caf\xC3\xA9\">", "&amp; ' \"", nullptr, nullptr, "markup characters"},
        {"\xE6\x9D\xB1\xE4\xBA\xAC", "\xD0\x9C\xD0\xB8\xD0\xBD\xF0\x9F\x98\x80", nullptr, nullptr,
         "Japanese, Cyrillic and an emoji"},
        {"]]> <![CDATA[x", "\t tab and spaces ", nullptr, nullptr, "CDATA markers, whitespace"},
        {"", "", nullptr, nullptr, "an empty name stays empty, not \"unnamed\""},
        {" ", "\n", nullptr, nullptr, "blanks alone"},
        {"bell\x07 \xFF", "nul\x01", "bell\xEF\xBF\xBD \xEF\xBF\xBD", "nul\xEF\xBF\xBD",
         "no XML character: U+FFFD"},
    };
    CWaypointList list;
    for (const Case &c : cases)
        list.push_back(Make(c.name, -33.8567844, 151.2152967, c.description));
    list.push_back(Make("far", 89.9999996, -179.9999994));

    const CImportResult result = ImportWaypointsFromText(ExportGPX(list), WaypointFileType::GPX);
    ASSERT_EQ(result.status, ImportStatus::Ok) << result.detail;
    ASSERT_EQ(result.waypoints.size(), list.size());
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const Case &c = cases[i];
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(result.waypoints[i].m_name, c.importedName ? c.importedName : c.name);
        EXPECT_EQ(result.waypoints[i].m_description,
                  c.importedDescription ? c.importedDescription : c.description);
        EXPECT_EQ(result.waypoints[i].m_position, CGeoPosition(-33.856784, 151.215297, 0.0));
    }
    EXPECT_EQ(result.waypoints.back().m_position, CGeoPosition(90.0, -179.999999, 0.0));
}

TEST(WaypointExchange, ImportsByElementNames)
{
    std::string utf16 = "\xFF\xFE";
    // Below U+0100 a UTF-16LE code unit is the Latin-1 byte and a zero.
    for (const char c : std::string("<gpx><wpt lat='1' lon='2'><name>\xC4</name></wpt></gpx>")) {
        utf16 += c;
        utf16 += '\0';
    }
    std::string deep = "<gpx><wpt><name>";
    for (int i = 0; i < 100000; ++i)
        deep += "<b>";
    deep += "deep";
    for (int i = 0; i < 100000; ++i)
        deep += "</b>";
    deep += "</name></wpt></gpx>";

    struct Case {
        WaypointFileType type;
        std::string text;
        ImportStatus status;
        std::size_t count;
        const char *name;
        const char *legend;
    };
    const Case cases[] = {
        {WaypointFileType::GPX,
         "<g:gpx xmlns:g='http://www.topografix.com/GPX/1/1'>"
         "<g:wpt lat='1' lon='2'/></g:gpx>",
         ImportStatus::Ok, 0, nullptr, "a prefixed root is no /gpx"},
        {WaypointFileType::GPX, "<gpx><wpt lat='1'><name>a</wpt></gpx>", ImportStatus::LoadFailed,
         0, nullptr, "mismatched end tag"},
        {WaypointFileType::GPX, utf16, ImportStatus::Ok, 1, "\xC3\x84", "UTF-16 with BOM"},
        {WaypointFileType::GPX,
         "<?xml version='1.0' encoding='ISO-8859-1'?><gpx><wpt><name>Caf\xE9</name></wpt></gpx>",
         ImportStatus::Ok, 1, "Caf\xC3\xA9", "ISO-8859-1 as declared"},
        {WaypointFileType::GPX,
         "<gpx><wpt><name>a<![CDATA[<b>]]><i>c</i>d<!-- x --></name></wpt></gpx>", ImportStatus::Ok,
         1, "a<b>cd", "text, CDATA and nested text in order, no comment"},
        {WaypointFileType::GPX, deep, ImportStatus::Ok, 1, "deep",
         "text 100,000 levels down: no recursion to overflow the stack"},
        {WaypointFileType::GPX, "<loc><waypoint><name>x</name></waypoint></loc>", ImportStatus::Ok,
         0, nullptr, "a LOC file read as GPX"},
        {WaypointFileType::LOC, "<loc xmlns='urn:x'><waypoint><name>x</name></waypoint></loc>",
         ImportStatus::Ok, 1, "x", "LOC with a default namespace"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CImportResult result = ImportWaypointsFromText(c.text, c.type);
        EXPECT_EQ(result.status, c.status);
        EXPECT_EQ(result.detail.empty(), c.status == ImportStatus::Ok) << result.detail;
        ASSERT_EQ(result.waypoints.size(), c.count);
        if (c.name != nullptr) {
            EXPECT_EQ(result.waypoints.front().m_name, c.name);
        }
    }
}

TEST(WaypointExchange, FilesThatDoNotLoad)
{
    const CTempDir dir;
    const std::string big = dir / "big.gpx";
    // A sparse file past the size limit: refused before a byte is read.
    std::ofstream(big).close();
    ASSERT_EQ(::truncate(big.c_str(), (64 << 20) + 1), 0);
    struct Case {
        std::string path;
        int error;
    };
    for (const Case &c : {Case{dir / "missing.gpx", ENOENT}, Case{big, EFBIG}}) {
        SCOPED_TRACE(c.path);
        const CImportResult result = ImportWaypoints(c.path, WaypointFileType::GPX);
        EXPECT_EQ(result.status, ImportStatus::LoadFailed);
        EXPECT_EQ(result.detail, std::strerror(c.error));
    }
}

TEST(WaypointExchange, FailedExportLeavesTheOldFile)
{
    const CTempDir dir;
    const std::string path = dir / "out.gpx";
    const CWaypointList list = {Make("A", 1.0, 2.0), Make("B", 3.0, 4.0, "d")};
    ASSERT_EQ(ExportGPXFile(path, {Make("old", 0.0, 0.0)}), 0);
    const std::string old = ReadFile(path);

    const CWriteFault fault{100, 28};
    EXPECT_EQ(ExportGPXFile(path, list, &fault), 28);
    EXPECT_EQ(ReadFile(path), old);
    EXPECT_EQ(ExportGPXFile(path, list), 0);
    EXPECT_EQ(ReadFile(path), ExportGPX(list));
}

} // namespace
