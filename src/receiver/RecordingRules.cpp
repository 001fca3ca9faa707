#include "receiver/RecordingRules.h"

CRecordingRules::CRecordingRules()
{
    m_rates.fill(1);
    m_enabled.fill(true);
}

bool CRecordingRules::ShouldRecord(int sentenceType, bool gsvGroupIncomplete)
{
    if (!IsKnownType(sentenceType))
        return m_logOthers;
    if (sentenceType == kSentenceGSV) {
        // Counted per group, after the answer, so the first group after a reset goes in and
        // every message of a group gets the same answer.
        const bool record = IsDue(sentenceType);
        if (!gsvGroupIncomplete)
            ++m_counters[sentenceType];
        return record;
    }
    ++m_counters[sentenceType];
    return IsDue(sentenceType);
}

void CRecordingRules::EndGsvGroup()
{
    ++m_counters[kSentenceGSV];
}

void CRecordingRules::ResetCounters()
{
    m_counters.fill(0);
}

void CRecordingRules::ApplyProfile(RecordingProfile profile)
{
    if (profile < 0 || profile >= kRecordingProfileCount)
        return;
    const RecordingProfileInfo &info = kRecordingProfiles[profile];
    for (int type = 0; type < kSentenceTypeCount; ++type) {
        const std::uint32_t rate = info.rates[type];
        m_enabled[type] = rate != 0;
        if (rate != 0)
            m_rates[type] = rate;
    }
    m_logOthers = info.logOthers;
}

std::uint32_t CRecordingRules::GetRate(int sentenceType) const
{
    return IsKnownType(sentenceType) ? m_rates[sentenceType] : 0;
}

void CRecordingRules::SetRate(int sentenceType, std::uint32_t rate)
{
    if (IsKnownType(sentenceType))
        m_rates[sentenceType] = rate;
}

bool CRecordingRules::IsEnabled(int sentenceType) const
{
    return IsKnownType(sentenceType) && m_enabled[sentenceType];
}

void CRecordingRules::SetEnabled(int sentenceType, bool enabled)
{
    if (IsKnownType(sentenceType))
        m_enabled[sentenceType] = enabled;
}

bool CRecordingRules::IsDue(int sentenceType) const
{
    const std::uint32_t rate = m_rates[sentenceType];
    return m_enabled[sentenceType] && rate != 0 && m_counters[sentenceType] % rate == 0;
}
