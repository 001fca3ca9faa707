#pragma once

#include <QString>

/// Where the user's data files live: `commandLineDir` (--data-dir), else VELORAN_DATA_DIR, else
/// ~/Documents/Veloran. Created when missing. Call once at start; empty until then.
void SetDataDirectory(const QString &commandLineDir);
/// The directory SetDataDirectory would take, without making it.
[[nodiscard]] QString ChooseDataDirectory(const QString &commandLineDir);
[[nodiscard]] QString GetDataDirectory();
/// Whether SetDataDirectory made the directory: a first start, with no files of the user's yet.
[[nodiscard]] bool WasDataDirectoryCreated();
