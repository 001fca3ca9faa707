#include "maps/MapDialogs.h"

#include "settings/DataDirectory.h"
#include "widgets/FileDialogs.h"
#include "widgets/FormWidgets.h"
#include "widgets/MessageBox.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QImageReader>
#include <QInputDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace
{

constexpr int kNameColumn = 0;
constexpr int kDetailColumn = 1;
// The size a desktop starts with; a small screen gets all of itself.
constexpr int kPreferredWidth = 440;
constexpr int kPreferredHeight = 560;

QString FromUtf8(const std::string &text)
{
    return QString::fromStdString(text);
}

// Map pixels count from the top-left corner: no sign, no fraction.
QLineEdit *MakePixelEdit(const char *name, QWidget *parent)
{
    auto *edit = new QLineEdit(parent);
    edit->setObjectName(name);
    edit->setValidator(
        new QRegularExpressionValidator(QRegularExpression(QStringLiteral("[0-9]*")), edit));
    edit->setInputMethodHints(Qt::ImhDigitsOnly);
    return edit;
}

QLineEdit *MakeEdit(const char *name, QWidget *parent)
{
    auto *edit = new QLineEdit(parent);
    edit->setObjectName(name);
    return edit;
}

QHBoxLayout *Row(std::initializer_list<std::pair<QWidget *, int>> widgets)
{
    auto *row = new QHBoxLayout;
    for (const auto &[widget, stretch] : widgets)
        row->addWidget(widget, stretch);
    return row;
}

void SetPairRow(QTreeWidgetItem &item, const CPositionPair &pair, CoordinateFormat format)
{
    item.setText(kNameColumn, FromUtf8(pair.m_name));
    item.setText(kDetailColumn, FromUtf8(PairText(pair, format)));
}

void SetMapRow(QTreeWidgetItem &item, const CMapInfo &map)
{
    item.setText(kNameColumn, FromUtf8(map.m_name));
    item.setText(kDetailColumn, map.IsCalibrated() ? QDialog::tr("Yes") : QDialog::tr("No"));
}

// Removing a row leaves none selected: a second tap on "Remove" must not take the next as well.
void RemoveRow(QTreeWidget &list, QTreeWidgetItem *item)
{
    const QSignalBlocker blocker(&list);
    delete item;
    list.clearSelection();
}

} // namespace

CReferencePointsDialog::CReferencePointsDialog(std::vector<CPositionPair> pairs,
                                               const CPositionPair &proposed,
                                               CoordinateFormat format, QWidget *parent)
    : QDialog(parent)
    , m_pairs(std::move(pairs))
    , m_edited(proposed)
    , m_format(format)
{
    setWindowTitle(tr("Reference Points"));
    const bool utm = format == CoordinateFormat::UTM;

    m_name = MakeEdit("name", this);
    m_longitude = MakeEdit("longitude", this);
    m_longitudeHemisphere = MakeChooser("longitudeHemisphere", {tr("East"), tr("West")}, this);
    m_latitude = MakeEdit("latitude", this);
    m_latitudeHemisphere = MakeChooser("latitudeHemisphere", {tr("North"), tr("South")}, this);
    m_zone = MakeEdit("zone", this);
    m_x = MakePixelEdit("mapX", this);
    m_y = MakePixelEdit("mapY", this);
    // Equal widths keep the two coordinate edits aligned.
    const int hemisphereWidth = std::max(m_longitudeHemisphere->sizeHint().width(),
                                         m_latitudeHemisphere->sizeHint().width());
    m_longitudeHemisphere->setMinimumWidth(hemisphereWidth);
    m_latitudeHemisphere->setMinimumWidth(hemisphereWidth);
    // UTM carries the hemisphere in the zone letter.
    m_longitudeHemisphere->setVisible(!utm);
    m_latitudeHemisphere->setVisible(!utm);

    auto *form = new QFormLayout;
    form->addRow(tr("Name:"), m_name);
    form->addRow(utm ? tr("Easting:") : tr("Longitude:"),
                 Row({{m_longitude, 1}, {m_longitudeHemisphere, 0}}));
    form->addRow(utm ? tr("Northing:") : tr("Latitude:"),
                 Row({{m_latitude, 1}, {m_latitudeHemisphere, 0}}));
    form->addRow(tr("Zone:"), m_zone);
    form->setRowVisible(m_zone, utm);
    form->addRow(tr("Map X:"), m_x);
    form->addRow(tr("Map Y:"), m_y);

    QPushButton *add = MakeButton(tr("Add"), "addButton", this);
    m_remove = MakeButton(tr("Remove"), "removeButton", this);
    m_update = MakeButton(tr("Update"), "updateButton", this);
    m_remove->setEnabled(false);
    m_update->setEnabled(false);

    m_list = MakeReportList("pairList", {tr("Name"), tr("PositionPair")}, this);
    for (const CPositionPair &pair : m_pairs)
        SetPairRow(*new QTreeWidgetItem(m_list), pair, m_format);
    FitColumns(*m_list);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addLayout(Row({{add, 0}, {m_remove, 0}, {m_update, 0}}));
    layout->addWidget(m_list, 1);
    layout->addWidget(MakeOkCancel(this));

    connect(m_list, &QTreeWidget::itemSelectionChanged, this,
            &CReferencePointsDialog::OnSelectionChanged);
    connect(add, &QPushButton::clicked, this, &CReferencePointsDialog::OnAdd);
    connect(m_remove, &QPushButton::clicked, this, &CReferencePointsDialog::OnRemove);
    connect(m_update, &QPushButton::clicked, this, &CReferencePointsDialog::OnUpdate);

    ShowFields(FieldsOfPair(m_edited, m_format));
    // UTM rows are long; where the screen allows, they show without scrolling sideways.
    const QMargins margins = layout->contentsMargins();
    const int rowsWidth = m_list->columnWidth(kNameColumn) + m_list->columnWidth(kDetailColumn)
                          + 2 * m_list->frameWidth()
                          + m_list->verticalScrollBar()->sizeHint().width() + margins.left()
                          + margins.right();
    ResizeWithin(
        *this, QSize(std::max({sizeHint().width(), kPreferredWidth, rowsWidth}), kPreferredHeight));
    GiveMnemonics(*this);
}

void CReferencePointsDialog::ShowFields(const CReferenceFields &fields)
{
    m_name->setText(FromUtf8(fields.m_name));
    m_longitude->setText(FromUtf8(fields.m_coordinates.m_longitude));
    m_longitudeHemisphere->setCurrentIndex(fields.m_coordinates.m_longitudeHemisphere);
    m_latitude->setText(FromUtf8(fields.m_coordinates.m_latitude));
    m_latitudeHemisphere->setCurrentIndex(fields.m_coordinates.m_latitudeHemisphere);
    m_zone->setText(FromUtf8(fields.m_coordinates.m_zone));
    m_x->setText(FromUtf8(fields.m_x));
    m_y->setText(FromUtf8(fields.m_y));
}

CReferenceFields CReferencePointsDialog::ReadFields() const
{
    return {m_name->text().toStdString(),
            {m_longitude->text().toStdString(), m_longitudeHemisphere->currentIndex(),
             m_latitude->text().toStdString(), m_latitudeHemisphere->currentIndex(),
             m_zone->text().toStdString()},
            m_x->text().toStdString(),
            m_y->text().toStdString()};
}

void CReferencePointsDialog::OnSelectionChanged()
{
    QTreeWidgetItem *item = SelectedItem(*m_list);
    m_remove->setEnabled(item != nullptr);
    m_update->setEnabled(item != nullptr);
    if (item == nullptr)
        return;
    m_edited = m_pairs[static_cast<std::size_t>(m_list->indexOfTopLevelItem(item))];
    ShowFields(FieldsOfPair(m_edited, m_format));
}

void CReferencePointsDialog::OnAdd()
{
    const char *problem = nullptr;
    if (!ApplyPairFields(ReadFields(), m_format, m_edited, &problem)) {
        ShowError(this, QString::fromUtf8(problem));
        return;
    }
    m_pairs.insert(m_pairs.begin(), m_edited);
    auto *item = new QTreeWidgetItem;
    SetPairRow(*item, m_edited, m_format);
    m_list->insertTopLevelItem(0, item);
    FitColumns(*m_list);
    m_list->scrollToItem(item);
}

void CReferencePointsDialog::OnUpdate()
{
    QTreeWidgetItem *item = SelectedItem(*m_list);
    if (item == nullptr)
        return;
    const char *problem = nullptr;
    if (!ApplyPairFields(ReadFields(), m_format, m_edited, &problem)) {
        ShowError(this, QString::fromUtf8(problem));
        return;
    }
    m_pairs[static_cast<std::size_t>(m_list->indexOfTopLevelItem(item))] = m_edited;
    SetPairRow(*item, m_edited, m_format);
    FitColumns(*m_list);
}

void CReferencePointsDialog::accept()
{
    // A map calibrated by such pairs would put every position nowhere.
    if (const std::string problem = CalibrationProblem(m_pairs); !problem.empty()) {
        ShowError(this, tr("These reference points cannot calibrate the map: %1.")
                            .arg(QString::fromStdString(problem)));
        return;
    }
    QDialog::accept();
}

void CReferencePointsDialog::OnRemove()
{
    QTreeWidgetItem *item = SelectedItem(*m_list);
    if (item == nullptr)
        return;
    m_pairs.erase(m_pairs.begin() + m_list->indexOfTopLevelItem(item));
    RemoveRow(*m_list, item);
    OnSelectionChanged();
    FitColumns(*m_list);
}

CSelectMapDialog::CSelectMapDialog(CMapList maps, bool advancedFileSelector, QWidget *parent)
    : QDialog(parent)
    , m_maps(std::move(maps))
    , m_advancedFileSelector(advancedFileSelector)
{
    setWindowTitle(tr("Select Map..."));

    m_list = MakeReportList("mapList", {tr("Name of Map"), tr("Calibrated")}, this);
    for (const CMapInfo &map : m_maps)
        SetMapRow(*new QTreeWidgetItem(m_list), map);
    // The name takes what "Calibrated" leaves: about two thirds of a small screen.
    QHeaderView *header = m_list->header();
    header->setStretchLastSection(false);
    header->setSectionResizeMode(kNameColumn, QHeaderView::Stretch);
    header->setSectionResizeMode(kDetailColumn, QHeaderView::ResizeToContents);

    m_file = MakeEdit("mapFile", this);
    m_name = MakeEdit("name", this);
    m_update = MakeButton(tr("Update"), "updateButton", this);
    m_remove = MakeButton(tr("Remove"), "removeButton", this);
    m_browse = MakeButton(tr("..."), "browseButton", this);
    for (QPushButton *button : {m_update, m_remove, m_browse})
        button->setEnabled(false);
    // Wide enough for a finger, not for the text alone.
    m_browse->setMinimumWidth(m_browse->sizeHint().height() * 3 / 2);
    m_browse->setMaximumWidth(m_browse->minimumWidth());

    auto *form = new QFormLayout;
    form->addRow(tr("Mapfile:"), Row({{m_file, 1}, {m_browse, 0}}));
    form->addRow(tr("Name:"), m_name);
    auto *actions = Row({{m_update, 0}, {m_remove, 0}});
    actions->addStretch(1);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_list, 1);
    layout->addLayout(form);
    layout->addLayout(actions);
    layout->addWidget(MakeOkCancel(this));

    connect(m_list, &QTreeWidget::itemSelectionChanged, this,
            &CSelectMapDialog::OnSelectionChanged);
    connect(m_update, &QPushButton::clicked, this, &CSelectMapDialog::OnUpdate);
    connect(m_remove, &QPushButton::clicked, this, &CSelectMapDialog::OnRemove);
    connect(m_browse, &QPushButton::clicked, this, &CSelectMapDialog::OnBrowse);

    ResizeWithin(*this, QSize(kPreferredWidth, kPreferredHeight));
    GiveMnemonics(*this);
}

void CSelectMapDialog::OnSelectionChanged()
{
    QTreeWidgetItem *item = SelectedItem(*m_list);
    for (QPushButton *button : {m_update, m_remove, m_browse})
        button->setEnabled(item != nullptr);
    if (item == nullptr)
        return;
    m_chosen = m_list->indexOfTopLevelItem(item);
    const CMapInfo &map = m_maps[static_cast<std::size_t>(m_chosen)];
    m_name->setText(FromUtf8(map.m_name));
    m_file->setText(FromUtf8(map.m_file));
}

void CSelectMapDialog::OnUpdate()
{
    QTreeWidgetItem *item = SelectedItem(*m_list);
    if (item == nullptr)
        return;
    CMapInfo &map = m_maps[static_cast<std::size_t>(m_list->indexOfTopLevelItem(item))];
    map.m_name = m_name->text().toStdString();
    map.m_file = m_file->text().toStdString();
    SetMapRow(*item, map);
}

void CSelectMapDialog::OnRemove()
{
    QTreeWidgetItem *item = SelectedItem(*m_list);
    if (item == nullptr)
        return;
    m_maps.erase(m_maps.begin() + m_list->indexOfTopLevelItem(item));
    RemoveRow(*m_list, item);
    // The selected row is the chosen one; nothing is chosen until another is selected.
    m_chosen = -1;
    OnSelectionChanged();
}

void CSelectMapDialog::OnBrowse()
{
    const QFileInfo current(m_file->text());
    const QString folder = !m_file->text().isEmpty() && current.dir().exists()
                               ? current.absolutePath()
                               : GetDataDirectory();
    // The selector takes one fnmatch pattern, which cannot name several suffixes.
    const QString path = ChooseOpenFile(this, m_advancedFileSelector, tr("Select map image"),
                                        ImageFileFilter(), QStringLiteral("*"), folder);
    if (!path.isEmpty())
        m_file->setText(path);
}

std::optional<TileRowOrder> ChooseTileRowOrder(QWidget *parent, TileRowOrder detected)
{
    const QStringList items{QDialog::tr("XYZ: row 0 in the north (web maps, tile downloaders)"),
                            QDialog::tr("TMS: row 0 in the south (gdal2tiles by default)")};
    bool ok = false;
    const QString chosen = QInputDialog::getItem(
        parent, QDialog::tr("Tile Folder"), QDialog::tr("How are the tile rows numbered?"), items,
        detected == TileRowOrder::TMS ? 1 : 0, false, &ok);
    if (!ok)
        return std::nullopt;
    return chosen == items[1] ? TileRowOrder::TMS : TileRowOrder::XYZ;
}

QString ImageFileFilter()
{
    // The usual suffixes first, then whatever else the installed plugins read.
    static const char *const kUsual[] = {"bmp", "gif", "png", "jpg", "jpeg", "tif", "tiff"};
    const QList<QByteArray> readable = QImageReader::supportedImageFormats();
    QStringList patterns;
    for (const char *suffix : kUsual) {
        if (readable.contains(suffix))
            patterns << QStringLiteral("*.") + QLatin1String(suffix);
    }
    for (const QByteArray &suffix : readable) {
        const QString pattern = QStringLiteral("*.") + QString::fromLatin1(suffix);
        if (!patterns.contains(pattern))
            patterns << pattern;
    }
    // Tile maps in one file beside them.
    patterns << QStringLiteral("*.mbtiles");
    return QDialog::tr("Raster Maps (%1)").arg(patterns.join(QLatin1Char(' ')))
           + QStringLiteral(";;") + QDialog::tr("All Files (*)");
}
