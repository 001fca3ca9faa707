#include "widgets/FileDialogs.h"

#include "base/FileExtension.h"
#include "widgets/FileSelector.h"
#include "widgets/MessageBox.h"

#include <QFileDialog>
#include <QFileInfo>

QString ChooseOpenFile(QWidget *parent, bool advanced, const QString &title,
                       const QString &filterName, const QString &pattern,
                       const QString &startFolder)
{
    if (!advanced)
        return QFileDialog::getOpenFileName(parent, title, startFolder, filterName);

    CFileSelector selector(parent);
    if (!title.isEmpty())
        selector.setWindowTitle(title);
    selector.SetPattern(pattern);
    if (!startFolder.isEmpty())
        selector.SetStartFolder(startFolder);
    return selector.exec() == QDialog::Accepted ? selector.GetPath() : QString();
}

QString ChooseSaveFile(QWidget *parent, const QString &title, const QString &filterName,
                       const QString &startFolder, const QString &defaultExtension)
{
    QString start = startFolder;
    for (;;) {
        // QFileDialog prompts before overwriting the name as typed and adds no suffix itself.
        const QString typed = QFileDialog::getSaveFileName(parent, title, start, filterName);
        if (typed.isEmpty() || defaultExtension.isEmpty())
            return typed;
        const QString path = QString::fromStdString(
            WithDefaultExtension(typed.toStdString(), defaultExtension.toStdString()));
        // The dialog asked about the name as typed, not the one it stands for.
        if (path == typed || !QFileInfo::exists(path)
            || AskQuestion(parent, title,
                           QObject::tr("%1 already exists.\nDo you want to replace it?")
                               .arg(QFileInfo(path).fileName())))
            return path;
        start = path;
    }
}
