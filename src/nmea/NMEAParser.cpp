#include "NMEAParser.h"

#include <cstring>

// Talker "GP" only: a multi-constellation receiver's "$GN..." lines are refused on purpose.
CNMEAParser::CNMEAParser()
    : m_tags{{{"$GPGGA", &m_gga},
              {"$GPGSA", &m_gsa},
              {"$GPGSV", &m_gsv},
              {"$GPRMC", &m_rmc},
              {"$GPVTG", &m_vtg}}}
{
}

int CNMEAParser::Parse(std::string_view line)
{
    if (const void *nul = std::memchr(line.data(), '\0', line.size()))
        line =
            line.substr(0, static_cast<std::size_t>(static_cast<const char *>(nul) - line.data()));
    if (m_fields.Split(line) == 0)
        return kSentenceNone;
    const std::string_view tag = m_fields.FieldView(0);
    for (const Tag &t : m_tags) {
        if (t.tag == tag) {
            t.sentence->Parse(m_fields);
            return t.sentence->GetType();
        }
    }
    return kSentenceNone;
}
