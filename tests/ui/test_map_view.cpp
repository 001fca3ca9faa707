#include "UiTestUtils.h"
#include "maps/MapDatabase.h"
#include "maps/MapView.h"
#include "waypoints/WaypointBook.h"

#include <QApplication>
#include <QImage>
#include <QKeyEvent>

#include <sys/stat.h>

namespace
{

// A white 1000 × 800 sheet from (48 N, 11 E) to (47 N, 12 E): (47.5 N, 11.5 E) is (500, 400).
class MapViewTest : public CUiTest
{
protected:
    void SetUp() override
    {
        CUiTest::SetUp();
        QImage sheet(1000, 800, QImage::Format_RGB32);
        sheet.fill(Qt::white);
        ASSERT_TRUE(sheet.save(Data("city.png")));
        CMapInfo map;
        map.m_name = "City";
        map.m_file = Data("city.png").toStdString();
        map.m_width = 1000;
        map.m_height = 800;
        map.m_pairs.resize(2);
        map.m_pairs[0].m_position = CGeoPosition(48.0, 11.0, 0.0);
        map.m_pairs[1].m_point = {1000, 800};
        map.m_pairs[1].m_position = CGeoPosition(47.0, 12.0, 0.0);
        map.Calibrate();
        ASSERT_EQ(WriteDatabaseFile(JoinDatabasePath(m_data.path().toStdString(), kMapFileName),
                                    {map}, MapCodec()),
                  0);
    }

    QString Data(const char *name) const { return m_data.filePath(QString::fromLatin1(name)); }
    // One waypoint, "Tower", in the book, imported as a user would.
    void LoadTower(CWaypointBook &book, double latitude, double longitude)
    {
        const std::string gpx = "<gpx version=\"1.0\"><wpt lat=\"" + std::to_string(latitude)
                                + "\" lon=\"" + std::to_string(longitude)
                                + "\"><name>Tower</name></wpt></gpx>";
        QFile file(Data("in.gpx"));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(gpx.data(), static_cast<qint64>(gpx.size()));
        file.close();
        book.Load(m_data.path(), false);
        ASSERT_EQ(book.ImportFile(Data("in.gpx"), WaypointFileType::GPX), 1);
    }

    // 400 × 300 at zoom 1 centred on (500, 400): map pixel (x, y) shows at (x - 300, y - 250).
    std::unique_ptr<CMapView> View(CWaypointBook *waypoints = nullptr)
    {
        auto view = std::make_unique<CMapView>();
        view->resize(400, 300);
        view->Start(m_data.path(), false, waypoints);
        EXPECT_TRUE(view->WaitForBitmap(5000));
        return view;
    }

    static QRgb At(const QImage &image, int mapX, int mapY)
    {
        return image.pixel(mapX - 300, mapY - 250) & 0xFFFFFFu;
    }
};

constexpr QRgb kWhite = 0xFFFFFF, kYellow = 0xFFFF00;

} // namespace

TEST_F(MapViewTest, MarkerAndTrackAtTheFixPixels)
{
    auto view = View();
    EXPECT_TRUE(view->IsMapLoaded());
    EXPECT_TRUE(m_messages.empty());
    view->SetFix(true);
    view->SetPosition(CGeoPosition(47.5, 11.5, 0.0));    // (500, 400), the view centre
    view->SetPosition(CGeoPosition(47.5, 11.6, 0.0));    // (600, 400)
    view->SetPosition(CGeoPosition(47.4375, 11.6, 0.0)); // (600, 450)
    const QImage image = view->Render();
    EXPECT_EQ(At(image, 500, 400), kYellow) << "the marker";
    EXPECT_EQ(At(image, 550, 400), kYellow) << "the first segment";
    EXPECT_EQ(At(image, 600, 430), kYellow) << "the second segment";
    EXPECT_EQ(At(image, 550, 420), kWhite) << "beside the track";

    // Following the fix: the view moves so the marker sits on it.
    view->ToggleTrackPosition();
    view->GetModel().m_settings.colourReception = true;
    view->SetReception(0.6);
    view->SetPosition(CGeoPosition(47.375, 11.75, 0.0)); // (750, 500)
    EXPECT_EQ(view->GetModel().Viewport().GetCentre(), (CMapPoint{750, 500}));
    const QImage following = view->Render();
    EXPECT_EQ(following.pixel(200, 150) & 0xFFFFFFu, qRgb(193, 255, 0) & 0xFFFFFFu);
}

TEST_F(MapViewTest, BearingLineToAWaypointDueNorth)
{
    CWaypointBook book(nullptr);
    ASSERT_NO_FATAL_FAILURE(LoadTower(book, 47.6, 11.5));
    ASSERT_TRUE(book.SetGotoTarget(0));
    m_messages.clear();

    auto view = View(&book);
    view->GetModel().m_settings.showBearing = true;
    view->GetModel().m_settings.outline = false;
    const CBearingOverlay bearing = view->GetModel().Bearing(&book.GetWaypoints()[0], -1.0);
    EXPECT_EQ(bearing.text.rfind("180.0\xC2\xB0 180.0\xC2\xB0 11.1", 0), 0u) << bearing.text;
    const QImage image = view->Render();
    // The line runs straight up from the marker, drawn inverted over the white sheet.
    EXPECT_EQ(At(image, 500, 360), 0u);
    EXPECT_EQ(At(image, 505, 360), kWhite);
}

TEST_F(MapViewTest, TrackLoadAndDistance)
{
    auto view = View();
    QFile log(Data("drive.nmea"));
    ASSERT_TRUE(log.open(QIODevice::WriteOnly));
    log.write("$GPGGA,093000.00,4730.0000,N,01130.0000,E,1,05,1.9,520.2,M,47.0,M,,*6E\r\n"
              "$GPGGA,093001.00,4730.0000,N,01136.0000,E,1,05,1.9,520.2,M,47.0,M,,*69\r\n");
    log.close();
    view->LoadTrackFile(Data("drive.nmea"));
    ASSERT_EQ(view->GetModel().GetTrack().size(), 1u);
    EXPECT_EQ(At(view->Render(), 550, 400), kYellow);

    view->LoadTrackFile(Data("missing.nmea"));
    ASSERT_EQ(m_messages.size(), 1u);
    EXPECT_EQ(m_messages[0].text, QStringLiteral("failed to open file."));

    // A straight drag of 100 pixels east on the 47.5th parallel: 0.1° of longitude, 7.5 km.
    const std::vector<CMapPoint> path = {{200, 150}, {250, 150}, {300, 150}};
    const QStringList lines = view->Measure(path, {300, 150}).split(QLatin1Char('\n'));
    ASSERT_EQ(lines.size(), 2);
    EXPECT_TRUE(lines[0].startsWith(QStringLiteral("air-line:  75"))) << lines[0].toStdString();
    EXPECT_EQ(lines[1], QStringLiteral("ground: ") + lines[0].mid(11));
}

TEST_F(MapViewTest, MissingBitmapIsReported)
{
    ASSERT_TRUE(QFile::remove(Data("city.png")));
    auto view = View();
    EXPECT_FALSE(view->IsMapLoaded());
    ASSERT_EQ(m_messages.size(), 1u);
    EXPECT_EQ(m_messages[0].text, QString::fromLatin1(CMapBitmapLoader::kLoadFailedMessage));
    EXPECT_FALSE(view->Render().isNull()); // no map, no crash
}

TEST_F(MapViewTest, AddedMapTakesTheCalibrationBesideIt)
{
    auto view = View();
    QImage sheet(200, 100, QImage::Format_Indexed8);
    sheet.setColorTable({qRgb(0, 0, 255), qRgb(255, 255, 255)});
    sheet.fill(1);
    ASSERT_TRUE(sheet.save(Data("harbour.png")));
    // 0.001° per pixel east and south of 54.5 N 10.1 E; the first pixel's centre is named.
    QFile world(Data("harbour.pgw"));
    ASSERT_TRUE(world.open(QIODevice::WriteOnly));
    world.write("0.001\n0\n0\n-0.001\n10.1005\n54.4995\n");
    world.close();
    SetQuestionAnswer(true);
    view->AddMapFile(Data("harbour.png"));
    ASSERT_TRUE(view->WaitForBitmap(5000));
    SetQuestionAnswer(false);
    ASSERT_EQ(m_messages.size(), 1u);
    EXPECT_EQ(m_messages[0].icon, QMessageBox::Question);
    EXPECT_TRUE(view->GetBitmap().GetLevels().front().depth() == 8) << "paletted stays 8-bit";

    // The new map is current, calibrated, and saved with the one before it.
    const CMapLoad load = LoadMapDatabase(m_data.path().toStdString());
    ASSERT_EQ(load.maps.size(), 2u);
    EXPECT_EQ(view->GetModel().GetCurrentIndex(), 1);
    const CMapInfo &added = load.maps[1];
    EXPECT_EQ(added.m_name, "harbour.png");
    EXPECT_EQ(added.m_width, 200);
    CMapPoint pixel;
    ASSERT_TRUE(added.PositionToPixel(CGeoPosition(54.4495, 10.1505, 0.0), pixel));
    EXPECT_EQ(pixel, (CMapPoint{50, 50}));

    // A file that is no image adds nothing and brings the shown map back.
    m_messages.clear();
    view->AddMapFile(Data("harbour.pgw"));
    ASSERT_TRUE(view->WaitForBitmap(5000));
    ASSERT_EQ(m_messages.size(), 1u);
    EXPECT_EQ(m_messages[0].text, QString::fromLatin1(CMapBitmapLoader::kLoadFailedMessage));
    EXPECT_EQ(view->GetModel().GetMaps().size(), 2u);
    EXPECT_TRUE(view->WaitForBitmap(5000));
    EXPECT_TRUE(view->IsMapLoaded());
}

// A FIFO named as a map, or picked to add, is refused at once: no decode waits for a writer,
// the page stays usable, and closing it does not wait either.
TEST_F(MapViewTest, FifoAsMapFileIsRefused)
{
    ASSERT_EQ(::mkfifo(Data("pipe.png").toLocal8Bit().constData(), 0600), 0);
    auto view = View();
    ASSERT_TRUE(view->IsMapLoaded());
    view->AddMapFile(Data("pipe.png"));
    ASSERT_TRUE(view->WaitForBitmap(5000));
    ASSERT_EQ(m_messages.size(), 1u);
    EXPECT_EQ(m_messages[0].text, QString::fromLatin1(CMapBitmapLoader::kLoadFailedMessage));
    EXPECT_TRUE(m_messages[0].details.endsWith(QStringLiteral("Not a regular file")))
        << m_messages[0].details.toStdString();
    EXPECT_EQ(view->GetModel().GetMaps().size(), 1u);
    ASSERT_TRUE(view->WaitForBitmap(5000));
    EXPECT_TRUE(view->IsMapLoaded());

    // The database itself names the FIFO.
    CMapLoad load = LoadMapDatabase(m_data.path().toStdString());
    ASSERT_EQ(load.maps.size(), 1u);
    load.maps[0].m_file = Data("pipe.png").toStdString();
    ASSERT_EQ(WriteDatabaseFile(JoinDatabasePath(m_data.path().toStdString(), kMapFileName),
                                load.maps, MapCodec()),
              0);
    m_messages.clear();
    view = View();
    EXPECT_FALSE(view->IsMapLoaded());
    EXPECT_EQ(m_messages.size(), 1u);
    view.reset();
    EXPECT_EQ(CMapView::AbandonedDecodes(), 0);
}

// Maps switched faster than they decode: only the last request's bitmap is shown.
TEST_F(MapViewTest, OnlyTheLastRequestedBitmapIsShown)
{
    QImage other(300, 200, QImage::Format_RGB32);
    other.fill(Qt::blue);
    ASSERT_TRUE(other.save(Data("other.png")));
    auto view = View();
    SetQuestionAnswer(false);
    view->AddMapFile(Data("other.png"));
    view->AddMapFile(Data("city.png"));
    view->AddMapFile(Data("other.png"));
    ASSERT_TRUE(view->WaitForBitmap(5000));
    EXPECT_EQ(view->GetBitmap().GetSize(), QSize(300, 200));
}

// Circles and names are cached: a waypoint added later shows too, and a name is drawn beside
// its circle.
TEST_F(MapViewTest, WaypointsShowAndFollowTheList)
{
    const auto write = [this](const char *name, const std::string &gpx) {
        QFile file(Data(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(gpx.data(), static_cast<qint64>(gpx.size()));
    };
    write("one.gpx", R"(<gpx version="1.0"><wpt lat="47.5" lon="11.6"><name>Tower</name>
        </wpt></gpx>)");
    write("two.gpx", R"(<gpx version="1.0"><wpt lat="47.5" lon="11.4"><name>Mill</name>
        </wpt></gpx>)");
    CWaypointBook book(nullptr);
    book.Load(m_data.path(), false);
    ASSERT_EQ(book.ImportFile(Data("one.gpx"), WaypointFileType::GPX), 1);
    m_messages.clear();
    auto view = View(&book);
    view->GetModel().m_settings.outline = false;
    const auto yellow = [](QRgb rgb) { return qRed(rgb) > 200 && qBlue(rgb) < 200; };
    const auto inked = [](const QImage &image, int mapX, int mapY) {
        for (int x = mapX + 4; x < mapX + 40; ++x)
            for (int y = mapY - 5; y <= mapY + 5; ++y)
                if (qGray(At(image, x, y)) < 60)
                    return true;
        return false;
    };
    QImage image = view->Render();
    EXPECT_TRUE(yellow(At(image, 600, 400)));
    EXPECT_TRUE(inked(image, 600, 400)) << "no name beside the circle";
    EXPECT_EQ(At(image, 400, 400), kWhite);

    // Even without WaypointsChanged (a list that grew behind the page's back), at the next
    // frame composed.
    ASSERT_EQ(book.ImportFile(Data("two.gpx"), WaypointFileType::GPX), 1);
    view->ZoomIn();
    view->ZoomOut();
    ASSERT_EQ(view->GetModel().Viewport().GetZoom(), 1.0);
    image = view->Render();
    EXPECT_TRUE(yellow(At(image, 400, 400)));
    EXPECT_TRUE(inked(image, 400, 400));
    EXPECT_TRUE(yellow(At(image, 600, 400)));
}

// Without a pointer: the arrows scroll, Enter taps the centre and names the waypoint there.
TEST_F(MapViewTest, EnterNamesTheWaypointAtTheCentre)
{
    CWaypointBook book(nullptr);
    ASSERT_NO_FATAL_FAILURE(LoadTower(book, 47.5, 11.6));
    m_messages.clear();
    auto view = View(&book);

    const auto press = [&view](int key) {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
        QApplication::sendEvent(view.get(), &event);
    };
    press(Qt::Key_Return);
    EXPECT_TRUE(m_messages.empty()) << "nothing at the centre";
    // The Tower is at map pixel 600, a quarter of the page (one step) east of the centre.
    ASSERT_EQ(view->GetModel().Viewport().GetCentre().x, 500);
    press(Qt::Key_Right);
    ASSERT_EQ(view->GetModel().Viewport().GetCentre().x, 600);
    press(Qt::Key_Return);
    ASSERT_EQ(m_messages.size(), 1u);
    EXPECT_TRUE(m_messages[0].text.startsWith(QStringLiteral("Tower")))
        << m_messages[0].text.toStdString();
}
