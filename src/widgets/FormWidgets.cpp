#include "widgets/FormWidgets.h"

#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QPushButton>
#include <QScreen>
#include <QStyledItemDelegate>
#include <QTreeWidget>

#include <algorithm>

namespace
{

// Rows a finger can hit: this much of the font height, and no fewer rows shown than this.
constexpr double kRowHeightInLines = 1.9;
constexpr int kMinimumVisibleRows = 4;
// A long name is elided rather than pushing the other columns out of a small screen.
constexpr int kMaxNameColumnChars = 22;

class CTallRowDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        QSize size = QStyledItemDelegate::sizeHint(option, index);
        size.setHeight(std::max(size.height(), RowHeight(option.fontMetrics)));
        return size;
    }

    static int RowHeight(const QFontMetrics &metrics)
    {
        return qRound(metrics.height() * kRowHeightInLines);
    }
};

} // namespace

QTreeWidget *MakeReportList(const char *name, const QStringList &headers, QWidget *parent)
{
    auto *list = new QTreeWidget(parent);
    list->setObjectName(name);
    list->setColumnCount(static_cast<int>(headers.size()));
    list->setHeaderLabels(headers);
    list->setRootIsDecorated(false);
    list->setUniformRowHeights(true);
    list->setAllColumnsShowFocus(true);
    list->setSelectionMode(QAbstractItemView::SingleSelection);
    list->setSelectionBehavior(QAbstractItemView::SelectRows);
    list->setItemDelegate(new CTallRowDelegate(list));
    // Flicking with a finger moves the view by rows; per pixel is smoother.
    list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    list->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    const int rowHeight = CTallRowDelegate::RowHeight(list->fontMetrics());
    list->setMinimumHeight(list->header()->sizeHint().height() + kMinimumVisibleRows * rowHeight
                           + 2 * list->frameWidth());
    return list;
}

void FitColumns(QTreeWidget &list)
{
    for (int column = 0; column < list.columnCount(); ++column)
        list.resizeColumnToContents(column);
    const int maxName = list.fontMetrics().averageCharWidth() * kMaxNameColumnChars;
    if (list.columnWidth(0) > maxName)
        list.setColumnWidth(0, maxName);
}

QTreeWidgetItem *SelectedItem(const QTreeWidget &list)
{
    const QList<QTreeWidgetItem *> selected = list.selectedItems();
    return selected.isEmpty() ? nullptr : selected.front();
}

QComboBox *MakeChooser(const char *name, const QStringList &entries, QWidget *parent)
{
    auto *combo = new QComboBox(parent);
    combo->setObjectName(name);
    combo->addItems(entries);
    return combo;
}

QPushButton *MakeButton(const QString &text, const char *name, QWidget *parent)
{
    auto *button = new QPushButton(text, parent);
    button->setObjectName(name);
    button->setAutoDefault(false);
    return button;
}

QDialogButtonBox *MakeOkCancel(QDialog *dialog)
{
    auto *buttons = new QDialogButtonBox(dialog);
    QPushButton *ok = buttons->addButton(QDialog::tr("OK"), QDialogButtonBox::AcceptRole);
    ok->setObjectName("okButton");
    ok->setDefault(true);
    buttons->addButton(QDialog::tr("Cancel"), QDialogButtonBox::RejectRole)
        ->setObjectName("cancelButton");
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    return buttons;
}

// Small screens (480x640) get the whole screen rather than a dialog running off its edge.
void ResizeWithin(QDialog &dialog, QSize preferred)
{
    const QScreen *screen = dialog.screen();
    if (screen != nullptr)
        preferred = preferred.boundedTo(screen->availableGeometry().size());
    dialog.resize(preferred.expandedTo(dialog.minimumSizeHint()));
}
