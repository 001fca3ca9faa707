#include "geo/CoordinateFields.h"
#include "ui/DialogForm.h"
#include "ui/UiTestUtils.h"
#include "waypoints/WaypointDialogs.h"

#include <QApplication>
#include <QComboBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>

#include <stdexcept>
#include <string>
#include <tuple>

namespace
{

using WaypointDialogTest = CUiTest;

using CForm = CDialogForm;

CWaypoint Named(const char *name, double latitude, double longitude, double radius = 5.0)
{
    return {name, CGeoPosition(latitude, longitude, 0.0), radius, "", 0, 0};
}

} // namespace

TEST_F(WaypointDialogTest, UtmZoneDecidesTheHemisphereAndBadRadiusIsKept)
{
    CWaypointEditDialog dialog({Named("Pier", 48.0, 11.0, 7.5)}, CoordinateFormat::UTM,
                               CGeoPosition(), nullptr);
    const CForm f{dialog};
    EXPECT_TRUE(f.Get("zone").isVisibleTo(&dialog));
    EXPECT_FALSE(f.Get<QComboBox>("secondHemisphere").isVisibleTo(&dialog));
    f.Select(0);
    f.Type("first", "6290000");
    f.Type("second", "334000");
    f.Type("zone", "55H");
    f.Get<QComboBox>("radius").setEditText("wide");
    f.Click("updateButton");
    EXPECT_NEAR(dialog.GetWaypoints()[0].m_position.m_latitude, -33.51, 0.01);
    EXPECT_EQ(dialog.GetWaypoints()[0].m_radius, 7.5);
}

// A position off the earth is refused with a message; the list stays as it was.
TEST_F(WaypointDialogTest, PositionsOffTheEarthRefused)
{
    CWaypointEditDialog dialog({Named("Pier", 48.0, 11.0)}, CoordinateFormat::DDMM, CGeoPosition(),
                               nullptr);
    const CForm f{dialog};
    const struct {
        const char *first, *second;
        const char *legend;
    } refused[] = {
        {"01100.0", "9100.0", "91° north"},
        {"18030.0", "4800.0", "180°30' east"},
        {"nan", "4800.0", "NaN"},
        {"01100.0", "-inf", "minus infinity"},
    };
    for (const auto &c : refused) {
        SCOPED_TRACE(c.legend);
        m_messages.clear();
        f.Type("first", c.first);
        f.Type("second", c.second);
        f.Click("addButton");
        f.Select(0);
        f.Type("first", c.first);
        f.Type("second", c.second);
        f.Click("updateButton");
        ASSERT_EQ(m_messages.size(), 2U);
        for (const CMessage &m : m_messages) {
            EXPECT_EQ(m.caption, "ERROR");
            EXPECT_EQ(m.text.toStdString(), kCoordinateRangeMessage);
        }
        ASSERT_EQ(dialog.GetWaypoints().size(), 1U);
        EXPECT_EQ(dialog.GetWaypoints()[0].m_position, CGeoPosition(48.0, 11.0, 0.0));
    }
    m_messages.clear();
    f.Type("first", "18000.0");
    f.Get<QComboBox>("firstHemisphere").setCurrentIndex(1);
    f.Type("second", "9000.0");
    f.Click("updateButton");
    EXPECT_TRUE(m_messages.empty()) << "180 W and 90 N are on the earth";
    EXPECT_EQ(dialog.GetWaypoints()[0].m_position, CGeoPosition(90.0, -180.0, 0.0));
}

TEST_F(WaypointDialogTest, AddUpdateRemove)
{
    CWaypointEditDialog dialog({Named("Pier", 48.0, 11.0), Named("Quay", -33.5, 151.25)},
                               CoordinateFormat::DDMMSS, CGeoPosition(-1.5, 2.25, 0.0), nullptr);
    const CForm f{dialog};
    EXPECT_FALSE(f.Enabled("updateButton") || f.Enabled("removeButton"));
    // The form preset from the proposed position; "Add" puts it at the head.
    EXPECT_EQ((QStringList{f.Text("name"), f.Text("second"), f.Choice("secondHemisphere")}),
              (QStringList{"unnamed", "013000.00", "South"}));
    f.Type("name", "Café");
    f.Click("addButton");
    EXPECT_EQ(dialog.GetWaypoints().front(), Named("Café", -1.5, 2.25, 1.0));
    EXPECT_EQ(f.Shown(0), "Café");
    EXPECT_TRUE(f.Enabled("removeButton"));

    // Seconds south of the equator: South on the chooser, and "Update" gives back the latitude.
    f.Select(2);
    EXPECT_EQ((QStringList{f.Text("name"), f.Text("second"), f.Choice("secondHemisphere"),
                           f.Text("first"), f.Choice("firstHemisphere"), f.Choice("radius")}),
              (QStringList{"Quay", "333000.00", "South", "1511500.00", "East", "5.0"}));
    f.Click("updateButton");
    EXPECT_DOUBLE_EQ(dialog.GetWaypoints()[2].m_position.m_latitude, -33.5);
    EXPECT_EQ(f.Shown(2, 1),
              "33\xC2\xB0 30\xE2\x80\xB2 00.00\xE2\x80\xB3 S : 151\xC2\xB0 15\xE2\x80\xB2 "
              "00.00\xE2\x80\xB3 E");

    // Removing leaves nothing selected: a second tap must not take the next waypoint too.
    f.Click("removeButton");
    EXPECT_FALSE(f.Enabled("removeButton"));
    f.Click("removeButton");
    f.Select(1);
    EXPECT_TRUE(f.Enabled("updateButton"));
    f.Click("removeButton");
    EXPECT_EQ(dialog.GetWaypoints(), CWaypointList{Named("Café", -1.5, 2.25, 1.0)});
    EXPECT_FALSE(f.Enabled("updateButton") || f.Enabled("removeButton"));
}

TEST_F(WaypointDialogTest, SortedViewKeepsTheStoredOrder)
{
    const CWaypointList list = {Named("b", 1, 1), Named("c", 2, 2), Named("a", 3, 3)};
    CWaypointEditDialog edit(list, CoordinateFormat::DD, CGeoPosition(), nullptr);
    edit.show();
    const CForm e{edit};
    e.TapHeader(0);
    EXPECT_EQ((QStringList{e.Shown(0), e.Shown(1), e.Shown(2)}), (QStringList{"a", "b", "c"}));
    e.TapRow(0);
    e.Type("name", "a2");
    e.Click("updateButton");
    e.TapRow(1); // "b", stored first
    e.Click("removeButton");
    e.Type("name", "0");
    e.Click("addButton"); // stored at the head, shown where the sort puts it
    // "0" takes the texts the form kept: the removed "b"'s.
    EXPECT_EQ(edit.GetWaypoints(),
              (CWaypointList{Named("0", 1, 1), Named("c", 2, 2), Named("a2", 3, 3)}));
    e.TapRow(2);
    EXPECT_EQ(e.Text("name"), "c");

    CWaypointSelectDialog select(list, CoordinateFormat::DD, nullptr);
    select.show();
    const CForm s{select};
    EXPECT_FALSE(s.Enabled("okButton"));
    s.TapHeader(0);
    s.TapHeader(0); // descending: c, b, a
    s.TapRow(2);
    EXPECT_EQ(select.GetSelectedIndex(), 2);
    EXPECT_TRUE(s.Enabled("okButton"));
    s.TapRow(0, true);
    EXPECT_EQ(select.result(), QDialog::Accepted);
    EXPECT_EQ(select.GetSelectedIndex(), 1);
}

TEST_F(WaypointDialogTest, DescriptionReachesTheWaypointOnUpdate)
{
    CWaypoint w = Named("Pier", 48.0, 11.0);
    w.m_description = "line one\r\nline two";
    w.m_type = 21; // beyond the chooser's list: kept
    {
        CWaypointDescriptionDialog untouched(w.m_description, w.m_type, 4, nullptr);
        EXPECT_EQ(CForm{untouched}.Choice("type"), "21");
        EXPECT_EQ(
            std::tuple(untouched.GetDescription(), untouched.GetType(), untouched.GetAction()),
            std::tuple(w.m_description, 21, 4));
    }

    CWaypointEditDialog dialog({w}, CoordinateFormat::DD, CGeoPosition(), nullptr);
    CForm{dialog}.Select(0);
    QTimer::singleShot(0, [] {
        auto *d = qobject_cast<CWaypointDescriptionDialog *>(QApplication::activeModalWidget());
        ASSERT_NE(d, nullptr);
        EXPECT_EQ(d->windowTitle(), "Waypoint Description");
        const CForm f{*d};
        f.Get<QPlainTextEdit>("description").selectAll(); // as typed: the document modified
        f.Get<QPlainTextEdit>("description").insertPlainText("Brücke");
        f.Get<QComboBox>("type").setCurrentIndex(15);
        f.Get<QComboBox>("action").setCurrentIndex(2);
        f.Click("okButton");
    });
    CForm{dialog}.Click("descriptionButton");
    EXPECT_EQ(dialog.GetWaypoints()[0].m_description, w.m_description); // only Update applies
    CForm{dialog}.Click("updateButton");
    const CWaypoint &updated = dialog.GetWaypoints()[0];
    EXPECT_EQ(std::tie(updated.m_description, updated.m_type, updated.m_action),
              std::tuple("Brücke", 15, 2));
}
