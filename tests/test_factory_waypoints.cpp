#include "FileTestUtils.h"
#include "storage/ProgramDatabases.h"
#include "waypoints/FactoryWaypoints.h"
#include "waypoints/WaypointDatabase.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace
{

CWaypoint City(const char *name, double latitude, double longitude, const char *country)
{
    CWaypoint w;
    w.m_name = name;
    w.m_position = CGeoPosition(latitude, longitude, 0.0);
    w.m_radius = kCityRadiusSeconds;
    w.m_description = country;
    return w;
}

} // namespace

TEST(FactoryWaypoints, CityListLines)
{
    struct Case {
        const char *text;
        CWaypointList expected;
        const char *legend;
    };
    const Case cases[] = {
        {"# header\nBerlin\t52.53\t13.42\tGermany\n",
         {City("Berlin", 52.53, 13.42, "Germany")},
         "a comment and a city"},
        {"S\xC3\xA3o Paulo\t-23.55\t-46.65\tBrazil\r\nApia\t-13.80\t-171.75\n",
         {City("S\xC3\xA3o Paulo", -23.55, -46.65, "Brazil"), City("Apia", -13.8, -171.75, "")},
         "UTF-8 name, CR LF, no country, no final line end"},
        {"\n\nPole\t90\t180\tnowhere", {City("Pole", 90.0, 180.0, "nowhere")}, "the limits hold"},
        {"A\t91\t0\tx\nB\t0\t-180.5\tx\nC\t4x\t0\tx\nD\t1\nE\t\t1\tx\n\t1\t1\tx\nF\tnan\t1\t",
         {},
         "off the earth, typos, too few fields, no number, no name"},
        {"", {}, "empty"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(ParseCityList(c.text), c.expected);
    }
}

// Written only where neither database is; what is written reads back as the list.
TEST(FactoryWaypoints, InstalledOnceWhenNoDatabaseIsThere)
{
    const CWaypointList cities = {City("Berlin", 52.53, 13.42, "Germany"),
                                  City("Quito", -0.23, -78.5, "Ecuador")};
    const struct {
        const char *existing;
        bool written;
        const char *legend;
    } cases[] = {
        {nullptr, true, "a new data folder"},
        {kWaypointFileName, false, "the user's own database"},
        {kWorldpointFileName, false, "an earlier factory file, even an emptied one"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CTempDir dir;
        if (c.existing)
            WriteFile(dir / c.existing, "");
        bool written = !c.written;
        ASSERT_EQ(InstallWorldpointDatabase(dir.m_path, cities, &written), 0);
        EXPECT_EQ(written, c.written);
        const CWaypointLoad load = LoadWaypointDatabase(dir.m_path);
        EXPECT_EQ(load.waypoints, c.written ? cities : CWaypointList{});
        EXPECT_EQ(std::filesystem::exists(dir / kWaypointFileName),
                  c.existing == kWaypointFileName);
    }

    // A link to nowhere is the user's; replacing it could write where the link points.
    CTempDir dir;
    std::filesystem::create_symlink(dir / "gone.wdb", dir / kWaypointFileName);
    bool written = true;
    EXPECT_EQ(InstallWorldpointDatabase(dir.m_path, cities, &written), 0);
    EXPECT_FALSE(written);
    EXPECT_FALSE(std::filesystem::exists(dir / kWorldpointFileName));

    // A folder it cannot write to: the errno, nothing claimed written.
    CTempDir locked;
    ASSERT_EQ(::chmod(locked.m_path.c_str(), 0500), 0);
    if (::access((locked / "").c_str(), W_OK) != 0) {
        EXPECT_NE(InstallWorldpointDatabase(locked.m_path, cities, &written), 0);
        EXPECT_FALSE(written);
    }
    ::chmod(locked.m_path.c_str(), 0700);
}

// The file the program carries reads as the cities it was made from.
TEST(FactoryWaypoints, TheShippedListReads)
{
    const std::string text = ReadFile(VELORAN_CITY_LIST);
    const CWaypointList cities = ParseCityList(text);
    EXPECT_GT(cities.size(), 100u);
    std::size_t cityLines = 0;
    for (std::size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
        if (text[at] != '#')
            ++cityLines;
        if (text.find('\n', at) == std::string::npos)
            break;
    }
    EXPECT_EQ(cities.size(), cityLines) << "every line that is no comment is a city";
    EXPECT_EQ(cities.front().m_name, "Ad-Dawhah");
    EXPECT_EQ(CheckWaypointLimits(cities), 0);
}
