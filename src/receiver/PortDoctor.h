#pragma once

#include "receiver/PortScanner.h"

#include <string>
#include <string_view>
#include <vector>

/// A process that has a device open or owns its lock file.
struct CPortHolder {
    long pid = 0;
    std::string name; ///< its command name (/proc/PID/comm): "gpsd", "ModemManager", "minicom"
};

/// What the system says about a serial device that would not open. The gatherer fills in the
/// part that fits the error: the group for EACCES, the holders for EBUSY, the other ports for
/// a device that is not there.
struct CPortFacts {
    std::string device; ///< as the user named it: "/dev/ttyUSB0"
    int openError = 0;  ///< errno of opening it; 0 when it opens

    std::string groupName;        ///< the device's group; empty when unknown or nameless
    bool groupMayUse = true;      ///< the group may read and write the device
    bool inGroupDatabase = false; ///< the user database puts the user in that group
    bool inGroupLogin = false;    ///< this login has the group

    std::vector<CPortHolder> holders; ///< processes seen holding the device
    CPortHolder lockOwner;            ///< owner of a live UUCP lock file; pid 0 when none
    bool gpsdHoldsIt = false;         ///< gpsd's own device list names the device
    bool gpsdRunning = false;
    bool modemManagerRunning = false;

    std::vector<CPortCandidate> candidates; ///< the serial ports there are
};

/// Why a port would not open and what to do, as the error box and `veloran-cli ports` say it.
struct CPortDiagnosis {
    std::string why;
    std::string whatToDo;
    /// gpsd holds the device: Veloran can read the receiver through gpsd (gpsd://localhost).
    bool readThroughGpsd = false;

    /// `why` and `whatToDo` on lines of their own; empty when nothing is known.
    [[nodiscard]] std::string GetText() const;
};

/// Turns facts into words. Knows EACCES/EPERM, EBUSY, ENOENT and its kin, and ENOTTY; any other
/// error (and 0) gives an empty diagnosis.
[[nodiscard]] CPortDiagnosis DiagnosePort(const CPortFacts &facts);

/// The device paths of gpsd's answer to ?DEVICES; (one JSON line of class DEVICES); empty for
/// any other line.
[[nodiscard]] std::vector<std::string> ParseGpsdDevicePaths(std::string_view line);

/// gpsd's command name, as /proc shows it.
inline constexpr std::string_view kGpsdName = "gpsd";
inline constexpr std::string_view kModemManagerName = "ModemManager";
