#pragma once

#include "GGASentence.h"
#include "GSASentence.h"
#include "GSVSentence.h"
#include "GnssSky.h"
#include "GnssSystem.h"
#include "NMEAFields.h"
#include "RMCSentence.h"
#include "VTGSentence.h"

#include <array>
#include <optional>
#include <string_view>
#include <vector>

/// Turns one received NMEA line into updated values of one of five sentence objects.
///
/// GnssMode::GpsOnly knows exactly "$GPGGA", "$GPGSA", "$GPGSV", "$GPRMC" and "$GPVTG"
/// (case-sensitive) and refuses every other line. GnssMode::AllSystems takes the five types from
/// any two-letter talker, one sentence per call (the line assembler cuts a line at each "$"),
/// follows one talker's fix when several send it, and keeps the satellites of every system in
/// m_sky. Does no I/O and is not thread-safe: one parser per consumer.
class CNMEAParser
{
public:
    explicit CNMEAParser(GnssMode mode = GnssMode::GpsOnly);
    virtual ~CNMEAParser() = default;
    CNMEAParser(const CNMEAParser &) = delete;
    CNMEAParser &operator=(const CNMEAParser &) = delete;

    /// One line as received, line end included. Returns the sentence type, or kSentenceNone
    /// when refused; a refused line changes no sentence value. In GpsOnly mode the line ends at
    /// its first NUL, as the C string it travels as would.
    SentenceType Parse(std::string_view line);

    /// The receiver is gone: the values that describe a live fix go to their no-fix state
    /// (quality 0, no satellites, fix mode "n.a.", speed 0, RMC status "V"). The last position,
    /// altitude, times and DOP averages stay, as the last known ones.
    void ForgetFix();

    /// Starts afresh in `mode`: every value back to its empty state.
    void SetMode(GnssMode mode);
    [[nodiscard]] GnssMode GetMode() const { return m_mode; }

    /// All systems: the two letters of the last accepted line's talker.
    [[nodiscard]] std::string_view GetTalker() const { return {m_talker.data(), 2}; }
    /// False when the last GGA, RMC or VTG was another talker's copy of the fix that is
    /// followed: its values were not taken. Always true in GpsOnly mode.
    [[nodiscard]] bool WasUsed() const { return m_used; }
    /// All systems: the last line changed the sky (a GSV run ended, or a silent system went).
    [[nodiscard]] bool SkyChanged() const { return m_skyChanged; }
    /// All systems: the last line ended a run of GSVs.
    [[nodiscard]] bool EndedGsvRun() const { return m_endedGsvRun; }
    /// Whether GSV messages that belong with the last one may follow: the group's in GpsOnly
    /// mode, the run's with all systems.
    [[nodiscard]] bool IsSatelliteReportOpen() const;

    /// Satellites used in the fix: GGA's count, or the size of the last GSA run's set.
    [[nodiscard]] int GetSatellitesInUse() const;
    /// Satellites in view: GSV's count, or the whole published sky's.
    [[nodiscard]] int GetSatellitesInView() const;
    /// All systems: the numbers the last GSA listed.
    [[nodiscard]] const std::vector<std::int32_t> &GetGsaNumbers() const { return m_gsaNumbers; }

    CNMEAFields m_fields;
    CGGASentence m_gga;
    CGSASentence m_gsa;
    CGSVSentence m_gsv;
    CRMCSentence m_rmc;
    CVTGSentence m_vtg;
    CGnssSky m_sky;

private:
    struct Tag {
        std::string_view tag;
        CNMEASentence *sentence;
    };

    /// Which talker's fix sentences of one type are taken.
    class CTalkerChoice
    {
    public:
        bool Accept(std::array<char, 2> talker);

    private:
        std::array<char, 2> m_chosen{};
        int m_missed = 0; // others' sentences since the chosen talker's last
    };

    SentenceType ParseGpsOnly(std::string_view line);
    SentenceType ParseAllSystems(std::string_view line);
    void ParseGSA();
    void TakeTime(const std::string &time);

    GnssMode m_mode;
    std::array<Tag, kSentenceTypeCount> m_tags;
    std::array<CTalkerChoice, kSentenceTypeCount> m_choices{};
    std::array<char, 2> m_talker{};
    bool m_used = true;
    bool m_skyChanged = false;
    bool m_endedGsvRun = false;
    bool m_dopTakenInRun = false;
    std::vector<std::int32_t> m_gsaNumbers;
};
