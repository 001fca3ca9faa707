#pragma once

#include "Cli.h"
#include "CliArguments.h"
#include "storage/DatabaseFile.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// True when nothing is at `path` (as opposed to something that does not read).
bool IsMissing(const std::string &path);
/// "veloran-cli: WHAT 'PATH': REASON" on standard error; returns kExitFile.
int FileError(const char *what, const std::string &path, const std::string &reason);
/// The data directory of --data-dir, VELORAN_DATA_DIR or the default, as a local path.
std::string CliDataDirectory(const std::optional<std::string> &dataDir);

/// Where a command's database is: `--db FILE`, `--data-dir DIR` or neither.
struct CDatabaseChoice {
    std::optional<std::string> db;
    std::optional<std::string> dataDir;
};
/// The options --db and --data-dir.
std::vector<CCliOption> DatabaseOptions(CDatabaseChoice &where);

/// What tells the waypoint and the map database apart for the commands that open one.
template <class Load, class List> struct CDatabaseKind {
    const char *fileName;
    const char *fallbackName; ///< read while fileName is missing, never written
    Load (*loadFile)(const std::string &);
    List Load::*items;
    const CDatabaseCodec<typename List::value_type> &(*codec)();
    const char *limits; ///< what the reader accepts, in words
};

/// A text on one line, whatever it holds: control characters become blanks.
std::string OneLine(std::string text);

/// Writes what a command reports and checks that it arrived, so that a full or closed output
/// stops the command before it changes anything. 0 or the exit status.
int WriteReport(const std::string &text);

/// The database a command works on (`--db FILE`, else the data directory's with its fallback)
/// and where it is saved.
template <class Load, class List> class CCliDatabase
{
public:
    explicit CCliDatabase(const CDatabaseKind<Load, List> &kind)
        : m_kind(kind)
    {
    }

    List m_items;

    /// Reads it. When `creating`, an empty one starts where no file is yet, and the database
    /// stays locked against other programs' saves until this one is done. A damaged file is
    /// reported; a `listing` shows what was read of it, the others stop, so that no partial list
    /// is ever written over it or passes for the whole. Returns 0 or the exit status.
    int Open(const CDatabaseChoice &where, bool creating, bool listing)
    {
        Load load;
        if (where.db) {
            m_path = *where.db;
        } else {
            m_directory = CliDataDirectory(where.dataDir);
            m_path = m_directory + '/' + m_kind.fileName;
        }
        if (creating) {
            m_lock = std::make_unique<CDatabaseLock>(m_path);
            if (m_lock->GetError() != 0)
                return FileError("cannot lock", m_path, std::strerror(m_lock->GetError()));
        }
        if (where.db) {
            load = m_kind.loadFile(m_path);
            if (!load.opened && creating && IsMissing(m_path))
                return kExitOk;
            if (!load.opened)
                return Error(load);
        } else {
            const std::string fallback = m_directory + '/' + m_kind.fallbackName;
            load = LoadFirstDatabase<Load>(m_directory, {m_kind.fileName, m_kind.fallbackName},
                                           m_kind.loadFile);
            const bool primaryMissing = IsMissing(m_path);
            if (!load.opened && creating && primaryMissing && IsMissing(fallback))
                return kExitOk;
            // A primary file that exists but does not read must not be saved over with the
            // fallback's records.
            const bool fellBack = load.opened && load.path != m_path;
            if (!load.opened || (creating && fellBack && !primaryMissing)) {
                const std::string &failed =
                    primaryMissing && !IsMissing(fallback) ? fallback : m_path;
                return Error(m_kind.loadFile(failed));
            }
        }
        m_items = std::move(load.*m_kind.items);
        m_damaged = load.damaged;
        // Read from the fallback: the file saved to was not there.
        m_stamp = load.path == m_path ? load.stamp : CDatabaseStamp{};
        if (m_damaged) {
            Error(load);
            if (!listing)
                return kExitFile;
        }
        return kExitOk;
    }

    [[nodiscard]] bool IsDamaged() const { return m_damaged; }
    /// The file read or to be written.
    [[nodiscard]] const std::string &GetPath() const { return m_path; }

    /// Adds `added` and saves. Should another program have saved meanwhile without taking the
    /// lock, its version is kept and `added` appended to it. 0 or the exit status after
    /// reporting the failure; a list a reader would refuse is not written.
    int Save(const List &added)
    {
        CChangeSet<typename List::value_type> changes;
        changes.added = added;
        List mine = m_items;
        mine.insert(mine.end(), added.begin(), added.end());
        auto save = SaveDatabaseChangesLocked(m_path, m_stamp, mine, changes, m_kind.codec());
        if (save.outcome == SaveOutcome::Failed && save.error == EFBIG)
            return FileError("cannot write", m_path,
                             std::string("a reader takes ") + m_kind.limits + "; nothing changed");
        if (save.outcome != SaveOutcome::Saved && save.outcome != SaveOutcome::Merged)
            return FileError("cannot write", m_path,
                             save.detail.empty() ? "changed meanwhile" : save.detail);
        m_items = std::move(save.items);
        m_stamp = save.stamp;
        return kExitOk;
    }

private:
    // A load's failure; its detail names the file already.
    int Error(const Load &load) const
    {
        std::fprintf(stderr, "veloran-cli: cannot read the %s database: %s\n", m_kind.codec().noun,
                     load.detail.c_str());
        return kExitFile;
    }

    const CDatabaseKind<Load, List> &m_kind;
    std::string m_path;
    std::string m_directory; ///< set when it is the data directory's
    bool m_damaged = false;
    CDatabaseStamp m_stamp;                ///< of m_path as read
    std::unique_ptr<CDatabaseLock> m_lock; ///< held from Open on when creating
};
