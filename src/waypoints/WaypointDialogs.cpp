#include "waypoints/WaypointDialogs.h"

#include "widgets/FormWidgets.h"
#include "widgets/MessageBox.h"

#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace
{

constexpr int kNameColumn = 0;
constexpr int kPositionColumn = 1;
// Each row remembers its waypoint's index in the stored list, which a sorted view does not show.
constexpr int kIndexRole = Qt::UserRole;
// The "Type:" and "Action:" choosers offer these codes; a stored code beyond them is kept too.
constexpr int kCodeCount = 16;

const char *const kRadiusPresets[] = {"1", "1.5", "2", "5", "10", "100", "1000", "2500"};

QString FromUtf8(const std::string &text)
{
    return QString::fromStdString(text);
}

// Descriptions written on other systems may hold CR LF; the edit would show the CR as a blank.
QString DescriptionText(const std::string &description)
{
    return FromUtf8(description).replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
}

QTreeWidget *MakeWaypointList(QWidget *parent)
{
    QTreeWidget *list =
        MakeReportList("waypointList", {QObject::tr("Name"), QObject::tr("Position")}, parent);

    // A header click sorts what is shown only; the stored order stays, and with it the indices.
    QHeaderView *header = list->header();
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(true);
    header->setSortIndicator(-1, Qt::AscendingOrder);
    QObject::connect(header, &QHeaderView::sortIndicatorChanged, list,
                     [list](int column, Qt::SortOrder order) {
                         if (column >= 0)
                             list->sortItems(column, order);
                     });
    return list;
}

void SetRow(QTreeWidgetItem &item, const CWaypoint &waypoint, CoordinateFormat format, int index)
{
    const auto [name, position] = RowTexts(waypoint, format);
    item.setText(kNameColumn, FromUtf8(name));
    item.setText(kPositionColumn, FromUtf8(position));
    item.setData(kNameColumn, kIndexRole, index);
}

void FillList(QTreeWidget &list, const CWaypointList &waypoints, CoordinateFormat format)
{
    for (std::size_t i = 0; i < waypoints.size(); ++i)
        SetRow(*new QTreeWidgetItem(&list), waypoints[i], format, static_cast<int>(i));
}

// A row added or changed goes where the chosen sort puts it.
void Resort(QTreeWidget &list)
{
    const QHeaderView *header = list.header();
    if (header->sortIndicatorSection() >= 0)
        list.sortItems(header->sortIndicatorSection(), header->sortIndicatorOrder());
}

int StoredIndex(const QTreeWidgetItem *item)
{
    return item == nullptr ? -1 : item->data(kNameColumn, kIndexRole).toInt();
}

QComboBox *MakeCodeChooser(const char *name, std::int32_t code, QWidget *parent)
{
    auto *combo = new QComboBox(parent);
    combo->setObjectName(name);
    for (int i = 0; i < kCodeCount; ++i)
        combo->addItem(QString::number(i), i);
    int index = combo->findData(code);
    if (index < 0) {
        combo->addItem(QString::number(code), code);
        index = combo->count() - 1;
    }
    combo->setCurrentIndex(index);
    combo->setMinimumContentsLength(4);
    return combo;
}

} // namespace

CWaypointEditDialog::CWaypointEditDialog(const CWaypointList &waypoints, CoordinateFormat format,
                                         const CGeoPosition &proposed, QWidget *parent)
    : QDialog(parent)
    , m_waypoints(waypoints)
    , m_format(format)
{
    setWindowTitle(tr("Edit Waypoints..."));
    const bool utm = format == CoordinateFormat::UTM;

    m_name = new QLineEdit(this);
    m_name->setObjectName("name");
    m_first = new QLineEdit(this);
    m_first->setObjectName("first");
    m_firstHemisphere = MakeChooser("firstHemisphere", {tr("East"), tr("West")}, this);
    m_second = new QLineEdit(this);
    m_second->setObjectName("second");
    m_secondHemisphere = MakeChooser("secondHemisphere", {tr("North"), tr("South")}, this);
    m_zone = new QLineEdit(this);
    m_zone->setObjectName("zone");
    m_radius = new QComboBox(this);
    m_radius->setObjectName("radius");
    m_radius->setEditable(true);
    m_radius->setInsertPolicy(QComboBox::NoInsert);
    for (const char *preset : kRadiusPresets)
        m_radius->addItem(QString::fromLatin1(preset));
    m_radius->setSizeAdjustPolicy(QComboBox::AdjustToContents);

    // Equal widths keep the two coordinate edits aligned.
    const int hemisphereWidth =
        std::max(m_firstHemisphere->sizeHint().width(), m_secondHemisphere->sizeHint().width());
    m_firstHemisphere->setMinimumWidth(hemisphereWidth);
    m_secondHemisphere->setMinimumWidth(hemisphereWidth);

    auto *first = new QHBoxLayout;
    first->addWidget(m_first, 1);
    first->addWidget(m_firstHemisphere);
    auto *second = new QHBoxLayout;
    second->addWidget(m_second, 1);
    second->addWidget(m_secondHemisphere);
    auto *radius = new QHBoxLayout;
    radius->addWidget(m_radius);
    // U+2033, double prime: seconds of arc.
    auto *unit = new QLabel(QString::fromUtf8("\u2033"), this);
    QFont unitFont = unit->font();
    unitFont.setPointSizeF(unitFont.pointSizeF() * 1.5);
    unit->setFont(unitFont);
    radius->addWidget(unit);
    radius->addStretch(1);

    auto *form = new QFormLayout;
    form->addRow(tr("Name:"), m_name);
    form->addRow(utm ? tr("Northing:") : tr("Longitude:"), first);
    form->addRow(utm ? tr("Easting:") : tr("Latitude:"), second);
    form->addRow(tr("Zone:"), m_zone);
    form->addRow(tr("Radius:"), radius);
    form->setRowVisible(m_zone, utm);
    // UTM carries the hemisphere in the zone letter.
    m_firstHemisphere->setVisible(!utm);
    m_secondHemisphere->setVisible(!utm);

    QPushButton *add = MakeButton(tr("Add"), "addButton", this);
    m_update = MakeButton(tr("Update"), "updateButton", this);
    m_remove = MakeButton(tr("Remove"), "removeButton", this);
    QPushButton *describe = MakeButton(tr("Description..."), "descriptionButton", this);
    m_update->setEnabled(false);
    m_remove->setEnabled(false);
    auto *actions = new QHBoxLayout;
    for (QPushButton *button : {add, m_update, m_remove, describe})
        actions->addWidget(button);

    m_list = MakeWaypointList(this);
    FillList(*m_list, m_waypoints, m_format);
    FitColumns(*m_list);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addLayout(actions);
    layout->addWidget(m_list, 1);
    layout->addWidget(MakeOkCancel(this));

    connect(m_list, &QTreeWidget::itemSelectionChanged, this,
            &CWaypointEditDialog::OnSelectionChanged);
    connect(add, &QPushButton::clicked, this, &CWaypointEditDialog::OnAdd);
    connect(m_update, &QPushButton::clicked, this, &CWaypointEditDialog::OnUpdate);
    connect(m_remove, &QPushButton::clicked, this, &CWaypointEditDialog::OnRemove);
    connect(describe, &QPushButton::clicked, this, &CWaypointEditDialog::OnDescription);

    ShowFields(FieldsOfPosition(proposed, format));
    ResizeWithin(*this, QSize(std::max(sizeHint().width(), 440), 560));
    GiveMnemonics(*this);
}

void CWaypointEditDialog::ShowFields(const CWaypointFields &fields)
{
    m_name->setText(FromUtf8(fields.m_name));
    m_first->setText(FromUtf8(fields.m_first));
    m_firstHemisphere->setCurrentIndex(fields.m_firstHemisphere);
    m_second->setText(FromUtf8(fields.m_second));
    m_secondHemisphere->setCurrentIndex(fields.m_secondHemisphere);
    m_zone->setText(FromUtf8(fields.m_zone));
    m_radius->setEditText(FromUtf8(fields.m_radius));
    m_description = fields.m_description;
    m_type = fields.m_type;
    m_action = fields.m_action;
}

CWaypointFields CWaypointEditDialog::ReadFields() const
{
    CWaypointFields fields;
    fields.m_name = m_name->text().toStdString();
    fields.m_first = m_first->text().toStdString();
    fields.m_firstHemisphere = m_firstHemisphere->currentIndex();
    fields.m_second = m_second->text().toStdString();
    fields.m_secondHemisphere = m_secondHemisphere->currentIndex();
    fields.m_zone = m_zone->text().toStdString();
    fields.m_radius = m_radius->currentText().toStdString();
    fields.m_description = m_description;
    fields.m_type = m_type;
    fields.m_action = m_action;
    return fields;
}

void CWaypointEditDialog::OnSelectionChanged()
{
    const QTreeWidgetItem *item = SelectedItem(*m_list);
    m_update->setEnabled(item != nullptr);
    m_remove->setEnabled(item != nullptr);
    if (item != nullptr)
        ShowFields(FieldsOfWaypoint(m_waypoints[StoredIndex(item)], m_format));
}

void CWaypointEditDialog::OnAdd()
{
    CWaypoint waypoint;
    // A waypoint at a made-up position would be worse than none.
    const char *problem = nullptr;
    if (!ApplyFields(ReadFields(), m_format, waypoint, &problem)) {
        ShowError(this, QString::fromUtf8(problem));
        return;
    }
    m_waypoints.insert(m_waypoints.begin(), waypoint);
    for (int row = 0; row < m_list->topLevelItemCount(); ++row) {
        QTreeWidgetItem *item = m_list->topLevelItem(row);
        item->setData(kNameColumn, kIndexRole, StoredIndex(item) + 1);
    }
    auto *item = new QTreeWidgetItem;
    SetRow(*item, waypoint, m_format, 0);
    m_list->insertTopLevelItem(0, item);
    AfterListChange();
    // Selected, so that the stored texts show and a second Add is not a silent duplicate.
    m_list->setCurrentItem(item);
    m_list->scrollToItem(item);
}

void CWaypointEditDialog::OnUpdate()
{
    QTreeWidgetItem *item = SelectedItem(*m_list);
    if (item == nullptr)
        return;
    const int index = StoredIndex(item);
    CWaypoint &waypoint = m_waypoints[index];
    CWaypoint updated = waypoint;
    const char *problem = nullptr;
    if (!ApplyFields(ReadFields(), m_format, updated, &problem)) {
        ShowError(this, QString::fromUtf8(problem));
        return;
    }
    waypoint = updated;
    SetRow(*item, waypoint, m_format, index);
    AfterListChange();
    m_list->scrollToItem(item);
}

void CWaypointEditDialog::OnRemove()
{
    QTreeWidgetItem *item = SelectedItem(*m_list);
    if (item == nullptr)
        return;
    const int index = StoredIndex(item);
    {
        // The view would select a neighbour while its index is stale. None stays selected: a
        // second tap on "Remove" must not take the next waypoint as well, and the fields keep
        // the removed one's texts for an "Add" to bring it back.
        const QSignalBlocker blocker(m_list);
        delete item;
        m_list->clearSelection();
    }
    m_waypoints.erase(m_waypoints.begin() + index);
    for (int row = 0; row < m_list->topLevelItemCount(); ++row) {
        QTreeWidgetItem *other = m_list->topLevelItem(row);
        if (StoredIndex(other) > index)
            other->setData(kNameColumn, kIndexRole, StoredIndex(other) - 1);
    }
    OnSelectionChanged();
    FitColumns(*m_list);
}

void CWaypointEditDialog::OnDescription()
{
    CWaypointDescriptionDialog dialog(m_description, m_type, m_action, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    m_description = dialog.GetDescription();
    m_type = dialog.GetType();
    m_action = dialog.GetAction();
}

void CWaypointEditDialog::AfterListChange()
{
    Resort(*m_list);
    FitColumns(*m_list);
}

CWaypointDescriptionDialog::CWaypointDescriptionDialog(const std::string &description,
                                                       std::int32_t type, std::int32_t action,
                                                       QWidget *parent)
    : QDialog(parent)
    , m_original(description)
{
    setWindowTitle(tr("Waypoint Description"));

    m_text = new QPlainTextEdit(this);
    m_text->setObjectName("description");
    m_text->setPlainText(DescriptionText(description));
    m_type = MakeCodeChooser("type", type, this);
    m_action = MakeCodeChooser("action", action, this);

    auto *form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    form->addRow(tr("Type:"), m_type);
    form->addRow(tr("Action:"), m_action);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_text, 1);
    layout->addLayout(form);
    layout->addWidget(MakeOkCancel(this));

    ResizeWithin(*this, QSize(400, 320));
    GiveMnemonics(*this);
}

std::string CWaypointDescriptionDialog::GetDescription() const
{
    // Untouched, the text goes back byte for byte, line ends and all.
    if (!m_text->document()->isModified())
        return m_original;
    return m_text->toPlainText().toStdString();
}

std::int32_t CWaypointDescriptionDialog::GetType() const
{
    return m_type->currentData().toInt();
}

std::int32_t CWaypointDescriptionDialog::GetAction() const
{
    return m_action->currentData().toInt();
}

CWaypointSelectDialog::CWaypointSelectDialog(const CWaypointList &waypoints,
                                             CoordinateFormat format, QWidget *parent)
    : QDialog(parent)
    , m_waypoints(waypoints)
{
    setWindowTitle(tr("Select Waypoint..."));

    m_list = MakeWaypointList(this);
    FillList(*m_list, m_waypoints, format);
    FitColumns(*m_list);

    m_description = new QPlainTextEdit(this);
    m_description->setObjectName("description");
    m_description->setReadOnly(true);
    const int lines = 3;
    m_description->setFixedHeight(
        m_description->fontMetrics().lineSpacing() * lines
        + 2 * (m_description->frameWidth() + qRound(m_description->document()->documentMargin())));

    QDialogButtonBox *buttons = MakeOkCancel(this);
    m_ok = buttons->findChild<QPushButton *>("okButton");
    m_ok->setEnabled(false);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_description);
    layout->addWidget(buttons);

    connect(m_list, &QTreeWidget::itemSelectionChanged, this,
            &CWaypointSelectDialog::OnSelectionChanged);
    connect(m_list, &QTreeWidget::itemDoubleClicked, this, &CWaypointSelectDialog::accept);

    ResizeWithin(*this, QSize(std::max(sizeHint().width(), 440), 480));
    GiveMnemonics(*this);
}

int CWaypointSelectDialog::GetSelectedIndex() const
{
    return StoredIndex(SelectedItem(*m_list));
}

void CWaypointSelectDialog::OnSelectionChanged()
{
    const int index = GetSelectedIndex();
    m_ok->setEnabled(index >= 0);
    m_description->setPlainText(
        index >= 0 ? DescriptionText(m_waypoints[static_cast<std::size_t>(index)].m_description)
                   : QString());
}
