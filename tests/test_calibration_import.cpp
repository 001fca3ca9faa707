#include "maps/CalibrationImport.h"
#include "maps/MapInfo.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <numbers>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{

constexpr double kNoCheck = -1.0;

struct CTempDir {
    CTempDir() { EXPECT_NE(::mkdtemp(m_path.data()), nullptr); }
    ~CTempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    std::string operator/(const char *name) const { return m_path + "/" + name; }
    std::string m_path = ::testing::TempDir() + "veloran-calibration-XXXXXX";
};

// An Ozi .map as the program writes it; unused point slots and the trailer included.
std::string Ozi(const char *projection, const std::vector<std::string> &points,
                const char *eol = "\n",
                const char *datum = "WGS 84,WGS 84,   0.0000,   0.0000,WGS 84")
{
    std::string text = std::string("OziExplorer Map Data File Version 2.2") + eol
                       + "Stadtplan M\xFCnchen" + eol + "C:\\Karten\\city.png" + eol
                       + "1 ,Map Code," + eol + datum + eol + "Reserved 1" + eol + "Reserved 2"
                       + eol + "Magnetic Variation,,,E" + eol + "Map Projection," + projection
                       + ",PolyCal,No,AutoCalOnly,No,BSBUseWPX,No" + eol;
    for (const std::string &point : points)
        text += point + eol;
    text +=
        std::string("Point29,xy,     ,     ,in, deg,    ,        ,N,    ,        ,E, grid,   ,  "
                    "         ,           ,N")
        + eol + "Projection Setup,,,,,,,,,," + eol;
    return text;
}

std::string Kml(const char *overlay,
                const char *root = "<kml xmlns=\"http://www.opengis.net/kml/2.2\">",
                const char *end = "</kml>")
{
    return std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n") + root
           + "<Document><Folder><GroundOverlay><name>city</name><Icon><href>city.png</href></Icon>"
           + overlay + "</GroundOverlay></Folder></Document>" + end;
}

const char *const kUtmProjection = "(UTM) Universal Transverse Mercator";

} // namespace

TEST(CalibrationImport, FitsEachFormat)
{
    struct Case {
        const char *legend;
        CalibrationFormat format;
        std::string text;
        int width, height;
        double northWestLatitude, northWestLongitude, southEastLatitude, southEastLongitude;
        double degreeTolerance;
        double pixels, pixelTolerance, metres, metreTolerance; // kNoCheck skips metres
        int points;
    };
    // Expected values by hand. UTM corners: 495000/5330000 and 505000/5320000 m in zone 32N,
    // converted with a Krüger series of its own; the fit of four corners takes the mean of
    // the left and of the right longitudes.
    const Case cases[] = {
        {"Ozi lat/lon: three consistent points fit exactly", CalibrationFormat::OziMap,
         Ozi("Latitude/Longitude", {"Point01,xy,    0,    0,in, deg,  48,  10.0000,N,  11,  "
                                    "30.0000,E, grid,   ,    ,   ,N",
                                    "Point02,xy, 1200,  900,in, deg,  48,   0.0000,N,  11,  "
                                    "45.0000,E, grid,   ,    ,   ,N",
                                    "Point03,xy,  600,  450,in, deg,  48,   5.0000,N,  11,  "
                                    "37.5000,E, grid,   ,    ,   ,N",
                                    "Point04,xy,     ,     ,in, deg,    ,         ,N,    ,         "
                                    ",E, grid,   ,    ,   ,N",
                                    "IWH,Map Image Width/Height,1200,900"}),
         1200, 900, 48.0 + 10.0 / 60.0, 11.5, 48.0, 11.75, 1e-9, 0.0, 1e-6, 0.0, 0.15, 3},
        {"Ozi lat/lon, CRLF, south and west, points inside the sheet", CalibrationFormat::OziMap,
         Ozi("Latitude/Longitude",
             {"Point01,xy,  100,   50,in, deg,  33,  20.0000,S,  70,  30.0000,W, grid,   ,    ,   "
              ",S",
              "Point02,xy,  900,  450,in, deg,  33,  40.0000,S,  69,  50.0000,W, grid,   ,    ,   "
              ",S"},
             "\r\n"),
         1000, 500, -(33.0 + 17.5 / 60.0), -(70.0 + 35.0 / 60.0), -(33.0 + 42.5 / 60.0), -69.75,
         1e-9, 0.0, 1e-6, 0.0, 0.15, 2},
        {"Ozi UTM: grid fields only, 10 m pixels astride the central meridian",
         CalibrationFormat::OziMap,
         Ozi(kUtmProjection, {"Point01,xy,    0,    0,in, deg,    ,        ,N,    ,        ,E, "
                              "grid,  32,   495000,  5330000,N",
                              "Point02,xy, 1000,    0,in, deg,    ,        ,N,    ,        ,E, "
                              "grid,  32,   505000,  5330000,N",
                              "Point03,xy,    0, 1000,in, deg,    ,        ,N,    ,        ,E, "
                              "grid,  32,   495000,  5320000,N",
                              "Point04,xy, 1000, 1000,in, deg,    ,        ,N,    ,        ,E, "
                              "grid,  32,   505000,  5320000,N"}),
         1000, 1000, 48.123238479, (8.932811654 + 8.932928697) / 2, 48.033267899,
         (9.067188346 + 9.067071303) / 2, 1e-6, 0.4359, 0.01, 4.358, 0.15, 4},
        {"Ozi UTM, southern hemisphere: false northing", CalibrationFormat::OziMap,
         Ozi(kUtmProjection,
             {"Point01,xy,    0,    0,in, deg,    ,        ,S,    ,        ,W, grid,  19,   "
              "345000,  6305000,S",
              "Point02,xy, 1000, 1000,in, deg,    ,        ,S,    ,        ,W, grid,  19,   "
              "355000,  6295000,S"}),
         1000, 1000, -33.383107196, -70.666393608, -33.474667958, -70.560533268, 1e-6, 0.0, 1e-6,
         0.0, 0.15, 2},
        {"world file, north up: the file names pixel centres", CalibrationFormat::WorldFile,
         "0.0002\n0.0\n0.0\n-0.0001\n11.5001\n48.19995\n", 1000, 2000, 48.2, 11.5, 48.0, 11.7, 1e-9,
         0.0, 1e-6, 0.0, 0.15, 25},
        {"world file, rotated: misfit B·H/2/A and D·W/2/E at the corners",
         CalibrationFormat::WorldFile, "2e-4\r\n-1e-5\r\n1e-5\r\n-1e-4\r\n11.5001\r\n48.19995\r\n",
         1000, 2000, 48.195005, 11.509995, 47.995005, 11.709995, 1e-9, std::hypot(50.0, 50.0), 1e-6,
         930.0, 3.0, 25},
        {"KML LatLonBox in the default namespace", CalibrationFormat::Kml,
         Kml("<LatLonBox><north>48.2</north><south>48.0</south><east>11.7</east>"
             "<west>11.5</west><rotation>0</rotation></LatLonBox>"),
         1000, 2000, 48.2, 11.5, 48.0, 11.7, 1e-9, 0.0, 1e-6, 0.0, 0.15, 25},
        {"KML prefixed, box square on the ground at 60N turned 30 degrees: corners cos 30 in,"
         " misfit 500·√2·tan 30",
         CalibrationFormat::Kml,
         Kml("<kml:LatLonBox><kml:north> 60.05 </kml:north><kml:south>59.95</kml:south>"
             "<kml:east>10.1</kml:east><kml:west>9.9</kml:west><kml:rotation>30</kml:rotation>"
             "</kml:LatLonBox>",
             "<kml:kml xmlns:kml=\"http://www.opengis.net/kml/2.2\">", "</kml:kml>"),
         1000, 1000, 60.0 + 0.05 * std::sqrt(0.75), 10.0 - 0.1 * std::sqrt(0.75),
         60.0 - 0.05 * std::sqrt(0.75), 10.0 + 0.1 * std::sqrt(0.75), 1e-9,
         500.0 * std::sqrt(2.0) * std::tan(std::numbers::pi / 6.0), 1e-6, kNoCheck, 0.0, 25},
        {"KML LatLonBox across the antimeridian: east goes beyond 180", CalibrationFormat::Kml,
         Kml("<LatLonBox><north>10.1</north><south>10</south><east>-179.9</east>"
             "<west>179.9</west></LatLonBox>"),
         1000, 1000, 10.1, 179.9, 10.0, 180.1, 1e-9, 0.0, 1e-6, 0.0, 0.15, 25},
        {"gx:LatLonQuad, a rectangle: lower left first, counter-clockwise", CalibrationFormat::Kml,
         Kml("<gx:LatLonQuad><coordinates>11.5,48.0,0 11.7,48.0 11.7,48.2\n11.5,48.2,0"
             "</coordinates></gx:LatLonQuad>",
             "<kml xmlns=\"http://www.opengis.net/kml/2.2\" "
             "xmlns:gx=\"http://www.google.com/kml/ext/2.2\">"),
         1000, 2000, 48.2, 11.5, 48.0, 11.7, 1e-9, 0.0, 1e-6, 0.0, 0.15, 25},
        {"gx:LatLonQuad narrower at the top: left edge at the mean, W·0.01/0.18 off at corners",
         CalibrationFormat::Kml,
         Kml("<gx:LatLonQuad><coordinates>11.5,48.0 11.7,48.0 11.68,48.2 11.52,48.2"
             "</coordinates></gx:LatLonQuad>"),
         1000, 2000, 48.2, 11.51, 48.0, 11.69, 1e-9, 1000.0 / 18.0, 1e-6, kNoCheck, 0.0, 25},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CCalibrationImport result = ImportCalibration(c.text, c.format, c.width, c.height);
        ASSERT_TRUE(result.ok) << result.error;
        ASSERT_EQ(result.pairs.size(), 2u);
        EXPECT_EQ(result.pairs[0].m_point, (CMapPoint{0, 0}));
        EXPECT_EQ(result.pairs[1].m_point, (CMapPoint{c.width, c.height}));
        EXPECT_NEAR(result.pairs[0].m_position.m_latitude, c.northWestLatitude, c.degreeTolerance);
        EXPECT_NEAR(result.pairs[0].m_position.m_longitude, c.northWestLongitude,
                    c.degreeTolerance);
        EXPECT_NEAR(result.pairs[1].m_position.m_latitude, c.southEastLatitude, c.degreeTolerance);
        EXPECT_NEAR(result.pairs[1].m_position.m_longitude, c.southEastLongitude,
                    c.degreeTolerance);
        EXPECT_NEAR(result.maxErrorPixels, c.pixels, c.pixelTolerance);
        if (c.metres != kNoCheck) {
            EXPECT_NEAR(result.maxErrorMetres, c.metres, c.metreTolerance);
        }
        EXPECT_EQ(result.sourcePoints, c.points);
        EXPECT_EQ(NeedsConfirmation(result), c.pixels > 2.0);

        // The map, calibrated from the first and the last pair, shows the fitted centre.
        CMapInfo map;
        map.m_pairs = result.pairs;
        ASSERT_TRUE(map.Calibrate());
        CGeoPosition centre;
        map.PixelToPosition({c.width / 2, c.height / 2}, centre);
        EXPECT_NEAR(centre.m_latitude, (c.northWestLatitude + c.southEastLatitude) / 2, 1e-8);
        EXPECT_NEAR(centre.m_longitude, (c.northWestLongitude + c.southEastLongitude) / 2, 1e-8);
    }
}

// A box across the antimeridian: the map's longitudes run through 180 and positions on either
// side of it lie on the map.
TEST(CalibrationImport, KmlBoxAcrossTheAntimeridian)
{
    const CCalibrationImport result = ImportCalibration(
        Kml("<LatLonBox><north>10</north><south>0</south><east>-170</east><west>170</west>"
            "</LatLonBox>"),
        CalibrationFormat::Kml, 1000, 500);
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_EQ(CalibrationProblem(result.pairs), "");
    CMapInfo map;
    map.m_width = 1000;
    map.m_height = 500;
    map.m_pairs = result.pairs;
    ASSERT_TRUE(map.Calibrate());
    const struct {
        double longitude;
        bool contains;
    } cases[] = {{170.5, true},  {180.0, true},   {-180.0, true}, {-175.0, true},
                 {-170.5, true}, {-169.0, false}, {169.0, false}, {0.0, false}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.longitude);
        EXPECT_EQ(map.ContainsPosition(CGeoPosition(5.0, c.longitude, 0.0)), c.contains);
    }
    CGeoPosition east;
    ASSERT_TRUE(map.PixelToPosition({750, 250}, east));
    EXPECT_NEAR(east.m_longitude, -175.0, 1e-9);
}

TEST(CalibrationImport, RefusesWhatItCannotFit)
{
    struct Case {
        const char *legend;
        CalibrationFormat format;
        std::string text;
        int width;
        const char *error;
    };
    const std::string p1 =
        "Point01,xy,  0,  0,in, deg,  48,  10.0,N,  11,  30.0,E, grid,   ,    ,   ,N";
    const std::string p2 =
        "Point02,xy,  0,900,in, deg,  48,   0.0,N,  11,  45.0,E, grid,   ,    ,   ,N";
    const std::string p3 =
        "Point03,xy,600,450,in, deg,  nan,  0.0,N,  11,  45.0,E, grid,   ,    ,   ,N";
    const std::string utm = "Point04,xy,900,900,in, deg,    ,    ,N,    ,    ,E, grid,  32, "
                            "505000, 5320000,N";
    const Case cases[] = {
        {"no header", CalibrationFormat::OziMap, "Point01,xy,0,0\n", 100, "not an OziExplorer"},
        {"other datum", CalibrationFormat::OziMap,
         Ozi("Latitude/Longitude", {p1, p2}, "\n", "Potsdam Rauenberg DHDN,,0,0"), 100,
         "datum is not WGS 84"},
        {"no points", CalibrationFormat::OziMap, Ozi("Latitude/Longitude", {}), 100,
         "no reference points"},
        {"NaN degrees skip a point", CalibrationFormat::OziMap, Ozi("Latitude/Longitude", {p1, p3}),
         100, "only one reference point"},
        {"UTM grid on a map of another projection", CalibrationFormat::OziMap,
         Ozi("Transverse Mercator", {p1, utm}), 100, "only one reference point"},
        {"points in one column", CalibrationFormat::OziMap, Ozi("Latitude/Longitude", {p1, p2}),
         100, "one row or column"},
        {"made for a resized image", CalibrationFormat::OziMap,
         Ozi("Latitude/Longitude", {p1, p2, "IWH,Map Image Width/Height,1200,900"}), 600,
         "made for an image of 1200 x 900 pixels"},
        {"five numbers", CalibrationFormat::WorldFile, "1\n0\n0\n-1\n10\n", 100, "six numbers"},
        {"trailing junk", CalibrationFormat::WorldFile, "1\n0\n0\n-1\n10\n48x\n", 100,
         "six numbers"},
        {"nan", CalibrationFormat::WorldFile, "1\n0\n0\n-1\nnan\n48\n", 100, "six numbers"},
        {"UTM metres", CalibrationFormat::WorldFile, "10\n0\n0\n-10\n495005\n5329995\n", 100,
         "not in degrees"},
        {"turned 90 degrees", CalibrationFormat::WorldFile, "0\n-1e-4\n1e-4\n0\n11\n48\n", 100,
         "rotated too far"},
        {"no image size", CalibrationFormat::WorldFile, "1e-4\n0\n0\n-1e-4\n11\n48\n", 0,
         "no image size"},
        {"broken XML", CalibrationFormat::Kml, "<kml><GroundOverlay>", 100, "not a KML file"},
        {"no overlay", CalibrationFormat::Kml, "<kml><Document/></kml>", 100, "no GroundOverlay"},
        {"entity stays unexpanded", CalibrationFormat::Kml,
         "<!DOCTYPE kml [<!ENTITY n \"48.2\">]>"
             + Kml("<LatLonBox><north>&n;</north><south>48</south><east>12</east><west>11</west>"
                   "</LatLonBox>"),
         100, "without north"},
        {"north equals south", CalibrationFormat::Kml,
         Kml("<LatLonBox><north>48</north><south>48</south><east>12</east><west>11</west>"
             "</LatLonBox>"),
         100, "empty"},
        {"world file whose corner lies past the pole", CalibrationFormat::WorldFile,
         "1e-3\n0\n0\n-1e-3\n11\n90.5\n", 100, "not in degrees"},
        {"world file running round the earth twice", CalibrationFormat::WorldFile,
         "5.4\n0\n0\n-0.1\n-180\n45\n", 100, "off the earth"},
        {"quad of three corners", CalibrationFormat::Kml,
         Kml("<LatLonQuad><coordinates>11,48 12,48 12,49</coordinates></LatLonQuad>"), 100,
         "four corners"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CCalibrationImport result = ImportCalibration(c.text, c.format, c.width, 900);
        EXPECT_FALSE(result.ok);
        EXPECT_TRUE(result.pairs.empty());
        EXPECT_NE(result.error.find(c.error), std::string::npos) << result.error;
    }
}

TEST(CalibrationImport, FilesByExtension)
{
    const CTempDir dir;
    for (const char *name : {"city.png", "city.map", "city.PGW", "city.pngw", "city.kml",
                             "city.txt", "cityx.map", "other.jgw"})
        std::ofstream(dir / name) << "0.0002\n0\n0\n-0.0001\n11.5001\n48.19995\n";
    std::filesystem::create_directory(dir / "city.wld");
    EXPECT_EQ(FindCalibrationFiles(dir / "city.png"),
              (std::vector<std::string>{dir / "city.map", dir / "city.PGW", dir / "city.pngw",
                                        dir / "city.kml"}));
    EXPECT_TRUE(FindCalibrationFiles(dir / "none.png").empty());

    const CCalibrationImport world = ImportCalibrationFile(dir / "city.PGW", 1000, 2000);
    ASSERT_TRUE(world.ok) << world.error;
    EXPECT_NEAR(world.pairs[1].m_position.m_longitude, 11.7, 1e-9);
    EXPECT_FALSE(ImportCalibrationFile(dir / "city.txt", 1000, 2000).ok);
    EXPECT_FALSE(ImportCalibrationFile(dir / "gone.map", 1000, 2000).ok);

    EXPECT_EQ(CalibrationFormatOfPath("a/B.MAP"), CalibrationFormat::OziMap);
    EXPECT_EQ(CalibrationFormatOfPath("x.tifw"), CalibrationFormat::WorldFile);
    EXPECT_EQ(CalibrationFormatOfPath("x.kml"), CalibrationFormat::Kml);
    EXPECT_EQ(CalibrationFormatOfPath("x.kmz"), std::nullopt);
    EXPECT_EQ(CalibrationFormatOfPath("maps.kml/city"), std::nullopt);
}
