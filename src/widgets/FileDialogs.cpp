#include "widgets/FileDialogs.h"

#include "widgets/FileSelector.h"

#include <QFileDialog>

QString ChooseOpenFile(QWidget *parent, bool advanced, const QString &title,
                       const QString &filterName, const QString &pattern,
                       const QString &startFolder)
{
    if (!advanced)
        return QFileDialog::getOpenFileName(parent, title, startFolder, filterName);

    // The selector has a title of its own.
    CFileSelector selector(parent);
    selector.SetPattern(pattern);
    if (!startFolder.isEmpty())
        selector.SetStartFolder(startFolder);
    return selector.exec() == QDialog::Accepted ? selector.GetPath() : QString();
}

QString ChooseSaveFile(QWidget *parent, const QString &title, const QString &filterName,
                       const QString &startFolder)
{
    // QFileDialog prompts before overwriting and adds no suffix unless told to.
    return QFileDialog::getSaveFileName(parent, title, startFolder, filterName);
}
