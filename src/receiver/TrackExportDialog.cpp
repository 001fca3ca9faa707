#include "receiver/TrackExportDialog.h"

#include "receiver/TrackExport.h"
#include "widgets/FileDialogs.h"
#include "widgets/MessageBox.h"

#include <QApplication>
#include <QCoreApplication>
#include <QFileInfo>

#include <ctime>

void ExportTrackAsGpx(QWidget *parent, bool advancedSelector, const QString &directory,
                      GnssMode mode, const CTrackRate &rate, double altitudeOffset)
{
    const auto tr = [](const char *text) {
        return QCoreApplication::translate("ExportTrackAsGpx", text);
    };
    const QString log = ChooseOpenFile(parent, advancedSelector, tr("Export track from NMEA log"),
                                       tr("NMEA Logs (*.nmea);;All files (*)"),
                                       QStringLiteral("*.nmea"), directory);
    if (log.isEmpty())
        return;
    const QFileInfo info(log);
    const QString gpx = ChooseSaveFile(
        parent, tr("Export Track as GPX"), tr("GPX Files (*.gpx);;All files (*)"),
        info.absolutePath() + QLatin1Char('/') + info.completeBaseName() + QStringLiteral(".gpx"),
        QStringLiteral("gpx"));
    if (gpx.isEmpty())
        return;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const CTrackExport result = ExportTrack(log.toStdString(), gpx.toStdString(), mode, rate,
                                            altitudeOffset, std::time(nullptr));
    QApplication::restoreOverrideCursor();
    if (result.errorCode != 0) {
        ShowError(parent,
                  result.readFailed ? tr("Failed to read the NMEA log.")
                                    : tr("Failed to write the GPX file."),
                  QString::fromStdString(result.errorText));
        return;
    }
    ShowMessage(parent, {tr("Export Track as GPX"),
                         tr("%1 points in %2 segments written to %3.")
                             .arg(result.points)
                             .arg(result.segments)
                             .arg(QFileInfo(gpx).fileName()),
                         QMessageBox::Information,
                         {}});
}
