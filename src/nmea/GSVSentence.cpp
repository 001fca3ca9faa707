#include "GSVSentence.h"

#include "NMEAFields.h"

#include <cstdint>

void CGSVSentence::Reset()
{
    m_inView = 0;
    m_satellites.fill(CSatelliteInfo{});
}

int CGSVSentence::Parse(const CNMEAFields &fields)
{
    fields.ReadInt(1, m_messageCount);
    fields.ReadInt(2, m_messageNumber);
    m_moreToCome = m_messageCount != m_messageNumber;

    // Only groups whose four fields are all present (empty counts as present) are read. A message
    // number beyond the table, or 0, lands outside it and is dropped.
    const int count = fields.GetCount();
    for (int f = 4; f < count - 3; f += 4) {
        const std::int64_t entry =
            (static_cast<std::int64_t>(m_messageNumber) - 1) * kPerMessage + (f - 4) / 4;
        if (entry < 0 || entry >= kEntries)
            continue;
        CSatelliteInfo &s = m_satellites[static_cast<std::size_t>(entry)];
        std::int32_t *values[] = {&s.m_prn, &s.m_elevation, &s.m_azimuth, &s.m_snr};
        for (int k = 0; k < 4; ++k)
            if (fields.ReadInt(f + k, *values[k]) == 0)
                *values[k] = -1; // letters where a number belongs
    }
    fields.ReadInt(3, m_inView);
    return 1;
}
