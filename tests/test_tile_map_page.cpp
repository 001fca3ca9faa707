#include "maps/MapDatabase.h"
#include "maps/MapView.h"
#include "ui/UiTestUtils.h"

#include <QImage>

#include <cmath>
#include <cstdlib>

namespace
{

// Made by tests/make_tile_data.sh before these tests run (the tile_data fixture): world.mbtiles
// holds world.jpg's Europe in zooms 2 to 5.
QString TileData(const char *name)
{
    const char *dir = std::getenv("VELORAN_TILE_DATA");
    return QString::fromLocal8Bit(dir != nullptr ? dir : "tile-data") + QLatin1Char('/')
           + QString::fromLatin1(name);
}

// The source image's colour at a position, bilinear between its pixel centres as GDAL reads it.
QRgb SourceColour(const QImage &world, double latitude, double longitude)
{
    const double x = (longitude + 180.0) / 360.0 * world.width() - 0.5;
    const double y = (90.0 - latitude) / 180.0 * world.height() - 0.5;
    const int x0 = static_cast<int>(std::floor(x));
    const int y0 = static_cast<int>(std::floor(y));
    const double fx = x - x0;
    const double fy = y - y0;
    double rgb[3] = {};
    for (int dy = 0; dy < 2; ++dy) {
        for (int dx = 0; dx < 2; ++dx) {
            const QRgb p = world.pixel(x0 + dx, y0 + dy);
            const double w = (dx ? fx : 1 - fx) * (dy ? fy : 1 - fy);
            rgb[0] += qRed(p) * w;
            rgb[1] += qGreen(p) * w;
            rgb[2] += qBlue(p) * w;
        }
    }
    return qRgb(static_cast<int>(std::lround(rgb[0])), static_cast<int>(std::lround(rgb[1])),
                static_cast<int>(std::lround(rgb[2])));
}

int ChannelDifference(QRgb a, QRgb b)
{
    return std::max({std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                     std::abs(qBlue(a) - qBlue(b))});
}

class TileMapPageTest : public CUiTest
{
protected:
    // The page with the MBTiles added through Add New Map, 400 × 300.
    std::unique_ptr<CMapView> View()
    {
        auto view = std::make_unique<CMapView>();
        view->resize(400, 300);
        view->Start(m_data.path(), true, nullptr);
        view->AddMapFile(TileData("world.mbtiles"));
        return view;
    }
};

} // namespace

TEST_F(TileMapPageTest, AddedMBTilesIsATileSourceMap)
{
    auto view = View();
    EXPECT_TRUE(m_messages.empty());
    ASSERT_TRUE(view->IsMapLoaded());
    const CMapInfo *map = view->GetModel().GetCurrentMap();
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(map->m_name, "Europe");
    EXPECT_EQ(map->m_projection, MapProjection::WebMercator);
    EXPECT_EQ(map->m_tileZoom, 5);
    // gdaladdo's four overviews stop where one tile holds the whole source: zooms 5 to 2.
    EXPECT_EQ(view->GetTiles().GetLevels().size(), 4u);
    // Saved: the next start shows it from the database.
    const CMapLoad load = LoadMapDatabase(m_data.path().toStdString());
    ASSERT_EQ(load.maps.size(), 2u);
    EXPECT_EQ(load.maps[1], *map);
}

// At the position of each fix the page draws the source image's colour there, within what two
// resamplings (GDAL's into the tiles, the page's at other zooms) and JPEG leave.
TEST_F(TileMapPageTest, DrawsTheSourceColourAtThePosition)
{
    const QImage world =
        QImage(QString::fromLocal8Bit(VELORAN_WORLD_IMAGE)).convertToFormat(QImage::Format_RGB32);
    ASSERT_FALSE(world.isNull());
    auto view = View();
    ASSERT_TRUE(view->IsMapLoaded());
    view->GetModel().m_settings.outline = false;
    view->GetModel().m_settings.trackPosition = false;
    view->GetModel().m_settings.showTrack = false;
    (void)view->Render(); // the page takes its size
    struct Case {
        const char *legend;
        double latitude, longitude;
        double zoom;
        int tolerance;
    };
    const Case cases[] = {
        {"Sahara, zoom 5 as stored", 29.0, 10.0, 1.0, 24},
        {"Bay of Biscay", 45.5, -5.0, 1.0, 24},
        {"the Alps", 46.5, 9.5, 1.0, 40},
        {"Scandinavia", 60.0, 15.0, 1.0, 40},
        {"Sahara, zoom 4 shrunk", 29.0, 10.0, 2.7, 24},
        {"Mediterranean, zoom 3", 35.0, 18.0, 4.0, 24},
        {"Sahara, zoom 5 enlarged", 29.0, 10.0, 0.5, 24},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CMapInfo *map = view->GetModel().GetCurrentMap();
        ASSERT_NE(map, nullptr);
        CMapPoint pixel;
        ASSERT_TRUE(map->PositionToPixel(CGeoPosition(c.latitude, c.longitude, 0.0), pixel));
        // The fix off the view centre, where the marker would cover it.
        CMapViewport &vp = view->GetModel().Viewport();
        vp.SetZoom(c.zoom);
        vp.SetCentre({pixel.x + 40, pixel.y + 30});
        view->SetPosition(CGeoPosition(c.latitude, c.longitude, 0.0));
        view->WaypointsChanged(); // the page's own "compose again"
        ASSERT_TRUE(view->WaitForTiles(5000));
        const QImage image = view->Render();
        const int x = static_cast<int>(std::floor(vp.ScreenX(pixel.x + 0.5)));
        const int y = static_cast<int>(std::floor(vp.ScreenY(pixel.y + 0.5)));
        ASSERT_TRUE(image.rect().contains(x, y))
            << x << "," << y << " origin " << vp.GetOrigin().x << "," << vp.GetOrigin().y
            << " zoom " << vp.GetZoom() << " map " << vp.GetBitmapWidth() << "x"
            << vp.GetBitmapHeight();
        const QRgb drawn = image.pixel(x, y);
        const QRgb source = SourceColour(world, c.latitude, c.longitude);
        EXPECT_LE(ChannelDifference(drawn, source), c.tolerance)
            << std::hex << "drawn " << drawn << " source " << source;
    }
    EXPECT_TRUE(view->GetTiles().GetFirstError().isEmpty());
}

// A tiled GeoTIFF sheet is calibrated from its keys and drawn tile by tile, at every zoom from
// its own tiles or the levels averaged from them.
TEST_F(TileMapPageTest, TiledGeoTiffDrawsTheSourceColour)
{
    const QImage world =
        QImage(QString::fromLocal8Bit(VELORAN_WORLD_IMAGE)).convertToFormat(QImage::Format_RGB32);
    ASSERT_FALSE(world.isNull());
    CMapView view;
    view.resize(400, 300);
    view.Start(m_data.path(), true, nullptr);
    view.AddMapFile(TileData("europe-tiled.tif"));
    EXPECT_TRUE(m_messages.empty());
    ASSERT_TRUE(view.IsMapLoaded());
    const CMapInfo *map = view.GetModel().GetCurrentMap();
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(map->m_projection, MapProjection::PlateCarree);
    ASSERT_TRUE(map->IsCalibrated());
    ASSERT_GE(view.GetTiles().GetLevels().size(), 3u) << "not read as a tile pyramid";
    view.GetModel().m_settings.outline = false;
    view.GetModel().m_settings.trackPosition = false;
    view.GetModel().m_settings.showTrack = false;
    (void)view.Render();
    const struct {
        double latitude, longitude, zoom;
    } cases[] = {{29.0, 10.0, 1.0},
                 {45.5, -5.0, 1.0},
                 {29.0, 10.0, 2.7},
                 {35.0, 18.0, 6.0},
                 {29.0, 10.0, 0.5}};
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.latitude << "," << c.longitude << " zoom " << c.zoom);
        CMapPoint pixel;
        ASSERT_TRUE(map->PositionToPixel(CGeoPosition(c.latitude, c.longitude, 0.0), pixel));
        CMapViewport &vp = view.GetModel().Viewport();
        vp.SetZoom(c.zoom);
        vp.SetCentre({pixel.x + 40, pixel.y + 30});
        view.SetPosition(CGeoPosition(c.latitude, c.longitude, 0.0));
        view.WaypointsChanged();
        ASSERT_TRUE(view.WaitForTiles(5000));
        const QImage image = view.Render();
        const int x = static_cast<int>(std::floor(vp.ScreenX(pixel.x + 0.5)));
        const int y = static_cast<int>(std::floor(vp.ScreenY(pixel.y + 0.5)));
        ASSERT_TRUE(image.rect().contains(x, y));
        const QRgb drawn = image.pixel(x, y);
        const QRgb source = SourceColour(world, c.latitude, c.longitude);
        EXPECT_LE(ChannelDifference(drawn, source), 24)
            << std::hex << "drawn " << drawn << " source " << source;
    }
    EXPECT_TRUE(view.GetTiles().GetFirstError().isEmpty());
}

TEST_F(TileMapPageTest, RefusedSourcesAreReported)
{
    auto view = View();
    struct Case {
        const char *legend;
        const char *file;
        const char *detail;
    };
    const Case cases[] = {
        {"vector tiles", "vector.mbtiles", "vector"},
        {"a truncated file", "truncated.mbtiles", ""},
        {"no tiles table", "notiles.mbtiles", ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        m_messages.clear();
        view->AddMapFile(TileData(c.file));
        ASSERT_EQ(m_messages.size(), 1u);
        EXPECT_EQ(m_messages[0].text, QString::fromLatin1(CMapBitmapLoader::kLoadFailedMessage));
        EXPECT_TRUE(m_messages[0].details.contains(QLatin1String(c.detail)))
            << m_messages[0].details.toStdString();
        EXPECT_EQ(view->GetModel().GetMaps().size(), 2u) << "nothing added";
    }
}

// A tile source in the database whose file went bad since is reported as a failed map load.
TEST_F(TileMapPageTest, DamagedSourceInTheDatabase)
{
    ASSERT_TRUE(QFile::copy(TileData("world.mbtiles"), m_data.filePath("gone.mbtiles")));
    CMapInfo map = MakeTileSourceMap("Gone", m_data.filePath("gone.mbtiles").toStdString(), -10, 30,
                                     30, 60, 5);
    ASSERT_EQ(WriteDatabaseFile(JoinDatabasePath(m_data.path().toStdString(), kMapFileName), {map},
                                MapCodec()),
              0);
    ASSERT_TRUE(QFile::remove(m_data.filePath("gone.mbtiles")));
    CMapView view;
    view.resize(400, 300);
    view.Start(m_data.path(), true, nullptr);
    ASSERT_EQ(m_messages.size(), 1u);
    EXPECT_EQ(m_messages[0].text, QString::fromLatin1(CMapBitmapLoader::kLoadFailedMessage));
    EXPECT_FALSE(view.IsMapLoaded());
    EXPECT_FALSE(view.Render().isNull());
}
