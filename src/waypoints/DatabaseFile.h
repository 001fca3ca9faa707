#pragma once

#include "waypoints/AtomicFile.h"

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

/// How reading one database file went.
struct CDatabaseRead {
    std::string path; ///< the file read; empty when it did not open
    bool opened = false;
    bool damaged = false;
    std::string detail; ///< why it failed (for the message box's details), else empty
};

/// Reads the file at `path` (at most `maxBytes`) and hands its bytes to `decode`, which returns
/// false when they break off; `damageText` then says how far they went ("damaged after ...").
CDatabaseRead ReadDatabaseFile(const std::string &path, std::size_t maxBytes,
                               const std::function<bool(std::string_view)> &decode,
                               const std::function<std::string()> &damageText);

/// The load of the first of `names` in `directory` that opens (`loadFile` reads one path); when
/// none opens, an empty load whose detail lists every failure.
template <class Load, class LoadFile>
Load LoadFirstDatabase(const std::string &directory, std::initializer_list<const char *> names,
                       LoadFile loadFile)
{
    std::string detail;
    for (const char *name : names) {
        Load load = loadFile(JoinDatabasePath(directory, name));
        if (load.opened)
            return load;
        detail += (detail.empty() ? "" : "\n") + load.detail;
    }
    Load none;
    none.detail = std::move(detail);
    return none;
}
