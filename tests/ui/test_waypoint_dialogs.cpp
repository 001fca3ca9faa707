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

namespace
{

using WaypointDialogTest = CUiTest;

template <class T> T &Child(QObject &dialog, const std::string &name)
{
    if (T *child = dialog.findChild<T *>(QString::fromStdString(name)))
        return *child;
    throw std::runtime_error("no child " + name);
}
QString Text(QObject &d, const std::string &name)
{
    return Child<QLineEdit>(d, name).text();
}
void Type(QObject &d, const std::string &name, const char *text)
{
    Child<QLineEdit>(d, name).setText(QString::fromUtf8(text));
}
void Click(QObject &d, const std::string &name)
{
    Child<QPushButton>(d, name).click();
}
bool Enabled(QObject &d, const std::string &name)
{
    return Child<QPushButton>(d, name).isEnabled();
}
QTreeWidget &List(QObject &d)
{
    return Child<QTreeWidget>(d, "waypointList");
}
QString Shown(QObject &d, int row, int column = 0)
{
    return List(d).topLevelItem(row)->text(column);
}

// A finger on a widget of a shown dialog.
void Tap(QWidget &widget, QPoint at)
{
    QMouseEvent press(QEvent::MouseButtonPress, at, widget.mapToGlobal(at), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QMouseEvent release(QEvent::MouseButtonRelease, at, widget.mapToGlobal(at), Qt::LeftButton,
                        Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(&widget, &press);
    QApplication::sendEvent(&widget, &release);
}
void DoubleTap(QWidget &widget, QPoint at)
{
    Tap(widget, at);
    QMouseEvent again(QEvent::MouseButtonDblClick, at, widget.mapToGlobal(at), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QMouseEvent release(QEvent::MouseButtonRelease, at, widget.mapToGlobal(at), Qt::LeftButton,
                        Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(&widget, &again);
    QApplication::sendEvent(&widget, &release);
}
void TapHeader(QObject &d, int column)
{
    QHeaderView &header = *List(d).header();
    Tap(*header.viewport(),
        QPoint(header.sectionViewportPosition(column) + 5, header.height() / 2));
}
void TapRow(QObject &d, int row)
{
    QTreeWidget &list = List(d);
    Tap(*list.viewport(), list.visualItemRect(list.topLevelItem(row)).center());
}

CWaypoint Named(const char *name, double latitude, double longitude, double radius = 5.0)
{
    CWaypoint w;
    w.m_name = name;
    w.m_position = CGeoPosition(latitude, longitude, 0.0);
    w.m_radius = radius;
    return w;
}

} // namespace

TEST_F(WaypointDialogTest, SecondsShowSouthAndUpdateGivesItBack)
{
    const CWaypointList list = {Named("Pier", 48.0, 11.0), Named("Quay", -33.5, 151.25)};
    CWaypointEditDialog dialog(list, CoordinateFormat::DDMMSS, CGeoPosition(), nullptr);
    List(dialog).setCurrentItem(List(dialog).topLevelItem(1));

    EXPECT_EQ(Text(dialog, "name"), "Quay");
    EXPECT_EQ(Text(dialog, "second"), "333000.00");
    EXPECT_EQ(Child<QComboBox>(dialog, "secondHemisphere").currentText(), "South");
    EXPECT_EQ(Text(dialog, "first"), "1511500.00");
    EXPECT_EQ(Child<QComboBox>(dialog, "firstHemisphere").currentText(), "East");
    EXPECT_EQ(Child<QComboBox>(dialog, "radius").currentText(), "5.0");
    Click(dialog, "updateButton");
    EXPECT_DOUBLE_EQ(dialog.GetWaypoints()[1].m_position.m_latitude, -33.5);
    EXPECT_EQ(Shown(dialog, 1, 1), "333000.00 S : 1511500.00 E");
}

TEST_F(WaypointDialogTest, UtmZoneDecidesTheHemisphereAndBadRadiusIsKept)
{
    CWaypointEditDialog dialog({Named("Pier", 48.0, 11.0, 7.5)}, CoordinateFormat::UTM,
                               CGeoPosition(), nullptr);
    EXPECT_TRUE(Child<QLineEdit>(dialog, "zone").isVisibleTo(&dialog));
    EXPECT_FALSE(Child<QComboBox>(dialog, "secondHemisphere").isVisibleTo(&dialog));
    List(dialog).setCurrentItem(List(dialog).topLevelItem(0));
    Type(dialog, "first", "6290000");
    Type(dialog, "second", "334000");
    Type(dialog, "zone", "55H");
    Type(dialog, "name", "Wharf");
    Child<QComboBox>(dialog, "radius").setEditText("wide");
    Click(dialog, "updateButton");

    const CWaypoint &w = dialog.GetWaypoints()[0];
    EXPECT_NEAR(w.m_position.m_latitude, -33.51, 0.01);
    EXPECT_EQ(w.m_radius, 7.5);
    EXPECT_EQ(w.m_name, "Wharf");
    EXPECT_EQ(Shown(dialog, 0, 1).toStdString(),
              FormatPosition(w.m_position, " : ", CoordinateFormat::UTM));
}

TEST_F(WaypointDialogTest, AddAtTheHeadRemoveAndButtonStates)
{
    CWaypointEditDialog dialog({Named("Pier", 48.0, 11.0)}, CoordinateFormat::DD,
                               CGeoPosition(-1.5, 2.25, 0.0), nullptr);
    EXPECT_EQ((std::array{Enabled(dialog, "updateButton"), Enabled(dialog, "removeButton")}),
              (std::array{false, false}));
    // Preset from the proposed position.
    EXPECT_EQ(Text(dialog, "name"), "unnamed");
    EXPECT_EQ(Text(dialog, "second"), "01.500000");
    EXPECT_EQ(Child<QComboBox>(dialog, "secondHemisphere").currentIndex(), 1);

    Type(dialog, "name", "Café");
    Click(dialog, "addButton");
    ASSERT_EQ(dialog.GetWaypoints().size(), 2U);
    EXPECT_EQ(dialog.GetWaypoints()[0].m_name, "Café");
    EXPECT_EQ(dialog.GetWaypoints()[0].m_position, CGeoPosition(-1.5, 2.25, 0.0));
    EXPECT_EQ(dialog.GetWaypoints()[1].m_name, "Pier");
    EXPECT_EQ(Shown(dialog, 0), QString::fromUtf8("Café"));
    EXPECT_TRUE(Enabled(dialog, "removeButton"));

    // Removing leaves nothing selected: a second tap must not take the next waypoint too.
    List(dialog).setCurrentItem(List(dialog).topLevelItem(1));
    Click(dialog, "removeButton");
    EXPECT_FALSE(Enabled(dialog, "removeButton"));
    Click(dialog, "removeButton");
    ASSERT_EQ(dialog.GetWaypoints().size(), 1U);
    EXPECT_EQ(dialog.GetWaypoints()[0].m_name, "Café");

    List(dialog).setCurrentItem(List(dialog).topLevelItem(0));
    EXPECT_TRUE(Enabled(dialog, "updateButton"));
    Click(dialog, "removeButton");
    EXPECT_TRUE(dialog.GetWaypoints().empty());
    EXPECT_EQ((std::array{Enabled(dialog, "updateButton"), Enabled(dialog, "removeButton")}),
              (std::array{false, false}));
}

TEST_F(WaypointDialogTest, SortedViewKeepsTheStoredOrder)
{
    const CWaypointList list = {Named("b", 1, 1), Named("c", 2, 2), Named("a", 3, 3)};
    CWaypointEditDialog edit(list, CoordinateFormat::DD, CGeoPosition(), nullptr);
    edit.show();
    TapHeader(edit, 0);
    EXPECT_EQ((QStringList{Shown(edit, 0), Shown(edit, 1), Shown(edit, 2)}),
              (QStringList{"a", "b", "c"}));

    TapRow(edit, 0);
    Type(edit, "name", "a2");
    Click(edit, "updateButton");
    TapRow(edit, 1); // "b", stored first
    Click(edit, "removeButton");
    Type(edit, "name", "0");
    Click(edit, "addButton"); // stored at the head, shown where the sort puts it
    std::vector<std::string> names;
    for (const CWaypoint &w : edit.GetWaypoints())
        names.push_back(w.m_name);
    EXPECT_EQ(names, (std::vector<std::string>{"0", "c", "a2"}));
    EXPECT_EQ(Shown(edit, 0), "0");
    TapRow(edit, 2);
    EXPECT_EQ(Text(edit, "name"), "c");

    CWaypointSelectDialog select(list, CoordinateFormat::DD, nullptr);
    select.show();
    EXPECT_FALSE(Enabled(select, "okButton"));
    EXPECT_EQ(select.GetSelectedIndex(), -1);
    TapHeader(select, 0);
    TapHeader(select, 0); // descending: c, b, a
    TapRow(select, 2);
    EXPECT_EQ(select.GetSelectedIndex(), 2);
    EXPECT_TRUE(Enabled(select, "okButton"));
    QTreeWidget &shown = List(select);
    DoubleTap(*shown.viewport(), shown.visualItemRect(shown.topLevelItem(0)).center());
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
        EXPECT_EQ(Child<QComboBox>(untouched, "type").currentText(), "21");
        EXPECT_EQ(untouched.GetDescription(), w.m_description);
        EXPECT_EQ((std::pair{untouched.GetType(), untouched.GetAction()}), (std::pair{21, 4}));
    }

    CWaypointEditDialog dialog({w}, CoordinateFormat::DD, CGeoPosition(), nullptr);
    List(dialog).setCurrentItem(List(dialog).topLevelItem(0));
    QTimer::singleShot(0, [] {
        auto *d = qobject_cast<CWaypointDescriptionDialog *>(QApplication::activeModalWidget());
        ASSERT_NE(d, nullptr);
        EXPECT_EQ(d->windowTitle(), "Waypoint Description");
        Child<QPlainTextEdit>(*d, "description").selectAll();
        Child<QPlainTextEdit>(*d, "description").insertPlainText(QString::fromUtf8("Brücke"));
        Child<QComboBox>(*d, "type").setCurrentIndex(15);
        Child<QComboBox>(*d, "action").setCurrentIndex(2);
        Click(*d, "okButton");
    });
    Click(dialog, "descriptionButton");
    EXPECT_EQ(dialog.GetWaypoints()[0].m_description, w.m_description); // only Update applies
    Click(dialog, "updateButton");
    const CWaypoint &updated = dialog.GetWaypoints()[0];
    EXPECT_EQ(updated.m_description, "Brücke");
    EXPECT_EQ((std::pair{updated.m_type, updated.m_action}), (std::pair{15, 2}));
}
