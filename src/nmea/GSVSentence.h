#pragma once

#include "NMEASentence.h"

#include <array>
#include <cstdint>

/// One satellite of the GSV table.
struct CSatelliteInfo {
    std::int32_t m_prn = 0;
    std::int32_t m_elevation = 0; ///< degrees
    std::int32_t m_azimuth = 0;   ///< degrees
    std::int32_t m_snr = 0;       ///< dB
};

/// Satellites in view, assembled in place from the messages of a GSV group.
class CGSVSentence : public CNMEASentence
{
public:
    static constexpr int kEntries = 12;
    static constexpr int kPerMessage = 4;

    CGSVSentence() { CGSVSentence::Reset(); }

    void Reset() override;
    [[nodiscard]] SentenceType GetType() const override { return kSentenceGSV; }
    int Parse(const CNMEAFields &fields) override;

    /// True when the last message closed its group.
    [[nodiscard]] bool IsGroupComplete() const { return !m_moreToCome; }

    std::int32_t m_messageNumber = 0; ///< from 1
    std::int32_t m_messageCount = 0;
    bool m_moreToCome = false;
    /// Never cleared between groups: only the first m_inView entries are current.
    std::array<CSatelliteInfo, kEntries> m_satellites{};
    std::int32_t m_inView = 0;
};
