#include "geo/CoordinateFields.h"
#include "maps/MapDialogs.h"
#include "ui/DialogForm.h"
#include "ui/UiTestUtils.h"

#include <QComboBox>
#include <QImageReader>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>

#include <stdexcept>
#include <string>

namespace
{

using MapDialogTest = CUiTest;

using CForm = CDialogForm;

CPositionPair Pair(const char *name, double latitude, double longitude, int x, int y)
{
    CPositionPair pair;
    pair.m_name = name;
    pair.m_position = CGeoPosition(latitude, longitude, 0.0);
    pair.m_point = {x, y};
    return pair;
}

QStringList Names(const std::vector<CPositionPair> &pairs)
{
    QStringList names;
    for (const CPositionPair &pair : pairs)
        names << QString::fromStdString(pair.m_name);
    return names;
}

} // namespace

TEST_F(MapDialogTest, ReferencesNewestFirstUpdatedAndRemoved)
{
    CReferencePointsDialog dialog({}, Pair("Reference", -33.5, -70.25, 120, 80),
                                  CoordinateFormat::DD, nullptr);
    const CForm f{dialog};
    EXPECT_FALSE(f.Enabled("removeButton") || f.Enabled("updateButton"));
    EXPECT_EQ(
        (QStringList{f.Text("name"), f.Text("longitude"), f.Text("latitude"), f.Text("mapX")}),
        (QStringList{"Reference", "70.250000", "33.500000", "120"}));
    const int emptyWidth = f.List().columnWidth(1);
    for (const char *name : {"A", "B", "C"}) {
        f.Type("name", name);
        f.Click("addButton");
    }
    EXPECT_EQ(f.Column(0), (QStringList{"C", "B", "A"}));
    EXPECT_EQ(Names(dialog.GetPairs()), (QStringList{"C", "B", "A"}));
    EXPECT_EQ(f.Column(1)[0], "(33.500000\xC2\xB0 S, 70.250000\xC2\xB0 W) -> (120, 80)");
    EXPECT_GT(f.List().columnWidth(1), emptyWidth);

    // Numbers read as far as they go; the hemisphere comes from the choosers.
    f.Select(1);
    EXPECT_EQ(f.Get<QComboBox>("longitudeHemisphere").currentText(), "West");
    EXPECT_EQ(f.Get<QComboBox>("latitudeHemisphere").currentText(), "South");
    f.Type("name", "B2");
    f.Type("latitude", "12.5ab");
    f.Get<QComboBox>("latitudeHemisphere").setCurrentIndex(0);
    f.Type("mapX", "7x");
    f.Click("updateButton");
    EXPECT_EQ(dialog.GetPairs()[1], Pair("B2", 12.5, -70.25, 7, 80));
    EXPECT_EQ(f.Column(1)[1], "(12.500000\xC2\xB0 N, 70.250000\xC2\xB0 W) -> (7, 80)");

    for (int left = 3; left > 0; --left) {
        f.Select(0);
        ASSERT_TRUE(f.Enabled("removeButton"));
        f.Click("removeButton");
        EXPECT_EQ(f.List().topLevelItemCount(), left - 1);
    }
    EXPECT_TRUE(dialog.GetPairs().empty());
    EXPECT_FALSE(f.Enabled("removeButton") || f.Enabled("updateButton"));
}

// Wikipedia's example of a grid position: the CN Tower, 43°38′33.24″N 79°23′13.7″W, is
// 630084 m east and 4833438 m north in zone 17.
TEST_F(MapDialogTest, ReferencesInUtm)
{
    CReferencePointsDialog dialog({}, Pair("Reference", 48.0, 11.0, 0, 0), CoordinateFormat::UTM,
                                  nullptr);
    const CForm f{dialog};
    const QStringList labels = f.VisibleLabels();
    for (const char *label : {"Easting:", "Northing:", "Zone:"})
        EXPECT_TRUE(labels.contains(label)) << label;
    for (const char *label : {"Longitude:", "Latitude:"})
        EXPECT_FALSE(labels.contains(label)) << label;
    for (const char *chooser : {"longitudeHemisphere", "latitudeHemisphere"})
        EXPECT_FALSE(f.Get<QComboBox>(chooser).isVisibleTo(&dialog)) << chooser;

    f.Type("longitude", "630084");
    f.Type("latitude", "4833438");
    f.Type("zone", "17T");
    f.Click("addButton");
    const CGeoPosition read = dialog.GetPairs().at(0).m_position;
    EXPECT_NEAR(read.m_latitude, 43.0 + 38.0 / 60 + 33.24 / 3600, 2e-5);
    EXPECT_NEAR(read.m_longitude, -(79.0 + 23.0 / 60 + 13.7 / 3600), 2e-5);
    f.Select(0);
    EXPECT_EQ((QStringList{f.Text("longitude"), f.Text("latitude"), f.Text("zone")}),
              (QStringList{"630084.00", "4833438.00", "17T"}));
}

// Positions off the earth are refused with a message, the pair and the list left as they were;
// OK is refused while the first and the last pair give no scale.
TEST_F(MapDialogTest, ReferencesOffTheEarthOrWithoutScaleRefused)
{
    CReferencePointsDialog dialog({Pair("A", 48.0, 11.0, 0, 0)}, Pair("B", 47.0, 12.0, 100, 80),
                                  CoordinateFormat::DD, nullptr);
    const CForm f{dialog};
    const struct {
        const char *longitude, *latitude;
        const char *legend;
    } refused[] = {
        {"12", "91", "latitude beyond the pole"},
        {"180.5", "47", "longitude beyond 180"},
        {"nan", "47", "NaN"},
        {"12", "inf", "infinity"},
        {"12", "1e400", "overflowing"},
    };
    for (const auto &c : refused) {
        SCOPED_TRACE(c.legend);
        m_messages.clear();
        f.Type("longitude", c.longitude);
        f.Type("latitude", c.latitude);
        f.Click("addButton");
        ASSERT_EQ(m_messages.size(), 1U);
        EXPECT_EQ(m_messages[0].caption, "ERROR");
        EXPECT_EQ(m_messages[0].text.toStdString(), kCoordinateRangeMessage);
        EXPECT_EQ(Names(dialog.GetPairs()), QStringList{"A"});
        f.Select(0);
        f.Type("latitude", c.latitude);
        f.Click("updateButton");
        EXPECT_EQ(m_messages.size(), 2U);
        EXPECT_EQ(dialog.GetPairs()[0], Pair("A", 48.0, 11.0, 0, 0));
    }
    m_messages.clear();
    f.Type("longitude", "180");
    f.Type("latitude", "47");
    f.Type("name", "B");
    f.Click("addButton"); // the same pixel again, another position
    ASSERT_TRUE(m_messages.empty());
    ASSERT_EQ(dialog.GetPairs().size(), 2U);
    dialog.accept();
    ASSERT_EQ(m_messages.size(), 1U);
    EXPECT_EQ(m_messages[0].text,
              "These reference points cannot calibrate the map: the first and last reference "
              "points have the same x (pixel column).");
    EXPECT_EQ(dialog.result(), QDialog::Rejected) << "still open";
    f.Select(0);
    f.Type("mapX", "1000");
    f.Type("mapY", "800");
    f.Click("updateButton");
    dialog.accept();
    EXPECT_EQ(m_messages.size(), 1U);
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
}

TEST_F(MapDialogTest, SelectMap)
{
    CMapInfo city{.m_name = "City",
                  .m_pairs = {Pair("a", 48.0, 11.0, 0, 0), Pair("b", 47.0, 12.0, 10, 10)},
                  .m_file = "/maps/city.png"};
    city.Calibrate();
    CMapInfo coast{.m_name = "Coast", .m_pairs = {{}}, .m_file = "/maps/coast.jpg"};
    CMapInfo hills{.m_name = "Hills", .m_pairs = {}, .m_file = "/maps/hills.tif"};
    CSelectMapDialog dialog({city, coast, hills}, false, nullptr);
    const CForm f{dialog};
    EXPECT_EQ(f.Column(1), (QStringList{"Yes", "No", "No"}));
    EXPECT_EQ(dialog.GetChosenIndex(), -1);
    const char *const buttons[] = {"updateButton", "removeButton", "browseButton"};
    for (const char *button : buttons)
        EXPECT_FALSE(f.Enabled(button)) << button;

    f.Select(1);
    for (const char *button : buttons)
        EXPECT_TRUE(f.Enabled(button)) << button;
    EXPECT_EQ((QStringList{f.Text("name"), f.Text("mapFile")}),
              (QStringList{"Coast", "/maps/coast.jpg"}));
    EXPECT_EQ(dialog.GetChosenIndex(), 1);
    f.Type("name", "Shore");
    f.Type("mapFile", "/maps/shore.png");
    f.Click("updateButton");
    EXPECT_EQ(f.Column(0), (QStringList{"City", "Shore", "Hills"}));
    EXPECT_EQ(dialog.GetMaps()[1].m_file, "/maps/shore.png");

    f.Select(0);
    f.Click("removeButton");
    EXPECT_EQ(f.Column(0), (QStringList{"Shore", "Hills"}));
    EXPECT_EQ(dialog.GetMaps().size(), 2U);
    EXPECT_EQ(dialog.GetChosenIndex(), -1);
    EXPECT_FALSE(f.Enabled("updateButton"));
    f.Select(1);
    EXPECT_EQ(dialog.GetChosenIndex(), 1);
}

TEST_F(MapDialogTest, CancelRejects)
{
    CReferencePointsDialog references({}, CPositionPair(), CoordinateFormat::DD, nullptr);
    CSelectMapDialog maps({}, false, nullptr);
    for (QDialog *dialog : {static_cast<QDialog *>(&references), static_cast<QDialog *>(&maps)}) {
        SCOPED_TRACE(dialog->windowTitle().toStdString());
        dialog->open();
        CForm{*dialog}.Click("cancelButton");
        EXPECT_EQ(dialog->result(), QDialog::Rejected);
        EXPECT_FALSE(dialog->isVisible());
    }
}

TEST_F(MapDialogTest, ImageFilterListsEveryReadableFormat)
{
    const QString filter = ImageFileFilter();
    EXPECT_TRUE(filter.startsWith("Raster Maps (*.bmp *.gif *.png *.jpg *.jpeg "))
        << filter.toStdString();
    const QStringList filters = filter.split(";;");
    ASSERT_EQ(filters.size(), 2);
    EXPECT_EQ(filters[1], "All Files (*)");
    const QString &raster = filters[0];
    const QStringList patterns = raster.mid(raster.indexOf('(') + 1).chopped(1).split(' ');
    for (const QByteArray &format : QImageReader::supportedImageFormats())
        EXPECT_TRUE(patterns.contains("*." + format)) << format.toStdString();
}
