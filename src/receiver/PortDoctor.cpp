#include "receiver/PortDoctor.h"

#include <algorithm>
#include <cerrno>

namespace
{

std::string HolderText(const CPortHolder &holder)
{
    const std::string process = "process " + std::to_string(holder.pid);
    return holder.name.empty() ? process : holder.name + " (" + process + ")";
}

std::string HolderList(const std::vector<CPortHolder> &holders)
{
    std::string text;
    for (std::size_t i = 0; i < holders.size(); ++i) {
        if (i > 0)
            text += i + 1 == holders.size() ? " and " : ", ";
        text += HolderText(holders[i]);
    }
    return text;
}

CPortDiagnosis NoAccess(const CPortFacts &facts)
{
    const std::string &device = facts.device;
    const std::string &group = facts.groupName;
    if (group.empty())
        return {"You may not open " + device + ".",
                "Your user needs read and write access to it; 'ls -l " + device
                    + "' shows who has it."};
    if (!facts.groupMayUse)
        return {"You may not open " + device + ": not even its group " + group
                    + " may read and write it.",
                "Ask the administrator to give the group read and write access (a udev rule "
                "with MODE=\"0660\")."};
    if (facts.inGroupLogin)
        return {"You may not open " + device + ", although this login is in its group " + group
                    + ".",
                "Something else refuses it (an access list or a security module); 'ls -l " + device
                    + "' shows its permissions."};
    if (facts.inGroupDatabase)
        return {"You may not open " + device + " yet: it belongs to the group " + group
                    + ", which you joined after this login began.",
                "Log out and in again (or restart the computer) to take the group up."};
    return {"You may not open " + device + ": it belongs to the group " + group
                + ", and you are not a member.",
            "Join the group with 'sudo adduser $USER " + group + "', then log out and in again."};
}

CPortDiagnosis InUse(const CPortFacts &facts)
{
    const std::string &device = facts.device;
    const auto named = [&](std::string_view name) {
        return facts.lockOwner.name == name
               || std::any_of(facts.holders.begin(), facts.holders.end(),
                              [name](const CPortHolder &h) { return h.name == name; });
    };
    if (facts.gpsdHoldsIt || named(kGpsdName))
        return {device + " is in use by gpsd, the GPS service.",
                "Veloran can read the receiver through gpsd instead (source gpsd://localhost), "
                "or stop gpsd first: sudo systemctl stop gpsd.socket gpsd",
                true};
    const std::string modemManager = "ModemManager, which tries every new serial device as a modem";
    if (named(kModemManagerName))
        return {device + " is in use by " + modemManager + ".",
                "Wait a few seconds and try again; if it keeps the port, stop it: sudo systemctl "
                "stop ModemManager"};
    const std::string closeIt = facts.holders.size() > 1 ? "Close those programs and try again."
                                                         : "Close that program and try again.";
    if (!facts.holders.empty())
        return {device + " is in use by " + HolderList(facts.holders) + ".", closeIt};
    if (facts.lockOwner.pid != 0)
        return {device + " is locked by " + HolderText(facts.lockOwner) + ".", closeIt};
    const std::string findIt = "'sudo fuser -v " + device + "' names it";
    if (facts.gpsdRunning)
        return {device + " is in use by another program; gpsd is running and may be the one.",
                "If it is, Veloran can read the receiver through gpsd (source gpsd://localhost); "
                "else close the program that holds the port ("
                    + findIt + ")."};
    if (facts.modemManagerRunning)
        return {device + " is in use by another program, perhaps " + modemManager + ".",
                "Wait a few seconds and try again; if it stays busy, close the program that holds "
                "it ("
                    + findIt + ")."};
    return {device + " is in use by another program.", "Close it and try again (" + findIt + ")."};
}

std::string PortsThereAre(const std::vector<CPortCandidate> &candidates)
{
    if (candidates.empty())
        return "No serial port is plugged in: plug the receiver in and try again.";
    std::string text = "Serial ports found:";
    for (const CPortCandidate &port : candidates) {
        text += "\n  " + port.GetPreferredName();
        if (!port.stableName.empty())
            text += " (" + port.device + ")";
        text += ": " + port.friendlyName;
    }
    return text;
}

CPortDiagnosis NotThere(const CPortFacts &facts, std::string why)
{
    return {std::move(why), PortsThereAre(facts.candidates)};
}

} // namespace

std::string CPortDiagnosis::GetText() const
{
    if (whatToDo.empty())
        return why;
    return why + "\n" + whatToDo;
}

CPortDiagnosis DiagnosePort(const CPortFacts &facts)
{
    const std::string &device = facts.device;
    switch (facts.openError) {
    case EACCES:
    case EPERM:
        return NoAccess(facts);
    case EBUSY:
        return InUse(facts);
    case ENOENT:
    case ENOTDIR:
        return NotThere(facts, device
                                   + " is not there: the receiver is unplugged, or has another "
                                     "name now.");
    case ENODEV:
    case ENXIO:
    case EIO: // a ttyS without a UART
        return NotThere(facts, "There is no device behind " + device + ".");
    case ENOTTY:
        return NotThere(facts, device + " is not a serial port.");
    default:
        return {};
    }
}

std::vector<std::string> ParseGpsdDevicePaths(std::string_view line)
{
    std::vector<std::string> paths;
    if (line.find("\"DEVICES\"") == std::string_view::npos)
        return paths;
    constexpr std::string_view kKey = "\"path\"";
    for (std::size_t at = line.find(kKey); at != std::string_view::npos; at = line.find(kKey, at)) {
        at += kKey.size();
        while (at < line.size() && (line[at] == ' ' || line[at] == ':'))
            ++at;
        if (at >= line.size() || line[at] != '"')
            continue;
        std::string path;
        bool closed = false;
        for (++at; at < line.size(); ++at) {
            if (line[at] == '"') {
                closed = true;
                break;
            }
            if (line[at] == '\\' && at + 1 < line.size())
                ++at; // \" \\ \/: the character itself; gpsd writes no other escape in a path
            path += line[at];
        }
        if (closed && !path.empty())
            paths.push_back(std::move(path));
    }
    return paths;
}
