#include "GSASentence.h"

#include "NMEAFields.h"

#include <algorithm>
#include <cmath>

void CDOPHistory::Add(double value)
{
    m_sum = m_sum + value;
    if (m_size < kLength) {
        m_values[static_cast<std::size_t>((m_first + m_size) % kLength)] = value;
        ++m_size;
        return;
    }
    m_sum = m_sum - m_values[static_cast<std::size_t>(m_first)];
    m_values[static_cast<std::size_t>(m_first)] = value;
    m_first = (m_first + 1) % kLength;
    // A "nan" or "inf" field (garbage in a line without checksum) would stay in a running sum
    // for good; once it has slid out, the sum is taken afresh.
    if (!std::isfinite(m_sum)) {
        m_sum = 0.0;
        for (int i = 0; i < m_size; ++i)
            m_sum = m_sum + GetValue(i);
    }
}

void CDOPHistory::Clear()
{
    m_first = 0;
    m_size = 0;
    m_sum = 0.0;
}

void CUsedSatellites::Insert(std::int32_t prn)
{
    if (!Contains(prn) && m_size < kCapacity)
        m_prns[static_cast<std::size_t>(m_size++)] = prn;
}

bool CUsedSatellites::Contains(std::int32_t prn) const
{
    return std::find(m_prns.begin(), m_prns.begin() + m_size, prn) != m_prns.begin() + m_size;
}

void CGSASentence::Reset()
{
    m_mode.clear();
    m_fixMode = 0;
    m_prn.fill(0);
    m_pdop = m_hdop = m_vdop = 0.0;
    m_pdopHistory.Clear();
    m_hdopHistory.Clear();
    m_vdopHistory.Clear();
    // The used set is rebuilt by every Parse and not part of the reset state.
}

int CGSASentence::Parse(const CNMEAFields &fields)
{
    m_used.Clear();
    m_mode.assign(fields.FieldView(1));
    fields.ReadInt(2, m_fixMode);
    for (int i = 0; i < kSlots; ++i) {
        std::int32_t &slot = m_prn[static_cast<std::size_t>(i)];
        if (fields.ReadInt(3 + i, slot) != 0)
            m_used.Insert(slot);
    }
    fields.ReadDouble(15, m_pdop);
    fields.ReadDouble(16, m_hdop);
    fields.ReadDouble(17, m_vdop);
    if (m_pdop == 0.0)
        return 1;
    m_pdopHistory.Add(m_pdop);
    m_hdopHistory.Add(m_hdop);
    m_vdopHistory.Add(m_vdop);
    return 1;
}
