#include "Cli.h"
#include "CliArguments.h"
#include "JsonDump.h"
#include "receiver/PortInspector.h"

#include <cstdio>
#include <string>

namespace
{

// VELORAN_PORT_ROOT and VELORAN_GPSD_PORT (see PortInspector.h) point the command at a tree
// and a gpsd of a test's own; they are not for users and not in the help.
constexpr const char *kPortsHelp =
    "usage: veloran-cli ports [--json]\n"
    "\n"
    "Lists the serial ports a receiver may be on, likely receivers first: USB (ttyUSB,\n"
    "ttyACM), Bluetooth (rfcomm) and the ports of the board (ttyS) that have a UART. For each,\n"
    "its stable name (/dev/serial/by-id/...) where udev made one, the USB identity and name,\n"
    "and whether you may open it; if not, why and what to do.\n"
    "\n"
    "Each port is opened for a moment to find out, as the window would open it; a Bluetooth\n"
    "link is not (opening connects it): only its permissions are read.\n"
    "\n"
    "  --json   one JSON object per port and line\n";

constexpr const char *kIndent = "               ";

struct CPortState {
    bool tried = true; ///< opened to find out, rather than permissions read
    CPortDiagnosis diagnosis;
    bool opens = true;
};

const char *KindName(PortKind kind)
{
    switch (kind) {
    case PortKind::UsbSerial:
        return "usb-serial";
    case PortKind::UsbModem:
        return "usb-acm";
    case PortKind::Uart:
        return "uart";
    case PortKind::Bluetooth:
        return "bluetooth";
    }
    return "";
}

std::string HexId(std::uint16_t id)
{
    char text[8];
    std::snprintf(text, sizeof text, "%04x", static_cast<unsigned>(id));
    return text;
}

CPortState Examine(CPortInspector &inspector, const CPortCandidate &port)
{
    CPortState state;
    state.tried = port.kind != PortKind::Bluetooth;
    const int error =
        state.tried ? CPortInspector::ProbeOpen(port.path) : CPortInspector::ProbeAccess(port.path);
    state.opens = error == 0;
    if (!state.opens)
        state.diagnosis = DiagnosePort(inspector.Examine(port.device, port.path, error));
    return state;
}

void AppendJsonTextOrNull(std::string &out, const std::string &text)
{
    if (text.empty())
        out += "null";
    else
        AppendJsonText(out, text);
}

std::string JsonLine(const CPortCandidate &port, const CPortState &state)
{
    std::string out = "{\"device\":";
    AppendJsonText(out, port.device);
    out += ",\"stableName\":";
    AppendJsonTextOrNull(out, port.stableName);
    out += ",\"kind\":\"";
    out += KindName(port.kind);
    out += "\",\"usb\":";
    if (port.usb) {
        out += "{\"vendor\":\"" + HexId(port.usb->vendorId) + "\",\"product\":\""
               + HexId(port.usb->productId) + "\",\"manufacturer\":";
        AppendJsonTextOrNull(out, port.usb->manufacturer);
        out += ",\"name\":";
        AppendJsonTextOrNull(out, port.usb->product);
        out += "}";
    } else {
        out += "null";
    }
    out += ",\"name\":";
    AppendJsonText(out, port.friendlyName);
    out += ",\"likely\":";
    AppendJsonTextOrNull(out, port.likelyBecause);
    out += state.opens ? ",\"opens\":true" : ",\"opens\":false";
    out += state.tried ? ",\"tried\":true" : ",\"tried\":false";
    out += ",\"why\":";
    AppendJsonTextOrNull(out, state.diagnosis.why);
    out += ",\"whatToDo\":";
    AppendJsonTextOrNull(out, state.diagnosis.whatToDo);
    out += state.diagnosis.readThroughGpsd ? ",\"gpsd\":true}\n" : ",\"gpsd\":false}\n";
    return out;
}

// Continuation lines of a text, indented to the column of the values.
std::string Indented(const std::string &text)
{
    std::string out;
    for (const char c : text) {
        out += c;
        if (c == '\n')
            out += kIndent;
    }
    return out;
}

std::string TextBlock(const CPortCandidate &port, const CPortState &state)
{
    std::string out = port.device + ": " + port.friendlyName + "\n";
    if (!port.stableName.empty())
        out += "  stable name  " + port.stableName + "\n";
    if (port.usb)
        out +=
            "  USB          " + HexId(port.usb->vendorId) + ":" + HexId(port.usb->productId) + "\n";
    if (port.IsLikelyReceiver())
        out += "  receiver     likely: " + port.likelyBecause + "\n";
    out += "  opens        ";
    if (state.opens)
        out += state.tried ? "yes\n" : "yes, as far as its permissions say\n";
    else if (state.diagnosis.why.empty())
        out += "no\n";
    else
        out += "no: " + Indented(state.diagnosis.GetText()) + "\n";
    return out;
}

} // namespace

int RunPorts(const std::vector<std::string_view> &args)
{
    bool json = false;
    const CCliSyntax syntax{
        .command = "ports",
        .help = kPortsHelp,
        .options = {FlagOption("--json", json)},
        .operand = [](std::string_view) { return UsageError("ports: expected no argument"); }};
    if (const std::optional<int> status = ReadArguments(args, 0, syntax))
        return *status;

    CPortInspector inspector;
    const std::vector<CPortCandidate> &ports = inspector.GetCandidates();
    if (ports.empty() && !json)
        std::fputs("No serial port found.\n", stdout);
    for (const CPortCandidate &port : ports) {
        const CPortState state = Examine(inspector, port);
        const std::string out = json ? JsonLine(port, state) : TextBlock(port, state);
        std::fwrite(out.data(), 1, out.size(), stdout);
    }
    return kExitOk;
}
