#pragma once

#include "base/GnssMode.h"
#include "receiver/TrackRules.h"

#include <QString>

class QWidget;

/// "Export Track as GPX...": asks for an NMEA log and a GPX file to write, converts the one into
/// the other with the track log's rules (ExportTrack) and says how many points and segments it
/// wrote, or why it could not.
void ExportTrackAsGpx(QWidget *parent, bool advancedSelector, const QString &directory,
                      GnssMode mode, const CTrackRate &rate, double altitudeOffset);
