#include "waypoints/WaypointExchange.h"

#include "base/Numbers.h"
#include "base/Utf8.h"
#include "base/WebAddress.h"
#include "geo/CoordinateRange.h"
#include "storage/AtomicFile.h"

#include <cstring>
#include <pugixml.hpp>

namespace
{

// Far above any waypoint file a receiver or a website hands out; a bigger one is no GPX or LOC
// file, and its tree would take several times its size in memory.
constexpr std::size_t kMaxImportBytes = std::size_t{64} << 20;

// The defaults (escapes, CDATA, end-of-line and attribute whitespace normalisation) without
// DOCTYPE nodes: the DOCTYPE is skipped whole, so no entity gets declared, "&name;" stays as
// written and no SYSTEM file is read. The parser never expands DTD entities anyway; this keeps
// it that way should the defaults grow. A name of blanks alone is kept, as exported.
constexpr unsigned kParseOptions =
    (pugi::parse_default | pugi::parse_ws_pcdata_single) & ~pugi::parse_doctype;

constexpr const char *kGPXNamespace = "http://www.topografix.com/GPX/1/0";
constexpr const char *kSchemaInstanceNamespace = "http://www.w3.org/2001/XMLSchema-instance";
constexpr const char *kGPXSchemaLocation =
    "http://www.topografix.com/GPX/1/0 http://www.topografix.com/GPX/1/0/gpx.xsd";

// The text of an element and all its descendants in document order, CDATA included, as a DOM's
// text content is. Iterative: the parser accepts any depth of nesting.
std::string TextContent(pugi::xml_node element)
{
    std::string text;
    pugi::xml_node node = element.first_child();
    while (node) {
        if (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata)
            text += node.value();
        if (node.first_child()) {
            node = node.first_child();
            continue;
        }
        while (node != element && !node.next_sibling())
            node = node.parent();
        node = node == element ? pugi::xml_node() : node.next_sibling();
    }
    return text;
}

// "%lf" on the attribute; a missing or unreadable one leaves the coordinate as it was.
void ScanAttribute(pugi::xml_node node, const char *name, double &value)
{
    ScanDouble(node.attribute(name).value(), value);
}

CWaypoint ReadGPXWaypoint(pugi::xml_node wpt)
{
    CWaypoint waypoint;
    ScanAttribute(wpt, "lat", waypoint.m_position.m_latitude);
    ScanAttribute(wpt, "lon", waypoint.m_position.m_longitude);
    if (const pugi::xml_node name = wpt.child("name"))
        waypoint.m_name = TextContent(name);
    if (const pugi::xml_node desc = wpt.child("desc"))
        waypoint.m_description = TextContent(desc);
    return waypoint;
}

CWaypoint ReadLOCWaypoint(pugi::xml_node item)
{
    CWaypoint waypoint;
    // No default here: a LOC waypoint without a name gets an empty one.
    waypoint.m_name = TextContent(item.child("name"));
    if (const pugi::xml_node coord = item.child("coord")) {
        ScanAttribute(coord, "lat", waypoint.m_position.m_latitude);
        ScanAttribute(coord, "lon", waypoint.m_position.m_longitude);
        if (const pugi::xml_node type = item.child("type"))
            waypoint.m_description = TextContent(type);
    }
    return waypoint;
}

// Text that XML 1.0 can carry: control characters other than tab, line feed and carriage
// return, U+FFFE, U+FFFF and bytes that are no UTF-8 become U+FFFD. Other programs refuse a
// whole file for one of them (the writer would put out "&#1;", which no XML parser accepts).
std::string XmlText(std::string_view text)
{
    constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const std::string_view rest = text.substr(i);
        const std::size_t length = Utf8SequenceLength(rest);
        const auto lead = static_cast<unsigned char>(rest.front());
        const bool control = lead < 0x20 && lead != '\t' && lead != '\n' && lead != '\r';
        const bool nonCharacter =
            length == 3
            && (rest.substr(0, 3) == "\xEF\xBF\xBE" || rest.substr(0, 3) == "\xEF\xBF\xBF");
        if (length == 0 || control || nonCharacter) {
            out += kReplacement;
            i += length == 0 ? 1 : length;
        } else {
            out += rest.substr(0, length);
            i += length;
        }
    }
    return out;
}

// Start tags of `name` ("<wpt>", "<wpt ...", "<wpt/>"): at least as many as the items read.
std::size_t CountStartTags(std::string_view text, std::string_view name)
{
    std::size_t count = 0;
    for (std::size_t at = text.find('<'); at != std::string_view::npos;
         at = text.find('<', at + 1)) {
        if (text.compare(at + 1, name.size(), name) != 0)
            continue;
        const std::size_t after = at + 1 + name.size();
        if (after < text.size() && std::strchr(" \t\r\n/>", text[after]) != nullptr
            && text[after] != '\0')
            ++count;
    }
    return count;
}

class CStringWriter : public pugi::xml_writer
{
public:
    void write(const void *data, std::size_t size) override
    {
        m_text.append(static_cast<const char *>(data), size);
    }
    std::string m_text;
};

} // namespace

CImportResult ImportWaypoints(const std::string &path, WaypointFileType type,
                              std::size_t maxWaypoints)
{
    std::string bytes;
    if (const int error = ReadWholeFile(path, bytes, kMaxImportBytes); error != 0) {
        CImportResult result;
        result.status = ImportStatus::LoadFailed;
        result.detail = std::strerror(error);
        return result;
    }
    return ImportWaypointsFromText(bytes, type, maxWaypoints);
}

CImportResult ImportWaypointsFromText(std::string_view text, WaypointFileType type,
                                      std::size_t maxWaypoints)
{
    CImportResult result;
    const bool gpx = type == WaypointFileType::GPX;
    const char *rootName = gpx ? "gpx" : "loc";
    const char *itemName = gpx ? "wpt" : "waypoint";
    // The tree takes many times the text; a file of more items than any database holds is
    // refused before it is built.
    if (const std::size_t tags = CountStartTags(text, itemName); tags > maxWaypoints) {
        result.status = ImportStatus::TooMany;
        result.detail = FormatC("more than %zu waypoints", maxWaypoints);
        return result;
    }
    pugi::xml_document document;
    const pugi::xml_parse_result parsed =
        document.load_buffer(text.data(), text.size(), kParseOptions, pugi::encoding_auto);
    if (!parsed) {
        result.status = ImportStatus::LoadFailed;
        result.detail = FormatC("%s at byte %td", parsed.description(), parsed.offset);
        return result;
    }
    // "/gpx/wpt" and "/loc/waypoint" by the elements' written names: a default namespace
    // (GPX 1.1 has one) matches, a prefixed root ("gpx:gpx") does not.
    for (const pugi::xml_node root : document.children(rootName)) {
        for (const pugi::xml_node item : root.children(itemName)) {
            CWaypoint waypoint = gpx ? ReadGPXWaypoint(item) : ReadLOCWaypoint(item);
            if (!IsValidPosition(waypoint.m_position)) {
                ++result.skipped;
                continue;
            }
            if (result.waypoints.size() == maxWaypoints) {
                result.status = ImportStatus::TooMany;
                result.detail = FormatC("more than %zu waypoints", maxWaypoints);
                result.waypoints.clear();
                return result;
            }
            result.waypoints.push_back(std::move(waypoint));
        }
    }
    return result;
}

std::string ExportGPX(const CWaypointList &waypoints, int *skipped)
{
    if (skipped != nullptr)
        *skipped = 0;
    pugi::xml_document document;
    pugi::xml_node declaration = document.append_child(pugi::node_declaration);
    declaration.append_attribute("version").set_value("1.0");
    declaration.append_attribute("encoding").set_value("UTF-8");

    pugi::xml_node gpx = document.append_child("gpx");
    const std::string creator = std::string("Veloran 1.x - ") + kWebPageUrl;
    gpx.append_attribute("version").set_value("1.0");
    gpx.append_attribute("creator").set_value(creator.c_str());
    gpx.append_attribute("xmlns:xsi").set_value(kSchemaInstanceNamespace);
    gpx.append_attribute("xmlns").set_value(kGPXNamespace);
    gpx.append_attribute("xsi:schemaLocation").set_value(kGPXSchemaLocation);

    for (const CWaypoint &waypoint : waypoints) {
        // "nan" or "inf" makes other programs refuse the whole file.
        if (!IsValidPosition(waypoint.m_position)) {
            if (skipped != nullptr)
                ++*skipped;
            continue;
        }
        pugi::xml_node wpt = gpx.append_child("wpt");
        wpt.append_attribute("lat").set_value(
            FormatC("%f", waypoint.m_position.m_latitude).c_str());
        wpt.append_attribute("lon").set_value(
            FormatC("%f", waypoint.m_position.m_longitude).c_str());
        wpt.append_child("name").text().set(XmlText(waypoint.m_name).c_str());
        if (!waypoint.m_description.empty())
            wpt.append_child("desc").text().set(XmlText(waypoint.m_description).c_str());
    }

    CStringWriter writer;
    document.save(writer, "  ", pugi::format_default, pugi::encoding_utf8);
    return std::move(writer.m_text);
}

int ExportGPXFile(const std::string &path, const CWaypointList &waypoints, const CWriteFault *fault,
                  int *skipped)
{
    return ReplaceFileAtomically(path, ExportGPX(waypoints, skipped), fault);
}

std::string ImportedMessage(int count)
{
    return FormatC("%d waypoint(s) successfully imported.", count);
}

std::string ExportedMessage(int count)
{
    return FormatC("%d waypoints successfully exported.", count);
}

std::string SkippedMessage(int count)
{
    return FormatC("%d waypoint(s) with impossible coordinates skipped.", count);
}
