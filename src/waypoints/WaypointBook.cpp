#include "waypoints/WaypointBook.h"

#include "app/FileDialogs.h"
#include "app/MessageBox.h"
#include "waypoints/WaypointDatabase.h"
#include "waypoints/WaypointDialogs.h"

#include <QApplication>
#include <QDir>
#include <QTimer>

#include <cstring>

namespace
{

constexpr const char *kExportTitle = "choose filename...";
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
    return path + QStringLiteral(": ") + QString::fromLocal8Bit(std::strerror(error));
}

} // namespace

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
    CWaypointLoad load = LoadWaypointDatabase(directory.toStdString());
    m_waypoints = std::move(load.waypoints);
    if ((!load.opened && !firstStart) || load.damaged)
        ShowErrorLater(m_window, QString::fromLatin1(kWaypointDatabaseMessage),
                       QString::fromStdString(load.detail));
}

bool CWaypointBook::Save()
{
    const int error = SaveWaypointDatabase(m_directory.toStdString(), m_waypoints);
    if (error == 0)
        return true;
    ShowError(m_window, QString::fromLatin1(kWaypointDatabaseMessage),
              ErrnoText(GetDatabasePath(), error));
    return false;
}

void CWaypointBook::Edit(CoordinateFormat format, const CGeoPosition &proposed)
{
    CWaypointEditDialog dialog(m_waypoints, format, proposed, m_window);
    if (dialog.exec() != QDialog::Accepted)
        return;
    m_waypoints = dialog.GetWaypoints();
    m_navigator.ClearTarget();
    Save();
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
    const QString path = ChooseOpenFile(
        m_window, advancedSelector, filter, filter,
        QStringLiteral("*.") + (gpx ? QStringLiteral("gpx") : QStringLiteral("loc")), m_directory);
    if (!path.isEmpty())
        ImportFile(path, type);
}

int CWaypointBook::ImportFile(const QString &path, WaypointFileType type)
{
    CImportResult result;
    {
        CWaitCursor wait;
        result = ImportWaypoints(path.toStdString(), type);
        m_waypoints.insert(m_waypoints.end(), result.waypoints.begin(), result.waypoints.end());
    }
    if (result.status == ImportStatus::LoadFailed)
        ShowError(m_window, QString::fromLatin1(kLoadFailedMessage),
                  path + QStringLiteral(": ") + QString::fromStdString(result.detail));
    else if (result.status == ImportStatus::SelectFailed)
        ShowError(m_window, QString::fromLatin1(kImportFailedMessage),
                  QString::fromStdString(result.detail));
    const int count = static_cast<int>(result.waypoints.size());
    if (count > 0)
        Save();
    ShowMessage(m_window, {QString(), QString::fromStdString(ImportedMessage(count)),
                           QMessageBox::Information, QString()});
    return count;
}

void CWaypointBook::Export()
{
    const QString path = ChooseSaveFile(m_window, QString::fromLatin1(kExportTitle),
                                        QString::fromLatin1(kGpxFilter), m_directory);
    if (!path.isEmpty())
        ExportFile(path);
}

bool CWaypointBook::ExportFile(const QString &path)
{
    int error = 0;
    {
        CWaitCursor wait;
        error = ExportGPXFile(path.toStdString(), m_waypoints);
    }
    // Saying "exported" about a file that was not written would lose the user's data.
    if (error != 0) {
        ShowError(m_window, QString::fromLatin1(kExportFailedMessage), ErrnoText(path, error));
        return false;
    }
    ShowMessage(m_window,
                {QString(),
                 QString::fromStdString(ExportedMessage(static_cast<int>(m_waypoints.size()))),
                 QMessageBox::Information, QString()});
    return true;
}

bool CWaypointBook::CheckProximity(const CGeoPosition &position)
{
    const std::optional<std::string> alert = m_navigator.CheckProximity(position, m_waypoints);
    if (!alert)
        return false;
    // A modal box must not run its event loop while the reader waits for this line.
    const CMessage message{QString::fromLatin1(kWaypointReachedCaption),
                           QString::fromStdString(*alert), QMessageBox::Information, QString()};
    QTimer::singleShot(0, m_window, [window = m_window, message] { ShowMessage(window, message); });
    return true;
}

CFixEvents::GotoTarget CWaypointBook::GetGotoTarget() const
{
    const CWaypoint *target = m_navigator.GetTargetWaypoint(m_waypoints);
    if (!target)
        return {};
    const CWaypoint waypoint = *target;
    return [waypoint](const CGeoPosition &from) {
        return std::pair(BearingToWaypoint(from, waypoint),
                         DistanceToWaypoint(from, waypoint, std::nullopt));
    };
}
