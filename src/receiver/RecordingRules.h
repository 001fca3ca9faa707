#pragma once

#include "nmea/NMEASentence.h"

#include <array>
#include <cstdint>

/// The log dialog's ready-made settings, in the order of its "Profile:" list.
enum RecordingProfile : int {
    kProfileFull = 0,
    kProfileModerate = 1,
    kProfileLow = 2,
};

inline constexpr int kRecordingProfileCount = 3;

/// One profile: the rate of each sentence type by type code (0 = type off, its rate left as
/// it is, the way the dialog only disables that drop-down) and whether other lines go in.
struct RecordingProfileInfo {
    const char *name;
    std::array<std::uint32_t, kSentenceTypeCount> rates;
    bool logOthers;
};

inline constexpr std::array<RecordingProfileInfo, kRecordingProfileCount> kRecordingProfiles = {{
    //                           GGA GSA GSV RMC VTG
    {"Full Rate (<800KB/h)", {{1, 1, 1, 1, 1}}, true},
    {"Moderate (<100KB/h)", {{4, 8, 8, 4, 0}}, false},
    {"Low Rate (<30KB/h)", {{8, 16, 16, 8, 0}}, false},
}};

/// What each rate drop-down offers.
inline constexpr std::array<std::uint32_t, 5> kRecordingRateChoices = {1, 2, 4, 8, 16};

/// A stored value of the log settings and the sentence type it belongs to (kSentenceNone for
/// the log-others flag), in the order they are saved.
struct RecordingValue {
    const char *name;
    int sentenceType;
};

inline constexpr std::array<RecordingValue, kSentenceTypeCount + 1> kRecordingValues = {{
    {"GGARate", kSentenceGGA},
    {"RMCRate", kSentenceRMC},
    {"GSARate", kSentenceGSA},
    {"GSVRate", kSentenceGSV},
    {"VTGRate", kSentenceVTG},
    {"LogOthers", kSentenceNone},
}};

/// Which received lines go into the log: a rate and an enable flag per sentence type, a flag
/// for every other line, and a counter per type that the rates are taken against.
///
/// Types are the parser's codes; -1 and any code past the known types count as "other".
/// Accessors ignore (set) or answer 0/false (get) for a code that is not a sentence type.
class CRecordingRules
{
public:
    /// Everything recorded: all types on at rate 1, other lines too; counters at 0.
    CRecordingRules();

    /// Whether to write this line. GGA, GSA, RMC, VTG: every rate-th one of the type. GSV: every
    /// rate-th group, all its messages alike; `gsvGroupIncomplete` is the parser's flag that
    /// more messages of the group follow, and is ignored for other types.
    [[nodiscard]] bool ShouldRecord(int sentenceType, bool gsvGroupIncomplete);
    /// Closes the GSV group that is open (all systems: the run of GSVs has ended).
    void EndGsvGroup();
    /// Starts every type's pattern over, as after "Create New...".
    void ResetCounters();

    /// Sets the enables, rates and log-others flag of `profile`; counters stay.
    void ApplyProfile(RecordingProfile profile);

    [[nodiscard]] std::uint32_t GetRate(int sentenceType) const;
    /// A rate of 0 records nothing of that type, even while it is enabled.
    void SetRate(int sentenceType, std::uint32_t rate);
    [[nodiscard]] bool IsEnabled(int sentenceType) const;
    void SetEnabled(int sentenceType, bool enabled);
    [[nodiscard]] bool GetLogOthers() const { return m_logOthers; }
    void SetLogOthers(bool logOthers) { m_logOthers = logOthers; }

private:
    static bool IsKnownType(int sentenceType)
    {
        return sentenceType >= 0 && sentenceType < kSentenceTypeCount;
    }
    bool IsDue(int sentenceType) const;

    std::array<std::uint32_t, kSentenceTypeCount> m_rates{};
    std::array<bool, kSentenceTypeCount> m_enabled{};
    // Wrap at 2^32; with the dialog's power-of-two rates the pattern carries on unbroken.
    std::array<std::uint32_t, kSentenceTypeCount> m_counters{};
    bool m_logOthers = true;
};
