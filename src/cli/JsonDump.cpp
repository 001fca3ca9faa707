#include "JsonDump.h"

#include "base/Numbers.h"
#include "base/Utf8.h"
#include "geo/CoordinateFormat.h"
#include "nmea/NMEAParser.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string_view>
#include <vector>

namespace
{

// Python's json reads and writes non-finite values as these bare words.
void AppendReal(std::string &out, double v)
{
    if (std::isnan(v)) {
        out += "NaN";
    } else if (std::isinf(v)) {
        out += v < 0 ? "-Infinity" : "Infinity";
    } else {
        char buffer[32];
        // Same digits as printf("%.17g"): enough to read back the exact double.
        const auto r =
            std::to_chars(buffer, buffer + sizeof buffer, v, std::chars_format::general, 17);
        out.append(buffer, r.ptr);
    }
}

template <class Int> void AppendInt(std::string &out, Int v)
{
    char buffer[24];
    const auto r = std::to_chars(buffer, buffer + sizeof buffer, v);
    out.append(buffer, r.ptr);
}

// Bytes of 0x80 and up become \u0080..\u00ff, so garbage from the wire stays valid JSON and
// every byte can be told back.
void AppendString(std::string &out, std::string_view s)
{
    static constexpr char kHex[] = "0123456789abcdef";
    out += '"';
    for (const char ch : s) {
        const auto c = static_cast<unsigned char>(ch);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += ch;
        } else if (c < 0x20 || c >= 0x80) {
            out += "\\u00";
            out += kHex[c >> 4];
            out += kHex[c & 15];
        } else {
            out += ch;
        }
    }
    out += '"';
}

struct Object {
    std::string &out;
    void Key(const char *name)
    {
        out += ",\"";
        out += name;
        out += "\":";
    }
    void Real(const char *name, double v)
    {
        Key(name);
        AppendReal(out, v);
    }
    template <class Int> void Int_(const char *name, Int v)
    {
        Key(name);
        AppendInt(out, v);
    }
    void Text(const char *name, std::string_view v)
    {
        Key(name);
        AppendString(out, v);
    }
    void Average(const char *name, const CDOPHistory &h)
    {
        Key(name);
        if (h.GetSize() == 0)
            out += "null";
        else
            AppendReal(out, h.GetAverage());
    }
};

void AppendGGA(Object &o, const CGGASentence &s)
{
    o.Text("time", s.m_time);
    o.Real("lat", s.m_position.m_latitude);
    o.Real("lon", s.m_position.m_longitude);
    o.Int_("quality", s.m_quality);
    o.Int_("sats", s.m_satellites);
    o.Real("hdop", s.m_hdop);
    o.Real("alt", s.m_altitude);
    o.Real("geoid", s.m_geoidSeparation);
    o.Real("dgps_age", s.m_dgpsAge);
    o.Int_("dgps_station", s.m_dgpsStation);
}

void AppendRMC(Object &o, const CRMCSentence &s)
{
    o.Text("time", s.m_time);
    o.Text("status", s.m_status);
    o.Real("lat", s.m_position.m_latitude);
    o.Real("lon", s.m_position.m_longitude);
    o.Real("knots", s.m_speedKnots);
    o.Real("kmh", s.m_speedKmh);
    o.Real("course", s.m_course);
    o.Text("date", s.m_date);
    o.Real("magvar", s.m_magneticVariation);
    o.Text("magvar_dir", s.m_variationDirection);
    o.Real("sod", s.m_secondsOfDay);
    o.Int_("datetime", static_cast<long long>(s.m_dateTime));
}

// "name":[...] with `each(out, element)` writing one element.
template <class Range, class Each>
void AppendList(Object &o, const char *name, const Range &r, Each each)
{
    o.Key(name);
    o.out += '[';
    bool first = true;
    for (const auto &element : r) {
        if (!first)
            o.out += ',';
        first = false;
        each(o.out, element);
    }
    o.out += ']';
}

void AppendNumber(std::string &out, std::int32_t v)
{
    AppendInt(out, v);
}

// A satellite as [number, elevation, azimuth, snr], with all systems followed by its system.
void AppendSatellite(std::string &out, std::int32_t number, std::int32_t elevation,
                     std::int32_t azimuth, std::int32_t snr, const char *system = nullptr)
{
    out += '[';
    for (const std::int32_t v : {number, elevation, azimuth}) {
        AppendInt(out, v);
        out += ',';
    }
    AppendInt(out, snr);
    if (system != nullptr) {
        out += ",\"";
        out += system;
        out += '"';
    }
    out += ']';
}

// Fix mode, the listed numbers and the DOPs: the same keys in both modes.
template <class Numbers> void AppendGSAValues(Object &o, const CGSASentence &s, const Numbers &prns)
{
    o.Text("mode", s.m_mode);
    o.Int_("fix_mode", s.m_fixMode);
    AppendList(o, "prn", prns, AppendNumber);
    o.Real("pdop", s.m_pdop);
    o.Real("hdop", s.m_hdop);
    o.Real("vdop", s.m_vdop);
    o.Average("avg_pdop", s.m_pdopHistory);
    o.Average("avg_hdop", s.m_hdopHistory);
    o.Average("avg_vdop", s.m_vdopHistory);
}

void AppendGSA(Object &o, const CGSASentence &s)
{
    AppendGSAValues(o, s, s.m_prn);
    std::vector<std::int32_t> used;
    for (int i = 0; i < s.m_used.GetSize(); ++i)
        used.push_back(s.m_used.GetAt(i));
    std::sort(used.begin(), used.end());
    AppendList(o, "used", used, AppendNumber);
}

void AppendGSVHeader(Object &o, const CGSVSentence &s)
{
    o.Int_("count", s.m_messageCount);
    o.Int_("number", s.m_messageNumber);
    o.Key("more");
    o.out += s.m_moreToCome ? "true" : "false";
    o.Int_("in_view", s.m_inView);
}

void AppendGSV(Object &o, const CGSVSentence &s)
{
    AppendGSVHeader(o, s);
    AppendList(o, "sats", s.m_satellites, [](std::string &out, const CSatelliteInfo &e) {
        AppendSatellite(out, e.m_prn, e.m_elevation, e.m_azimuth, e.m_snr);
    });
}

// With all systems a satellite is its number within its system and the system's name.
void AppendAllSystemsGSA(Object &o, const CNMEAParser &parser)
{
    AppendGSAValues(o, parser.m_gsa, parser.GetGsaNumbers());
    AppendList(o, "used", parser.m_sky.GetUsed(), [](std::string &out, const CSatelliteId &id) {
        out += '[';
        AppendInt(out, id.number);
        out += ",\"";
        out += GnssSystemName(id.system);
        out += "\"]";
    });
}

void AppendAllSystemsGSV(Object &o, const CNMEAParser &parser)
{
    const CGnssSky::Message &message = parser.m_sky.GetLastMessage();
    AppendGSVHeader(o, parser.m_gsv);
    if (message.signal >= 0)
        o.Int_("signal", message.signal);
    AppendList(o, "sats", message.entries, [](std::string &out, const CSkyEntry &e) {
        AppendSatellite(out, e.id.number, e.elevation, e.azimuth, e.snr,
                        GnssSystemName(e.id.system));
    });
}

// The sky as the pages now show it, on the line that completed it.
void AppendSky(Object &o, const CNMEAParser &parser)
{
    o.Key("sky");
    o.out += "{\"in_use\":";
    AppendInt(o.out, parser.GetSatellitesInUse());
    o.out += ",\"in_view\":";
    AppendInt(o.out, parser.GetSatellitesInView());
    o.out += ",\"systems\":{";
    for (const CSystemCount &c : parser.m_sky.GetSystemCounts()) {
        if (o.out.back() != '{')
            o.out += ',';
        o.out += '"';
        o.out += GnssSystemName(c.system);
        o.out += "\":[";
        AppendInt(o.out, c.inUse);
        o.out += ',';
        AppendInt(o.out, c.inView);
        o.out += ']';
    }
    o.out += "}}";
}

} // namespace

void AppendJsonLine(std::string &out, long long n, int type, const CNMEAParser &parser)
{
    out += "{\"n\":";
    AppendInt(out, n);
    const char *name = SentenceTypeName(type);
    const bool allSystems = parser.GetMode() == GnssMode::AllSystems;
    Object o{out};
    if (name == nullptr) {
        out += ",\"type\":null";
        if (allSystems && parser.SkyChanged())
            AppendSky(o, parser);
        out += '}';
        return;
    }
    out += ",\"type\":\"";
    out += name;
    out += '"';
    if (allSystems) {
        o.Text("talker", parser.GetTalker());
        if (!parser.WasUsed())
            o.out += ",\"taken\":false"; // another talker's fix is followed
        if (parser.SkyChanged())
            AppendSky(o, parser);
        if (type == kSentenceGSA || type == kSentenceGSV) {
            if (type == kSentenceGSA)
                AppendAllSystemsGSA(o, parser);
            else
                AppendAllSystemsGSV(o, parser);
            out += '}';
            return;
        }
    }
    switch (type) {
    case kSentenceGGA:
        AppendGGA(o, parser.m_gga);
        break;
    case kSentenceRMC:
        AppendRMC(o, parser.m_rmc);
        break;
    case kSentenceGSA:
        AppendGSA(o, parser.m_gsa);
        break;
    case kSentenceGSV:
        AppendGSV(o, parser.m_gsv);
        break;
    default:
        break;
    }
    out += '}';
}

void AppendTextLine(std::string &out, long long n, int type, const CNMEAParser &parser)
{
    out += FormatC("%lld ", n);
    switch (type) {
    case kSentenceGGA: {
        const CGGASentence &s = parser.m_gga;
        out += FormatC("GGA %s %s fix %d sats %d hdop %.1f alt %.1f m", s.m_time.c_str(),
                       FormatPosition(s.m_position, " ", CoordinateFormat::DD).c_str(), s.m_quality,
                       s.m_satellites, s.m_hdop, s.m_altitude);
        break;
    }
    case kSentenceRMC: {
        const CRMCSentence &s = parser.m_rmc;
        out += FormatC("RMC %s %s %s %s %.1f km/h course %.1f", s.m_time.c_str(), s.m_date.c_str(),
                       s.m_status.c_str(),
                       FormatPosition(s.m_position, " ", CoordinateFormat::DD).c_str(),
                       s.m_speedKmh, s.m_course);
        break;
    }
    case kSentenceGSA: {
        const CGSASentence &s = parser.m_gsa;
        out += FormatC("GSA %s fix mode %d pdop %.1f hdop %.1f vdop %.1f used", s.m_mode.c_str(),
                       s.m_fixMode, s.m_pdop, s.m_hdop, s.m_vdop);
        if (parser.GetMode() == GnssMode::AllSystems) {
            for (const CSatelliteId &id : parser.m_sky.GetUsed())
                out += FormatC(" %s%d", GnssSystemShortName(id.system), id.number);
            break;
        }
        for (int i = 0; i < s.m_used.GetSize(); ++i)
            out += FormatC(" %d", s.m_used.GetAt(i));
        break;
    }
    case kSentenceGSV: {
        const CGSVSentence &s = parser.m_gsv;
        out += FormatC("GSV %d/%d in view %d%s", s.m_messageNumber, s.m_messageCount, s.m_inView,
                       s.m_moreToCome ? "" : " (group complete)");
        break;
    }
    case kSentenceVTG:
        out += "VTG";
        break;
    default:
        out += "refused";
        break;
    }
    if (parser.GetMode() == GnssMode::AllSystems && parser.SkyChanged()) {
        out += FormatC(" | sky: %d of %d sats in use", parser.GetSatellitesInUse(),
                       parser.GetSatellitesInView());
        for (const CSystemCount &c : parser.m_sky.GetSystemCounts())
            out += FormatC(", %s %d/%d", GnssSystemShortName(c.system), c.inUse, c.inView);
    }
}

void AppendJsonReal(std::string &out, double v)
{
    AppendReal(out, v);
}

void AppendJsonDegrees(std::string &out, double degrees)
{
    if (std::isfinite(degrees))
        out += FormatC("%.6f", degrees);
    else
        out += "null";
}

void AppendJsonText(std::string &out, std::string_view utf8)
{
    static constexpr char kHex[] = "0123456789abcdef";
    out += '"';
    for (std::size_t i = 0; i < utf8.size();) {
        const auto c = static_cast<unsigned char>(utf8[i]);
        const std::size_t length = Utf8SequenceLength(utf8.substr(i));
        if (length == 0) {
            out += "\\ufffd";
            ++i;
            continue;
        }
        if (c == '"' || c == '\\') {
            out += '\\';
            out += utf8[i];
        } else if (c < 0x20) {
            out += "\\u00";
            out += kHex[c >> 4];
            out += kHex[c & 15];
        } else {
            out.append(utf8, i, length);
        }
        i += length;
    }
    out += '"';
}
