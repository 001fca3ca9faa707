#pragma once

#include "GGASentence.h"
#include "GSASentence.h"
#include "GSVSentence.h"
#include "NMEAFields.h"
#include "RMCSentence.h"
#include "VTGSentence.h"

#include <array>
#include <string_view>

/// Turns one received NMEA line into updated values of one of five sentence objects.
///
/// Knows exactly "$GPGGA", "$GPGSA", "$GPGSV", "$GPRMC" and "$GPVTG" (case-sensitive); every other
/// line is refused. Does no I/O and is not thread-safe: one parser per consumer.
class CNMEAParser
{
public:
    CNMEAParser();
    virtual ~CNMEAParser() = default;
    CNMEAParser(const CNMEAParser &) = delete;
    CNMEAParser &operator=(const CNMEAParser &) = delete;

    /// One line as received, line end included. The line ends at its first NUL, as the C string
    /// it travels as would. Returns the sentence type, or kSentenceNone when refused; a refused
    /// line changes no sentence value.
    int Parse(std::string_view line);

    CNMEAFields m_fields;
    CGGASentence m_gga;
    CGSASentence m_gsa;
    CGSVSentence m_gsv;
    CRMCSentence m_rmc;
    CVTGSentence m_vtg;

private:
    struct Tag {
        std::string_view tag;
        CNMEASentence *sentence;
    };
    std::array<Tag, kSentenceTypeCount> m_tags;
};
