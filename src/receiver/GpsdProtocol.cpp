#include "receiver/GpsdProtocol.h"

#include <optional>

namespace
{

// A JSON string's contents from just after its opening quote; `pos` ends after the closing one.
std::optional<std::string> ReadString(std::string_view json, std::size_t &pos)
{
    std::string out;
    while (pos < json.size()) {
        const char c = json[pos++];
        if (c == '"')
            return out;
        if (c != '\\') {
            out += c;
            continue;
        }
        if (pos >= json.size())
            return std::nullopt;
        const char e = json[pos++];
        switch (e) {
        case 'n':
            out += '\n';
            break;
        case 't':
            out += '\t';
            break;
        case 'u':
            // Paths and messages are ASCII; a \uXXXX stands in as '?'.
            pos += 4;
            out += '?';
            break;
        default:
            out += e;
            break;
        }
    }
    return std::nullopt;
}

struct CMember {
    std::string name;
    std::string value; // a string's contents, or a number or word as written
    bool isString = false;
};

// Every "name": value pair at any depth, in order; nested objects and arrays are walked through.
std::vector<CMember> Members(std::string_view json)
{
    std::vector<CMember> members;
    std::size_t pos = 0;
    std::optional<std::string> pendingName;
    while (pos < json.size()) {
        const char c = json[pos++];
        if (c == '"') {
            std::optional<std::string> text = ReadString(json, pos);
            if (!text)
                break;
            std::size_t after = pos;
            while (after < json.size() && json[after] == ' ')
                ++after;
            if (after < json.size() && json[after] == ':') {
                pendingName = std::move(text);
                pos = after + 1;
            } else if (pendingName) {
                members.push_back({std::move(*pendingName), std::move(*text), true});
                pendingName.reset();
            }
        } else if (pendingName && c != ' ' && c != '{' && c != '[') {
            const std::size_t start = pos - 1;
            while (pos < json.size() && json[pos] != ',' && json[pos] != '}' && json[pos] != ']')
                ++pos;
            members.push_back(
                {std::move(*pendingName), std::string(json.substr(start, pos - start)), false});
            pendingName.reset();
        } else if (c == '{' || c == '[') {
            pendingName.reset();
        }
    }
    return members;
}

CGpsdReport::Kind KindOf(std::string_view name)
{
    using K = CGpsdReport::Kind;
    if (name == "VERSION")
        return K::Version;
    if (name == "DEVICES")
        return K::Devices;
    if (name == "DEVICE")
        return K::Device;
    if (name == "WATCH")
        return K::Watch;
    if (name == "ERROR")
        return K::Error;
    return K::Other;
}

void AppendQuoted(std::string &out, std::string_view text)
{
    out += '"';
    for (const char c : text) {
        if (c == '"' || c == '\\')
            out += '\\';
        out += c;
    }
    out += '"';
}

} // namespace

CGpsdReport ParseGpsdReport(std::string_view line)
{
    CGpsdReport r;
    if (!IsGpsdReport(line))
        return r;
    const std::vector<CMember> members = Members(line);
    // The outer object's class comes first in every report gpsd writes.
    if (members.empty() || members.front().name != "class") {
        r.kind = CGpsdReport::Kind::Other;
        return r;
    }
    r.kind = KindOf(members.front().value);
    for (const CMember &m : members) {
        if (m.name == "path" && m.isString)
            r.paths.push_back(m.value);
        else if (m.name == "activated")
            r.activated = m.isString || (m.value != "0" && m.value != "0.0");
        else if ((m.name == "release" && r.kind == CGpsdReport::Kind::Version)
                 || (m.name == "message" && r.kind == CGpsdReport::Kind::Error))
            r.text = m.value;
    }
    return r;
}

std::string GpsdWatchCommand(std::string_view device)
{
    std::string command = R"(?WATCH={"enable":true,"nmea":true)";
    if (!device.empty()) {
        command += R"(,"device":)";
        AppendQuoted(command, device);
    }
    command += "}\n";
    return command;
}
