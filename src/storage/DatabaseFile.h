#pragma once

#include "storage/AtomicFile.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What a database file was when it was read: its identity, size, time and content. Another
/// program's save changes at least one of them.
struct CDatabaseStamp {
    bool exists = false;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t modifiedNs = 0;
    std::uint64_t hash = 0;

    bool operator==(const CDatabaseStamp &) const = default;
};

/// FNV-1a over the bytes: changes that keep size and time still show.
std::uint64_t HashBytes(std::string_view bytes);

/// How reading one database file went.
struct CDatabaseRead {
    std::string path; ///< the file read; empty when it did not open
    bool opened = false;
    bool damaged = false;
    std::string detail;   ///< why it failed (for the message box's details), else empty
    CDatabaseStamp stamp; ///< of the file read, when it opened
};

/// Reads the file at `path` (at most `maxBytes`) and hands its bytes to `decode`, which says why
/// they are no whole database ("damaged after ..."), or nothing. Temporary files an interrupted
/// save left beside it are removed.
CDatabaseRead ReadDatabaseFile(const std::string &path, std::size_t maxBytes,
                               const std::function<std::string(std::string_view)> &decode);

/// Whether database bytes are text instead (a GPX, a note): a byte-order mark, or a head without
/// the zero and control bytes that counts, string headers and numbers always bring.
bool LooksLikeText(std::string_view bytes);
/// Why bytes are no `noun` database before a record is read ("not a waypoint database (it
/// reads as text)", or a count beyond `maxCount`), or empty.
std::string DescribeUndecodable(std::string_view bytes, std::size_t maxCount, const char *noun);

/// The stamp of the file at `path` now (`exists` false when nothing is there) and its bytes.
/// 0 or the errno of a file that is there but does not read.
int ReadDatabaseStamp(const std::string &path, std::size_t maxBytes, CDatabaseStamp &stamp,
                      std::string *bytes = nullptr);

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

/// An exclusive advisory lock that serialises the saves of every program on one database. It
/// lies on ".NAME.lock" beside the file (links followed): the database itself is replaced by
/// each save, so a lock on it would not hold.
class CDatabaseLock
{
public:
    explicit CDatabaseLock(const std::string &databasePath);
    ~CDatabaseLock();
    CDatabaseLock(const CDatabaseLock &) = delete;
    CDatabaseLock &operator=(const CDatabaseLock &) = delete;

    /// 0 once held, else the errno.
    [[nodiscard]] int GetError() const { return m_error; }

private:
    int m_fd = -1;
    int m_error = 0;
};

/// Why `path` must not be replaced by an export, or empty when it may: it names one of
/// `databases` (the same file by any name: path, symbolic or hard link) or something other
/// than a regular file.
std::string ExportTargetProblem(const std::string &path, const std::vector<std::string> &databases);

/// What one program did to a list since it read it: items appended, and items edited or deleted
/// (named by their index and value as read).
template <class T> struct CChangeSet {
    struct CEdit {
        std::size_t index = 0;
        T original;
        std::optional<T> replacement; ///< empty: deleted
    };
    std::vector<T> added;
    std::vector<CEdit> edits;
    /// False when the lists were too far apart to tell what changed.
    bool known = true;

    [[nodiscard]] bool IsEmpty() const { return known && added.empty() && edits.empty(); }
};

namespace database_detail
{
// Longest common subsequence of two short ranges: pairs (i, j) of equal items, in order.
template <class T>
std::vector<std::pair<std::size_t, std::size_t>> CommonItems(const T *a, std::size_t n, const T *b,
                                                             std::size_t m)
{
    std::vector<std::uint32_t> table((n + 1) * (m + 1), 0);
    const auto at = [&](std::size_t i, std::size_t j) -> std::uint32_t & {
        return table[i * (m + 1) + j];
    };
    for (std::size_t i = n; i-- > 0;)
        for (std::size_t j = m; j-- > 0;)
            at(i, j) = a[i] == b[j] ? at(i + 1, j + 1) + 1 : std::max(at(i + 1, j), at(i, j + 1));
    std::vector<std::pair<std::size_t, std::size_t>> pairs;
    for (std::size_t i = 0, j = 0; i < n && j < m;) {
        if (a[i] == b[j]) {
            pairs.emplace_back(i++, j++);
        } else if (at(i + 1, j) >= at(i, j + 1)) {
            ++i;
        } else {
            ++j;
        }
    }
    return pairs;
}
} // namespace database_detail

/// Beyond this many cells the changed middle of two lists is not compared item by item.
inline constexpr std::size_t kMaxDiffCells = std::size_t{4} << 20;

/// The changes that turn `before` into `after`: the common head and tail are kept, the middle is
/// matched item by item; an item of `before` and one of `after` between the same kept items are
/// an edit, what is left over there a deletion or an addition.
template <class T>
CChangeSet<T> DiffLists(const std::vector<T> &before, const std::vector<T> &after)
{
    CChangeSet<T> changes;
    std::size_t head = 0;
    while (head < before.size() && head < after.size() && before[head] == after[head])
        ++head;
    std::size_t tail = 0;
    while (tail < before.size() - head && tail < after.size() - head
           && before[before.size() - 1 - tail] == after[after.size() - 1 - tail])
        ++tail;
    const std::size_t n = before.size() - head - tail;
    const std::size_t m = after.size() - head - tail;
    if (n == 0 && m == 0)
        return changes;
    std::vector<std::pair<std::size_t, std::size_t>> kept;
    if (n == m) {
        // Edits in place, the common case; nothing needs matching.
    } else if (n != 0 && m != 0 && (n + 1) * (m + 1) > kMaxDiffCells) {
        changes.known = false;
        return changes;
    } else if (n != 0 && m != 0) {
        kept = database_detail::CommonItems(before.data() + head, n, after.data() + head, m);
    }
    kept.emplace_back(n, m); // the end closes the last gap
    std::size_t i = 0;
    std::size_t j = 0;
    for (const auto &[ki, kj] : kept) {
        for (; i < ki && j < kj; ++i, ++j) {
            if (!(before[head + i] == after[head + j]))
                changes.edits.push_back({head + i, before[head + i], after[head + j]});
        }
        for (; i < ki; ++i)
            changes.edits.push_back({head + i, before[head + i], std::nullopt});
        for (; j < kj; ++j)
            changes.added.push_back(after[head + j]);
        i = ki + 1;
        j = kj + 1;
    }
    return changes;
}

/// Applies `changes` to `list` (another program's newer version of it): additions appended,
/// each edit or deletion to the item it names (at its old index, else the only item equal to
/// its old value). False, and `list` unchanged, when an item cannot be found that way.
template <class T> bool ApplyChanges(std::vector<T> &list, const CChangeSet<T> &changes)
{
    if (!changes.known)
        return false;
    std::vector<std::size_t> targets;
    for (const auto &edit : changes.edits) {
        std::optional<std::size_t> found;
        if (edit.index < list.size() && list[edit.index] == edit.original) {
            found = edit.index;
        } else {
            for (std::size_t k = 0; k < list.size(); ++k) {
                if (!(list[k] == edit.original))
                    continue;
                if (found)
                    return false;
                found = k;
            }
        }
        if (!found || std::find(targets.begin(), targets.end(), *found) != targets.end())
            return false;
        targets.push_back(*found);
    }
    std::vector<bool> erase(list.size(), false);
    for (std::size_t e = 0; e < changes.edits.size(); ++e) {
        if (changes.edits[e].replacement)
            list[targets[e]] = *changes.edits[e].replacement;
        else
            erase[targets[e]] = true;
    }
    std::size_t out = 0;
    for (std::size_t k = 0; k < list.size(); ++k) {
        if (!erase[k]) {
            if (out != k)
                list[out] = std::move(list[k]);
            ++out;
        }
    }
    list.resize(out);
    list.insert(list.end(), changes.added.begin(), changes.added.end());
    return true;
}

/// How a database is turned into bytes and back, and what a reader of it accepts.
template <class T> struct CDatabaseCodec {
    std::function<std::string(const std::vector<T> &)> encode;
    /// False when the bytes are no complete database (the items before the fault are kept).
    std::function<bool(std::string_view, std::vector<T> &)> decode;
    /// 0, or the errno (EFBIG) when a reader would refuse the list.
    std::function<int(const std::vector<T> &)> checkLimits;
    std::size_t maxBytes = 0;
    std::size_t maxCount = 0; ///< of items
    const char *noun = "";    ///< of one item: "waypoint"
};

/// Reads the database file at `path` into `items` (appended; those before a fault are kept).
template <class T>
CDatabaseRead ReadDatabaseFile(const std::string &path, const CDatabaseCodec<T> &codec,
                               std::vector<T> &items)
{
    return ReadDatabaseFile(path, codec.maxBytes, [&](std::string_view bytes) {
        std::string damage = DescribeUndecodable(bytes, codec.maxCount, codec.noun);
        if (damage.empty() && !codec.decode(bytes, items))
            damage = "damaged after " + std::to_string(items.size()) + " " + codec.noun + "s";
        return damage;
    });
}

/// How a save went.
enum class SaveOutcome {
    Saved,    ///< the file held what was read: it now holds `mine`
    Merged,   ///< another program had changed it: it now holds its version with `changes` applied
    Conflict, ///< another program had changed it and `changes` do not apply: nothing written
    Failed,   ///< nothing written; `error` says why
};

template <class T> struct CDatabaseSave {
    SaveOutcome outcome = SaveOutcome::Failed;
    int error = 0;
    std::string detail;   ///< for Failed: what went wrong, naming the file
    std::vector<T> items; ///< what the file holds now (Saved, Merged) or the other version
    CDatabaseStamp stamp; ///< of the file now
};

/// Writes `bytes` to `path` as an in-place overwrite would have left it (the old file's bytes
/// beyond them kept, at most `maxOldBytes` read: existing databases look like that, and readers
/// stop after the counted records anyway), crash-safely through ReplaceFileAtomically; `stamp`,
/// when given, becomes the new file's. 0 or the errno; the old file is kept on failure.
int WriteDatabaseBytes(const std::string &path, std::string bytes, std::size_t maxOldBytes,
                       CDatabaseStamp *stamp, const CWriteFault *fault = nullptr);

/// Writes `items` to the database file at `path` as WriteDatabaseBytes does; EFBIG, and nothing
/// written, when a reader would refuse them.
template <class T>
int WriteDatabaseFile(const std::string &path, const std::vector<T> &items,
                      const CDatabaseCodec<T> &codec, const CWriteFault *fault = nullptr,
                      CDatabaseStamp *stamp = nullptr)
{
    if (const int error = codec.checkLimits(items))
        return error;
    return WriteDatabaseBytes(path, codec.encode(items), codec.maxBytes, stamp, fault);
}

/// Saves one program's version of a database without losing another's, the caller holding the
/// CDatabaseLock: the file is read again; if it is still what `loaded` describes (or
/// `keepMine`), `mine` is written; otherwise `changes` are applied to the version on disk and
/// that is written, or, when they do not apply, nothing is (Conflict, with the version on disk
/// in `items`).
template <class T>
CDatabaseSave<T> SaveDatabaseChangesLocked(const std::string &path, const CDatabaseStamp &loaded,
                                           const std::vector<T> &mine, const CChangeSet<T> &changes,
                                           const CDatabaseCodec<T> &codec, bool keepMine = false,
                                           const CWriteFault *fault = nullptr)
{
    CDatabaseSave<T> save;
    std::string bytes;
    CDatabaseStamp now;
    if ((save.error = ReadDatabaseStamp(path, codec.maxBytes, now, &bytes)) != 0) {
        save.detail = DescribeFileError(path, save.error);
        return save;
    }
    // A file put in the database's place by hand (a GPX renamed) is the user's, not ours.
    if (now.exists && LooksLikeText(bytes)) {
        save.error = EILSEQ;
        save.detail = path + ": not a database; not written over";
        return save;
    }
    const std::vector<T> *result = &mine;
    if (!keepMine && now != loaded) {
        if (now.exists && !codec.decode(bytes, save.items)) {
            // Never merge into, nor silently replace, what no longer reads as a database.
            save.error = EILSEQ;
            save.detail = path + ": changed by another program and no longer a database";
            return save;
        }
        if (!ApplyChanges(save.items, changes)) {
            save.outcome = SaveOutcome::Conflict;
            save.stamp = now;
            return save;
        }
        result = &save.items;
        save.outcome = SaveOutcome::Merged;
    } else {
        save.outcome = SaveOutcome::Saved;
    }
    if ((save.error = WriteDatabaseFile(path, *result, codec, fault, &save.stamp)) != 0) {
        save.outcome = SaveOutcome::Failed;
        save.detail = DescribeFileError(path, save.error);
        return save;
    }
    if (result == &mine)
        save.items = mine;
    return save;
}

/// The same, taking the lock for the time of the save.
template <class T>
CDatabaseSave<T> SaveDatabaseChanges(const std::string &path, const CDatabaseStamp &loaded,
                                     const std::vector<T> &mine, const CChangeSet<T> &changes,
                                     const CDatabaseCodec<T> &codec, bool keepMine = false,
                                     const CWriteFault *fault = nullptr)
{
    const CDatabaseLock lock(path);
    if (lock.GetError() != 0) {
        CDatabaseSave<T> save;
        save.error = lock.GetError();
        save.detail = DescribeFileError(path, save.error);
        return save;
    }
    return SaveDatabaseChangesLocked(path, loaded, mine, changes, codec, keepMine, fault);
}
