#pragma once

#include <QString>

class QWidget;

/// Asks for a file to read: the program's own selector when `advanced`, filtered by `pattern`,
/// else the standard dialog with the filter `filterName`, whose text carries the pattern
/// ("NMEA Log Files (*.nmea)"). Returns the chosen path, or an empty string on cancel.
QString ChooseOpenFile(QWidget *parent, bool advanced, const QString &title,
                       const QString &filterName, const QString &pattern,
                       const QString &startFolder);

/// Asks for a file to write with the standard dialog: an existing file is only taken after
/// the user agreed to overwrite it, and the name is returned as typed, without a suffix added.
/// Returns the path, or an empty string on cancel.
QString ChooseSaveFile(QWidget *parent, const QString &title, const QString &filterName,
                       const QString &startFolder);
