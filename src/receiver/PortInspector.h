#pragma once

#include "receiver/PortDoctor.h"
#include "receiver/PortScanner.h"

#include <optional>
#include <string>
#include <vector>

/// The system's folders; for tests, the tree named by VELORAN_PORT_ROOT (its sys, dev, proc and
/// run/lock, see CPortRoots::Below).
[[nodiscard]] CPortRoots PortRootsFromEnvironment();

/// Gathers the facts behind a port that would not open: stat and the user and group databases
/// for EACCES; /proc, UUCP lock files and gpsd's own device list for EBUSY; the ports there are
/// for a device that is not there. Reads below its roots only and asks gpsd on loopback with a
/// short time-out, so the window waits a moment at most.
class CPortInspector
{
public:
    static constexpr int kGpsdPort = 2947;
    /// For the whole exchange with gpsd: connect, ask, read the answer.
    static constexpr int kGpsdTimeoutMs = 500;

    /// `gpsdPort` 0 does not ask gpsd.
    explicit CPortInspector(CPortRoots roots = PortRootsFromEnvironment(),
                            int gpsdPort = GpsdPortFromEnvironment());

    /// gpsd on loopback at 2947; for tests VELORAN_GPSD_PORT (0: do not ask).
    [[nodiscard]] static int GpsdPortFromEnvironment();

    /// The errno of opening `path` the way the serial port does (ENOTTY for no terminal, EBUSY
    /// for a lock held by another), 0 when it opens. The device is closed again at once.
    [[nodiscard]] static int ProbeOpen(const std::string &path);
    /// EACCES when this user may not read and write `path`, ENOENT when it is gone, else 0;
    /// for Bluetooth links, which connect when opened.
    [[nodiscard]] static int ProbeAccess(const std::string &path);

    /// The facts for `openError`; `device` is the name the user gave, `path` where it was
    /// opened (the same outside tests).
    [[nodiscard]] CPortFacts Examine(const std::string &device, const std::string &path,
                                     int openError);
    /// Tries `device` once more and says why it does not open; empty when it does.
    [[nodiscard]] CPortDiagnosis Diagnose(const std::string &device);

    /// The ports there are, scanned once.
    [[nodiscard]] const std::vector<CPortCandidate> &GetCandidates();

private:
    const std::vector<std::string> &GpsdDevices();

    CPortRoots m_roots;
    int m_gpsdPort = kGpsdPort;
    std::optional<std::vector<CPortCandidate>> m_candidates;
    std::optional<std::vector<std::string>> m_gpsdDevices;
};
