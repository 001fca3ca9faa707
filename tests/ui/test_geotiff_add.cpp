#include "UiTestUtils.h"
#include "maps/MapDatabase.h"
#include "maps/MapView.h"

#include <QImage>
#include <QProcess>

namespace
{

// Add New Map on GeoTIFFs that GDAL made from the factory world image.
class GeoTiffAddTest : public CUiTest
{
protected:
    void SetUp() override
    {
        CUiTest::SetUp();
        QImage sheet(400, 300, QImage::Format_RGB32);
        sheet.fill(Qt::white);
        ASSERT_TRUE(sheet.save(Data("city.png")));
        CMapInfo map;
        map.m_name = "City";
        map.m_file = Data("city.png").toStdString();
        map.m_width = 400;
        map.m_height = 300;
        map.m_pairs.resize(2);
        map.m_pairs[0].m_position = CGeoPosition(48.0, 11.0, 0.0);
        map.m_pairs[1].m_point = {400, 300};
        map.m_pairs[1].m_position = CGeoPosition(47.0, 12.0, 0.0);
        map.Calibrate();
        ASSERT_EQ(WriteDatabaseFile(JoinDatabasePath(m_data.path().toStdString(), kMapFileName),
                                    {map}, MapCodec()),
                  0);
    }

    QString Data(const char *name) const { return m_data.filePath(QString::fromLatin1(name)); }

    // false when GDAL is not installed.
    bool Gdal(const QString &program, const QStringList &arguments)
    {
        QProcess process;
        process.setWorkingDirectory(m_data.path());
        process.start(program, arguments);
        if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit)
            return false;
        EXPECT_EQ(process.exitCode(), 0) << program.toStdString();
        return process.exitCode() == 0;
    }

    std::unique_ptr<CMapView> View()
    {
        auto view = std::make_unique<CMapView>();
        view->resize(400, 300);
        view->Start(m_data.path(), false, nullptr);
        EXPECT_TRUE(view->WaitForBitmap(5000));
        return view;
    }

    CMapInfo Added()
    {
        const CMapLoad load = LoadMapDatabase(m_data.path().toStdString());
        EXPECT_EQ(load.maps.size(), 2u);
        return load.maps.size() == 2 ? load.maps[1] : CMapInfo{};
    }
};

} // namespace

TEST_F(GeoTiffAddTest, CalibratedFromTheKeysInside)
{
    const QString world = QStringLiteral(VELORAN_WORLD_IMAGE);
    if (!Gdal("gdal_translate", {"-q", "-a_srs", "EPSG:4326", "-a_ullr", "-180", "90", "180", "-90",
                                 world, "world.tif"}))
        GTEST_SKIP() << "gdal-bin is not installed";
    ASSERT_TRUE(Gdal("gdal_translate", {"-q", "-projwin", "-20", "70", "40", "30", "-co",
                                        "TILED=YES", "world.tif", "region.tif"}));
    // A world file beside it that says otherwise: the keys inside win.
    QFile tfw(Data("region.tfw"));
    ASSERT_TRUE(tfw.open(QIODevice::WriteOnly));
    tfw.write("1\n0\n0\n-1\n100\n10\n");
    tfw.close();
    auto view = View();
    view->AddMapFile(Data("region.tif"));
    ASSERT_TRUE(view->WaitForBitmap(5000));
    EXPECT_TRUE(m_messages.empty()) << "no question for a grid of latitude and longitude";
    const CMapInfo added = Added();
    ASSERT_TRUE(added.IsCalibrated());
    CMapPoint pixel;
    // 2048 pixels round the earth: 20° W is pixel 910 of the world, 70° N its line 114.
    ASSERT_TRUE(added.PositionToPixel(
        CGeoPosition(70.0 - 45 * 0.17578125, -20.0 + 100 * 0.17578125, 0.0), pixel));
    EXPECT_EQ(pixel, (CMapPoint{100, 45}));
}

TEST_F(GeoTiffAddTest, MisfitAsksAndForeignProjectionsAreRefused)
{
    const QString world = QStringLiteral(VELORAN_WORLD_IMAGE);
    if (!Gdal("gdal_translate", {"-q", "-a_srs", "EPSG:4326", "-a_ullr", "-180", "90", "180", "-90",
                                 world, "world.tif"}))
        GTEST_SKIP() << "gdal-bin is not installed";
    for (const char *srs : {"EPSG:32632", "EPSG:3035"})
        ASSERT_TRUE(Gdal("gdalwarp", {"-q", "-te", "6", "44", "12", "50", "-te_srs", "EPSG:4326",
                                      "-t_srs", srs, "-tr", "2000", "2000", "world.tif",
                                      QString::fromLatin1(srs).mid(5) + QStringLiteral(".tif")}));
    auto view = View();

    // UTM is no grid of latitude and longitude: the user is asked, and says yes.
    SetQuestionAnswer(true);
    view->AddMapFile(Data("32632.tif"));
    ASSERT_TRUE(view->WaitForBitmap(5000));
    SetQuestionAnswer(false);
    ASSERT_EQ(m_messages.size(), 1u);
    EXPECT_EQ(m_messages[0].icon, QMessageBox::Question);
    EXPECT_TRUE(m_messages[0].text.startsWith("This map is not a plain latitude/longitude grid"))
        << m_messages[0].text.toStdString();
    EXPECT_TRUE(Added().IsCalibrated());

    // Another projection: the reason, then the offer of a calibration file (declined).
    m_messages.clear();
    view->AddMapFile(Data("3035.tif"));
    ASSERT_TRUE(view->WaitForBitmap(5000));
    ASSERT_EQ(m_messages.size(), 2u);
    EXPECT_EQ(m_messages[0].text, "Unable to use the georeferencing in this GeoTIFF.");
    EXPECT_EQ(m_messages[0].details, "3035.tif: projection EPSG:3035 is not UTM on WGS 84");
    EXPECT_EQ(m_messages[1].icon, QMessageBox::Question);
    const CMapList &maps = view->GetModel().GetMaps();
    ASSERT_EQ(maps.size(), 3u);
    EXPECT_FALSE(maps[2].IsCalibrated());
}
