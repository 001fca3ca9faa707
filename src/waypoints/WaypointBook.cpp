#include "waypoints/WaypointBook.h"

#include "storage/ProgramDatabases.h"
#include "waypoints/FactoryWaypoints.h"
#include "waypoints/WaypointDatabase.h"
#include "waypoints/WaypointDialogs.h"
#include "widgets/FileDialogs.h"
#include "widgets/MessageBox.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QPushButton>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace
{

constexpr const char *kExportTitle = "Export waypoints as GPX";
constexpr const char *kGpxFilter = "GPX Files (*.gpx)";
constexpr const char *kLocFilter = "LOC Files (*.loc)";
constexpr const char *kExportFailedMessage = "Unable to write\nthe GPX file.";

/// Import and export can take a moment on big files.
class CWaitCursor
{
public:
    CWaitCursor() { QApplication::setOverrideCursor(Qt::WaitCursor); }
    ~CWaitCursor() { QApplication::restoreOverrideCursor(); }
    CWaitCursor(const CWaitCursor &) = delete;
    CWaitCursor &operator=(const CWaitCursor &) = delete;
};

QString ErrnoText(const QString &path, int error)
{
    return QString::fromStdString(DescribeFileError(path.toStdString(), error));
}

std::optional<DatabaseConflictChoice> &ConflictAnswer()
{
    static std::optional<DatabaseConflictChoice> answer;
    return answer;
}

// The file has not moved, grown, shrunk or been touched since `stamp`: no need to read it.
bool LooksUnchanged(const std::string &path, const CDatabaseStamp &stamp)
{
    struct stat st {
    };
    if (::stat(path.c_str(), &st) != 0)
        return !stamp.exists && errno == ENOENT;
    return stamp.exists && stamp.device == st.st_dev && stamp.inode == st.st_ino
           && stamp.size == static_cast<std::uint64_t>(st.st_size)
           && stamp.modifiedNs
                  == static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
}

void InstallFactoryWaypoints(const QString &directory)
{
    QFile cities(QStringLiteral(":/waypoints/cities.txt"));
    if (!cities.open(QIODevice::ReadOnly))
        return;
    const QByteArray text = cities.readAll();
    // A failure needs no word here: neither database opens, and Load says so.
    InstallWorldpointDatabase(
        directory.toStdString(),
        ParseCityList(std::string_view(text.constData(), static_cast<std::size_t>(text.size()))));
}

} // namespace

DatabaseConflictChoice AskDatabaseConflict(QWidget *parent, const QString &text)
{
    if (ConflictAnswer())
        return *ConflictAnswer();
    if (IsUnattended())
        return DatabaseConflictChoice::Cancel;
    QMessageBox box(QMessageBox::Question, QApplication::applicationName(), text,
                    QMessageBox::NoButton, parent);
    QPushButton *reload = box.addButton(QObject::tr("Reload"), QMessageBox::DestructiveRole);
    QPushButton *keep = box.addButton(QObject::tr("Keep mine"), QMessageBox::AcceptRole);
    box.addButton(QMessageBox::Cancel);
    FollowNight(box);
    box.exec();
    if (box.clickedButton() == reload)
        return DatabaseConflictChoice::Reload;
    if (box.clickedButton() == keep)
        return DatabaseConflictChoice::KeepMine;
    return DatabaseConflictChoice::Cancel;
}

void SetDatabaseConflictAnswer(std::optional<DatabaseConflictChoice> answer)
{
    ConflictAnswer() = answer;
}

CWaypointBook::CWaypointBook(QWidget *window)
    : m_window(window)
{
}

QString CWaypointBook::GetDatabasePath() const
{
    return QDir(m_directory).filePath(QString::fromLatin1(kWaypointFileName));
}

void CWaypointBook::Load(const QString &directory, bool firstStart)
{
    m_directory = directory;
    // As with the factory world map: without a database of their own, users get the world's
    // cities, so the box below stands for a real fault (unreadable, damaged, not writable).
    InstallFactoryWaypoints(directory);
    CWaypointLoad load = LoadWaypointDatabase(directory.toStdString());
    m_waypoints = std::move(load.waypoints);
    m_dirty = false;
    // Read from the fallback: the file saved to was not there.
    m_stamp = load.path == GetDatabasePath().toStdString() ? load.stamp : CDatabaseStamp{};
    if ((!load.opened && !firstStart) || load.damaged)
        ShowErrorLater(m_window, QString::fromLatin1(kWaypointDatabaseMessage),
                       QString::fromStdString(load.detail));
}

bool CWaypointBook::Save()
{
    CChangeSet<CWaypoint> unknown;
    unknown.known = false;
    return SaveChanges(m_waypoints, m_stamp, unknown);
}

void CWaypointBook::TakeOver(CWaypointList waypoints, const CDatabaseStamp &stamp)
{
    // The target is an index: it holds while the list only grew at the tail.
    const std::size_t common = std::min(waypoints.size(), m_waypoints.size());
    if (!std::equal(waypoints.begin(), waypoints.begin() + static_cast<std::ptrdiff_t>(common),
                    m_waypoints.begin())
        || waypoints.size() < m_waypoints.size())
        m_navigator.ClearTarget();
    m_waypoints = std::move(waypoints);
    m_stamp = stamp;
    m_dirty = false;
}

bool CWaypointBook::SaveChanges(const CWaypointList &mine, const CDatabaseStamp &stamp,
                                const CChangeSet<CWaypoint> &changes)
{
    const std::string path = GetDatabasePath().toStdString();
    CDatabaseSave<CWaypoint> save =
        SaveDatabaseChanges(path, stamp, mine, changes, WaypointCodec());
    if (save.outcome == SaveOutcome::Conflict) {
        switch (AskDatabaseConflict(m_window, QString::fromLatin1(kWaypointConflictText))) {
        case DatabaseConflictChoice::Reload:
            TakeOver(std::move(save.items), save.stamp);
            return false;
        case DatabaseConflictChoice::KeepMine:
            save = SaveDatabaseChanges(path, stamp, mine, changes, WaypointCodec(), true);
            break;
        case DatabaseConflictChoice::Cancel:
            m_waypoints = mine;
            m_dirty = true;
            return false;
        }
    }
    if (save.outcome == SaveOutcome::Failed) {
        m_waypoints = mine;
        m_dirty = true;
        const QString details =
            save.error == EFBIG
                ? GetDatabasePath() + QStringLiteral(": more than a reader takes (")
                      + QString::fromStdString(WaypointLimitText()) + QLatin1Char(')')
                : QString::fromStdString(save.detail);
        ShowError(m_window, QString::fromLatin1(kWaypointDatabaseMessage), details);
        return false;
    }
    TakeOver(std::move(save.items), save.stamp);
    return true;
}

bool CWaypointBook::CheckOutsideChange()
{
    const std::string path = GetDatabasePath().toStdString();
    // Unsaved changes are not dropped: the next save asks.
    if (m_dirty || LooksUnchanged(path, m_stamp))
        return false;
    CDatabaseStamp now;
    if (ReadDatabaseStamp(path, kMaxWaypointFileBytes, now) != 0 || now == m_stamp)
        return false;
    CWaypointLoad load = LoadWaypointDatabase(m_directory.toStdString());
    if (!load.opened || load.damaged)
        return false; // a save refuses to merge into it; nothing to take over now
    TakeOver(std::move(load.waypoints), load.path == path ? load.stamp : CDatabaseStamp{});
    return true;
}

void CWaypointBook::Edit(CoordinateFormat format, const CGeoPosition &proposed)
{
    const CWaypointList before = m_waypoints;
    const CDatabaseStamp stamp = m_stamp;
    CWaypointEditDialog dialog(before, format, proposed, m_window);
    if (dialog.exec() != QDialog::Accepted)
        return;
    ApplyEdit(before, stamp, dialog.GetWaypoints());
}

bool CWaypointBook::ApplyEdit(const CWaypointList &before, const CDatabaseStamp &stamp,
                              const CWaypointList &after)
{
    m_navigator.ClearTarget();
    return SaveChanges(after, stamp, DiffLists(before, after));
}

void CWaypointBook::SelectGoto(CoordinateFormat format)
{
    CWaypointSelectDialog dialog(m_waypoints, format, m_window);
    if (dialog.exec() == QDialog::Accepted)
        SetGotoTarget(dialog.GetSelectedIndex());
}

bool CWaypointBook::SetGotoTarget(int index)
{
    return m_navigator.SelectTarget(index, m_waypoints.size());
}

void CWaypointBook::Import(WaypointFileType type, bool advancedSelector)
{
    const bool gpx = type == WaypointFileType::GPX;
    const QString filter = QString::fromLatin1(gpx ? kGpxFilter : kLocFilter);
    const QString title =
        gpx ? QObject::tr("Import waypoints from GPX") : QObject::tr("Import waypoints from LOC");
    const QString path = ChooseOpenFile(
        m_window, advancedSelector, title, filter,
        QStringLiteral("*.") + (gpx ? QStringLiteral("gpx") : QStringLiteral("loc")), m_directory);
    if (!path.isEmpty())
        ImportFile(path, type);
}

int CWaypointBook::ImportFile(const QString &path, WaypointFileType type)
{
    CImportResult result;
    CWaypointList mine = m_waypoints;
    {
        CWaitCursor wait;
        const std::size_t room =
            mine.size() < kMaxWaypoints ? kMaxWaypoints - mine.size() : std::size_t{0};
        result = ImportWaypoints(path.toStdString(), type, room);
        mine.insert(mine.end(), result.waypoints.begin(), result.waypoints.end());
    }
    const QString tooMany = path
                            + QStringLiteral(": the waypoint database would hold more than a "
                                             "reader takes (")
                            + QString::fromStdString(WaypointLimitText())
                            + QStringLiteral("); nothing imported");
    if (result.status == ImportStatus::LoadFailed) {
        ShowError(m_window, QString::fromLatin1(kLoadFailedMessage),
                  path + QStringLiteral(": ") + QString::fromStdString(result.detail));
    } else if (result.status == ImportStatus::SelectFailed) {
        ShowError(m_window, QString::fromLatin1(kImportFailedMessage),
                  QString::fromStdString(result.detail));
    } else if (result.status == ImportStatus::TooMany || CheckWaypointLimits(mine) != 0) {
        ShowError(m_window, QString::fromLatin1(kImportFailedMessage), tooMany);
        return 0;
    }
    const int count = static_cast<int>(result.waypoints.size());
    if (count > 0) {
        CChangeSet<CWaypoint> changes;
        changes.added = std::move(result.waypoints);
        SaveChanges(mine, m_stamp, changes);
    }
    QString text = QString::fromStdString(ImportedMessage(count));
    if (result.skipped > 0)
        text += QLatin1Char('\n') + QString::fromStdString(SkippedMessage(result.skipped));
    ShowMessage(m_window, {QString(), text, QMessageBox::Information, QString()});
    return count;
}

void CWaypointBook::Export()
{
    const QString path =
        ChooseSaveFile(m_window, QString::fromLatin1(kExportTitle), QString::fromLatin1(kGpxFilter),
                       m_directory, QStringLiteral("gpx"));
    if (!path.isEmpty())
        ExportFile(path);
}

bool CWaypointBook::ExportFile(const QString &path)
{
    const std::string target = QFile::encodeName(path).toStdString();
    const std::string problem = ExportTargetProblem(
        target, ProgramDatabasePaths(QFile::encodeName(m_directory).toStdString()));
    if (!problem.empty()) {
        ShowError(m_window, QString::fromLatin1(kExportFailedMessage),
                  path + QStringLiteral(": ") + QString::fromStdString(problem));
        return false;
    }
    int error = 0;
    int skipped = 0;
    {
        CWaitCursor wait;
        error = ExportGPXFile(target, m_waypoints, nullptr, &skipped);
    }
    // Saying "exported" about a file that was not written would lose the user's data.
    if (error != 0) {
        ShowError(m_window, QString::fromLatin1(kExportFailedMessage), ErrnoText(path, error));
        return false;
    }
    QString text =
        QString::fromStdString(ExportedMessage(static_cast<int>(m_waypoints.size()) - skipped));
    if (skipped > 0)
        text += QLatin1Char('\n') + QString::fromStdString(SkippedMessage(skipped));
    ShowMessage(m_window, {QString(), text, QMessageBox::Information, QString()});
    return true;
}
