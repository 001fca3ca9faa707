#pragma once

#include <QSize>
#include <QStringList>

class QComboBox;
class QDialog;
class QDialogButtonBox;
class QMenu;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;
class QWidget;

// Parts the edit dialogs share, so that they look and behave alike on a small touch screen.

/// A single-selection list of whole rows with `headers`, rows tall enough for a finger and
/// room for a few of them.
QTreeWidget *MakeReportList(const char *name, const QStringList &headers, QWidget *parent);

/// Every column as wide as its header and rows; the first no wider than a long name.
void FitColumns(QTreeWidget &list);

/// The selected row, or null.
[[nodiscard]] QTreeWidgetItem *SelectedItem(const QTreeWidget &list);

QComboBox *MakeChooser(const char *name, const QStringList &entries, QWidget *parent);

/// A button that never becomes the default: Enter in a field means OK.
QPushButton *MakeButton(const QString &text, const char *name, QWidget *parent);

/// "OK" ("okButton", the default) and "Cancel" ("cancelButton") wired to accept and reject.
QDialogButtonBox *MakeOkCancel(QDialog *dialog);

/// `preferred`, but no larger than the screen and no smaller than the layout needs.
void ResizeWithin(QDialog &dialog, QSize preferred);

/// Marks a keyboard letter (Alt+letter) on every push button, check box, radio button,
/// checkable group and labelled field of `dialog` that has none, each letter once in the dialog;
/// letters marked already are kept. Call once the dialog is built.
void GiveMnemonics(QWidget &dialog);

/// The same for the entries and submenus of `menu`, each letter once per menu.
void GiveMnemonics(QMenu &menu);
