#pragma once

#include <QDialog>
#include <QIcon>
#include <QLocale>
#include <QString>

class QDialogButtonBox;
class QTreeWidget;
class QTreeWidgetItem;

/// The "File Open" dialog with the folder tree of the machine on the left and the files of the
/// selected folder, filtered by one pattern, on the right (columns "Name", "Date", "Size").
///
/// The tree starts with the root "/" only and reads a folder when it is expanded: a whole scan
/// would never end in /proc, /sys or a symlink loop. Folders, hidden ones and symlinked ones
/// included, appear in case-sensitive name order; an unreadable folder simply has no children.
///
/// The file list holds the regular files of the folder (and symlinks to them) whose names match
/// the pattern by fnmatch(3) without flags: case-sensitive, so "*.nmea" does not list
/// "track.NMEA", and "*" lists dot files as well. Rows are in the same name order as folders.
class CFileSelector : public QDialog
{
    Q_OBJECT

public:
    explicit CFileSelector(QWidget *parent = nullptr);

    /// Pattern of the files to list; "*" until set.
    void SetPattern(const QString &pattern);
    /// Opens the tree down to `folder` and selects it; stops at the deepest part that exists.
    void SetStartFolder(const QString &folder);

    /// The selected folder's full path ending in '/'; empty while none is selected.
    [[nodiscard]] QString GetFolder() const { return m_folder; }
    /// The selected file's name; empty while none is selected in the current folder.
    /// Folder and file name joined; empty when no file is selected.
    [[nodiscard]] QString GetPath() const;

    /// Label of the tree's root: the host name, else "My Device".
    static QString DeviceName();

private:
    void FillFolder(QTreeWidgetItem *item);
    void FillFileList();
    void OnFolderSelected();
    void OnFileSelected();

    QTreeWidget *m_tree = nullptr;
    QTreeWidget *m_files = nullptr;
    QDialogButtonBox *m_buttons = nullptr;
    QTreeWidgetItem *m_openItem = nullptr;
    QIcon m_closedIcon;
    QIcon m_openIcon;
    QIcon m_fileIcon;
    // The short date format is the one in force when the dialog was built.
    QLocale m_locale;
    QString m_pattern = QStringLiteral("*");
    QString m_folder;
    QString m_fileName;
};
