#include "widgets/FormWidgets.h"

#include "base/Mnemonic.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QStyledItemDelegate>
#include <QTreeWidget>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

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

namespace
{

// The first widget in `item` that Tab reaches.
QWidget *FirstFocusable(QLayoutItem *item)
{
    if (item == nullptr)
        return nullptr;
    if (QWidget *widget = item->widget()) {
        if (widget->focusPolicy() & Qt::TabFocus)
            return widget;
        for (QWidget *part : widget->findChildren<QWidget *>())
            if (part->focusPolicy() & Qt::TabFocus)
                return part;
        return nullptr;
    }
    if (QLayout *layout = item->layout())
        for (int i = 0; i < layout->count(); ++i)
            if (QWidget *found = FirstFocusable(layout->itemAt(i)))
                return found;
    return nullptr;
}

// A form row whose field is a row of a field and its chooser gets its label no buddy from Qt;
// the letter goes to the row's first field.
void GiveLabelsTheirFields(QWidget &dialog)
{
    for (QFormLayout *form : dialog.findChildren<QFormLayout *>()) {
        for (int row = 0; row < form->rowCount(); ++row) {
            QLayoutItem *labelItem = form->itemAt(row, QFormLayout::LabelRole);
            auto *label = labelItem ? qobject_cast<QLabel *>(labelItem->widget()) : nullptr;
            if (label == nullptr)
                continue;
            QWidget *buddy = label->buddy();
            if (buddy == nullptr || !(buddy->focusPolicy() & Qt::TabFocus))
                if (QWidget *field = FirstFocusable(form->itemAt(row, QFormLayout::FieldRole)))
                    label->setBuddy(field);
        }
    }
}

} // namespace

void GiveMnemonics(QWidget &dialog)
{
    GiveLabelsTheirFields(dialog);
    std::vector<std::pair<QObject *, QString>> controls;
    for (QWidget *widget : dialog.findChildren<QWidget *>()) {
        if (qobject_cast<QPushButton *>(widget) || qobject_cast<QCheckBox *>(widget)
            || qobject_cast<QRadioButton *>(widget))
            controls.emplace_back(widget, static_cast<QAbstractButton *>(widget)->text());
        else if (auto *group = qobject_cast<QGroupBox *>(widget); group && group->isCheckable())
            controls.emplace_back(widget, group->title());
        else if (auto *label = qobject_cast<QLabel *>(widget); label && label->buddy())
            controls.emplace_back(widget, label->text());
    }
    std::string taken;
    for (const auto &control : controls)
        if (const char letter = MnemonicOf(control.second.toStdString()))
            taken += letter;
    for (auto &[widget, text] : controls) {
        const std::string plain = text.toStdString();
        if (MnemonicOf(plain) != 0 || text.isEmpty())
            continue;
        const QString marked = QString::fromStdString(AddMnemonic(plain, taken));
        if (auto *button = qobject_cast<QAbstractButton *>(widget))
            button->setText(marked);
        else if (auto *group = qobject_cast<QGroupBox *>(widget))
            group->setTitle(marked);
        else
            static_cast<QLabel *>(widget)->setText(marked);
    }
}

void GiveMnemonics(QMenu &menu)
{
    std::string taken;
    const QList<QAction *> actions = menu.actions();
    for (const QAction *action : actions)
        if (const char letter = MnemonicOf(action->text().toStdString()))
            taken += letter;
    for (QAction *action : actions) {
        if (action->isSeparator())
            continue;
        const std::string text = action->text().toStdString();
        if (MnemonicOf(text) == 0)
            action->setText(QString::fromStdString(AddMnemonic(text, taken)));
        if (action->menu() != nullptr)
            GiveMnemonics(*action->menu());
    }
}
