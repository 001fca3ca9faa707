#pragma once

#include "nmea/GnssSystem.h"
#include "receiver/SourceAddress.h"

#include <QString>

#include <optional>

/// What the command line asks for.
struct CStartOptions {
    bool demo = false;
    QString replay;
    std::optional<unsigned> replayDelay;
    QString port;
    std::optional<CSourceAddress> source; ///< for this run, opened at start
    bool connect = false;
    QString record;
    int page = -1;
    bool fullScreen = false; ///< for this run, whatever the stored state
    QString screenshot;
    bool quitAfterReplay = false;
    QString configDir;
    QString dataDir;
    std::optional<GnssMode> gnss; ///< for this run, instead of the stored choice
    bool startupProbe = false;
};

/// Start-up and the life of the process: the command line, the settings and data locations, the
/// main window, the ending signals.
class CVeloranApp
{
public:
    static int Run(int argc, char **argv);
    /// The bundled demo log: installed beside the program, else in the source tree.
    static QString DemoLogPath();
};
