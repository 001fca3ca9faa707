#pragma once

#include <QString>

class QWidget;

/// Asks for a file to read: the program's own selector when `advanced`, filtered by `pattern`,
/// else the standard dialog with the filters `filterName`, whose text carries the patterns
/// ("NMEA Log Files (*.nmea);;All files (*)"). `title` says what the file is for; the selector
/// keeps its own when it is empty. Returns the chosen path, or an empty string on cancel.
QString ChooseOpenFile(QWidget *parent, bool advanced, const QString &title,
                       const QString &filterName, const QString &pattern,
                       const QString &startFolder);

/// Asks for a file to write with the standard dialog: an existing file is only taken after
/// the user agreed to overwrite it. A name typed without an extension gets `defaultExtension`
/// ("nmea", no dot; see WithDefaultExtension), and when that names an existing file the user
/// is asked again (No reopens the dialog). Returns the path, or an empty string on cancel.
QString ChooseSaveFile(QWidget *parent, const QString &title, const QString &filterName,
                       const QString &startFolder, const QString &defaultExtension = {});
