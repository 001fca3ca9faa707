#include "maps/CalibrationImport.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace
{

CGeoTiffKeys Geographic(int width, int height, std::vector<double> tiepoints,
                        std::vector<double> scale)
{
    CGeoTiffKeys keys;
    keys.width = width;
    keys.height = height;
    keys.modelType = 2;
    keys.rasterType = 1;
    keys.geographicType = 4326;
    keys.angularUnits = 9102;
    keys.tiepoints = std::move(tiepoints);
    keys.pixelScale = std::move(scale);
    return keys;
}

CGeoTiffKeys Utm(int epsg, int width, int height, std::vector<double> tiepoints,
                 std::vector<double> scale)
{
    CGeoTiffKeys keys = Geographic(width, height, std::move(tiepoints), std::move(scale));
    keys.modelType = 1;
    keys.geographicType = 0;
    keys.projectedType = epsg;
    keys.linearUnits = 9001;
    return keys;
}

template <typename Change> CGeoTiffKeys With(CGeoTiffKeys keys, Change change)
{
    change(keys);
    return keys;
}

// 600 × 400 pixels of 0.001° × 0.0005° from 11.0° E, 48.5° N.
const CGeoTiffKeys kCity = Geographic(600, 400, {0, 0, 0, 11.0, 48.5, 0}, {0.001, 0.0005, 0});

} // namespace

TEST(GeoTiffCalibration, FitsTheGeoreferencing)
{
    struct Case {
        const char *legend;
        CGeoTiffKeys keys;
        double northWestLatitude, northWestLongitude, southEastLatitude, southEastLongitude;
        double degreeTolerance;
        double maxPixels; // the fit's worst misfit must lie at or below this
    };
    // UTM corners from PROJ (gdaltransform -s_srs EPSG:32632 / EPSG:32733 -t_srs EPSG:4326).
    const Case cases[] = {
        {"tiepoint and scale, pixels are areas", kCity, 48.5, 11.0, 48.3, 11.6, 1e-12, 1e-9},
        {"pixels are points: the tiepoint names the first pixel's centre",
         With(kCity, [](CGeoTiffKeys &k) { k.rasterType = 2; }), 48.50025, 10.9995, 48.30025,
         11.5995, 1e-12, 1e-9},
        {"raster type missing counts as areas",
         With(kCity, [](CGeoTiffKeys &k) { k.rasterType = 0; }), 48.5, 11.0, 48.3, 11.6, 1e-12,
         1e-9},
        {"tiepoint inside the image",
         With(kCity, [](CGeoTiffKeys &k) { k.tiepoints = {100, 50, 0, 11.1, 48.475, 0}; }), 48.5,
         11.0, 48.3, 11.6, 1e-12, 1e-9},
        {"transformation matrix",
         With(kCity,
              [](CGeoTiffKeys &k) {
                  k.tiepoints.clear();
                  k.pixelScale.clear();
                  k.transformation = {0.001, 0, 0, 11.0, 0, -0.0005, 0, 48.5,
                                      0,     0, 0, 0,    0, 0,       0, 1};
              }),
         48.5, 11.0, 48.3, 11.6, 1e-12, 1e-9},
        {"the transformation wins over tiepoint and scale",
         With(kCity,
              [](CGeoTiffKeys &k) {
                  k.tiepoints = {0, 0, 0, 50.0, 10.0, 0};
                  k.transformation = {0.001, 0, 0, 11.0, 0, -0.0005, 0, 48.5,
                                      0,     0, 0, 0,    0, 0,       0, 1};
              }),
         48.5, 11.0, 48.3, 11.6, 1e-12, 1e-9},
        {"three tiepoints alone are reference points",
         With(kCity,
              [](CGeoTiffKeys &k) {
                  k.pixelScale.clear();
                  k.tiepoints = {0,    0,    0, 11.0, 48.5, 0, 600,  400,   0,
                                 11.6, 48.3, 0, 300,  100,  0, 11.3, 48.45, 0};
              }),
         48.5, 11.0, 48.3, 11.6, 1e-12, 1e-9},
        {"user-defined system on the WGS 84 datum",
         With(kCity,
              [](CGeoTiffKeys &k) {
                  k.geographicType = 32767;
                  k.geodeticDatum = 6326;
              }),
         48.5, 11.0, 48.3, 11.6, 1e-12, 1e-9},
        {"the whole earth: its edges on the poles and the antimeridian despite rounding",
         Geographic(2048, 1024, {0, 0, 0, -180, 90, 0}, {0.17578125, 0.17578125, 0}), 90, -180, -90,
         180, 1e-9, 1e-6},
        {"UTM 32N, 10 m pixels astride the central meridian",
         Utm(32632, 1000, 1000, {0, 0, 0, 495000, 5330000, 0}, {10, 10, 0}), 48.1232, 8.9328,
         48.0333, 9.0671, 2e-4, 2.0},
        {"UTM 33S: the southern hemisphere's false northing",
         Utm(32733, 1000, 1000, {0, 0, 0, 300000, 7000000, 0}, {100, 100, 0}), -27.1080, 12.9825,
         -28.0215, 13.9828, 0.05, 50.0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CCalibrationImport import = ImportGeoTiff(c.keys);
        ASSERT_TRUE(import.ok) << import.error;
        ASSERT_EQ(import.pairs.size(), 2u);
        EXPECT_EQ(import.pairs[0].m_point.x, 0);
        EXPECT_EQ(import.pairs[0].m_point.y, 0);
        EXPECT_EQ(import.pairs[1].m_point.x, c.keys.width);
        EXPECT_EQ(import.pairs[1].m_point.y, c.keys.height);
        EXPECT_NEAR(import.pairs[0].m_position.m_latitude, c.northWestLatitude, c.degreeTolerance);
        EXPECT_NEAR(import.pairs[0].m_position.m_longitude, c.northWestLongitude,
                    c.degreeTolerance);
        EXPECT_NEAR(import.pairs[1].m_position.m_latitude, c.southEastLatitude, c.degreeTolerance);
        EXPECT_NEAR(import.pairs[1].m_position.m_longitude, c.southEastLongitude,
                    c.degreeTolerance);
        EXPECT_LE(import.maxErrorPixels, c.maxPixels);
    }
}

// A sheet turned on the page fits only as well as the model allows: the misfit says how badly,
// and the same confirmation as for an imported calibration file follows.
TEST(GeoTiffCalibration, RotationShowsInTheMisfit)
{
    const double turn = 5.0 * std::acos(-1.0) / 180.0;
    const double c = std::cos(turn) * 0.001, s = std::sin(turn) * 0.001;
    const CGeoTiffKeys keys = With(kCity, [&](CGeoTiffKeys &k) {
        k.tiepoints.clear();
        k.transformation = {c, s, 0, 11.0, s, -c, 0, 48.5, 0, 0, 0, 0, 0, 0, 0, 1};
    });
    const CCalibrationImport import = ImportGeoTiff(keys);
    ASSERT_TRUE(import.ok) << import.error;
    EXPECT_TRUE(NeedsConfirmation(import));
    // As for a rotated world file: the corners miss by tan 5° times half the other side.
    EXPECT_NEAR(import.maxErrorPixels, std::hypot(std::tan(turn) * 200, std::tan(turn) * 300),
                1e-6);
    EXPECT_FALSE(NeedsConfirmation(ImportGeoTiff(kCity)));
}

TEST(GeoTiffCalibration, RefusesWhatItCannotPlace)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        const char *legend;
        CGeoTiffKeys keys;
        const char *error;
    };
    const Case cases[] = {
        {"no size", With(kCity, [](CGeoTiffKeys &k) { k.width = 0; }), "no image size"},
        {"no keys at all", With(CGeoTiffKeys{}, [](CGeoTiffKeys &k) { k.width = k.height = 9; }),
         "no georeferencing"},
        {"keys but no tags",
         With(kCity,
              [](CGeoTiffKeys &k) {
                  k.tiepoints.clear();
                  k.pixelScale.clear();
              }),
         "no georeferencing"},
        {"geocentric", With(kCity, [](CGeoTiffKeys &k) { k.modelType = 3; }),
         "model type 3 is neither latitude/longitude nor a projection"},
        {"ETRS89", With(kCity, [](CGeoTiffKeys &k) { k.geographicType = 4258; }),
         "coordinate system EPSG:4258 is not WGS 84"},
        {"user-defined system on another datum",
         With(kCity,
              [](CGeoTiffKeys &k) {
                  k.geographicType = 32767;
                  k.geodeticDatum = 6258;
              }),
         "datum is not WGS 84"},
        {"geographic without a system", With(kCity, [](CGeoTiffKeys &k) { k.geographicType = 0; }),
         "no geographic coordinate system"},
        {"grads", With(kCity, [](CGeoTiffKeys &k) { k.angularUnits = 9105; }),
         "angles are not in degrees"},
        {"LAEA Europe", Utm(3035, 100, 100, {0, 0, 0, 4e6, 3e6, 0}, {10, 10, 0}),
         "projection EPSG:3035 is not UTM on WGS 84"},
        {"UTM on ETRS89", Utm(25832, 100, 100, {0, 0, 0, 5e5, 5e6, 0}, {10, 10, 0}),
         "projection EPSG:25832 is not UTM on WGS 84"},
        {"zone 61 does not exist", Utm(32661, 100, 100, {0, 0, 0, 5e5, 5e6, 0}, {10, 10, 0}),
         "projection EPSG:32661 is not UTM on WGS 84"},
        {"user-defined projection", Utm(32767, 100, 100, {0, 0, 0, 5e5, 5e6, 0}, {10, 10, 0}),
         "projection is not UTM on WGS 84"},
        {"UTM in feet",
         With(Utm(32632, 100, 100, {0, 0, 0, 5e5, 5e6, 0}, {10, 10, 0}),
              [](CGeoTiffKeys &k) { k.linearUnits = 9002; }),
         "distances are not in metres"},
        {"zero pixel size",
         With(kCity,
              [](CGeoTiffKeys &k) {
                  k.pixelScale = {0, 0.0005, 0};
              }),
         "pixel size is zero"},
        {"turned a quarter",
         With(kCity,
              [](CGeoTiffKeys &k) {
                  k.tiepoints.clear();
                  k.transformation = {0, 0.001, 0, 11.0, 0.001, 0, 0, 48.5, 0, 0, 0, 0, 0, 0, 0, 1};
              }),
         "rotated too far"},
        {"perspective",
         With(kCity,
              [](CGeoTiffKeys &k) {
                  k.transformation = {0.001, 0, 0, 11.0, 0,    -0.0005, 0, 48.5,
                                      0,     0, 0, 0,    1e-6, 0,       0, 1};
              }),
         "transformation is not affine"},
        {"one tiepoint, no scale", With(kCity, [](CGeoTiffKeys &k) { k.pixelScale.clear(); }),
         "only one reference point"},
        {"tiepoint not a number",
         With(kCity,
              [&](CGeoTiffKeys &k) {
                  k.pixelScale.clear();
                  k.tiepoints = {0, 0, 0, nan, 48.5, 0, 10, 10, 0, 11.1, 48.4, 0};
              }),
         "a tiepoint lies off the earth"},
        {"scale past the pole",
         With(kCity,
              [](CGeoTiffKeys &k) {
                  k.pixelScale = {0.001, 1, 0};
              }),
         "the map's corners lie off the earth"},
        {"UTM far beyond its zone", Utm(32632, 100, 100, {0, 0, 0, 5e5, 5e6, 0}, {1e6, 1e6, 0}),
         "the map's corners lie off the earth"},
        // Distinct corners, yet a map's pixels per degree would overflow (found by fuzzing).
        {"pixels of 1e-310 degrees",
         With(kCity,
              [](CGeoTiffKeys &k) {
                  k.tiepoints = {0, 0, 0, 1e-304, 1e-304, 0};
                  k.pixelScale = {1e-310, 1e-310, 0};
              }),
         "pixel size is zero"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CCalibrationImport import = ImportGeoTiff(c.keys);
        EXPECT_FALSE(import.ok);
        EXPECT_EQ(import.error, c.error);
    }
}
