#include "receiver/LineConsumer.h"

void CLineConsumer::HandleLine(std::string_view line)
{
    const int type = m_parser.Parse(line);
    ++m_lines;
    ++m_counts[type >= 0 ? static_cast<std::size_t>(type) : kSentenceTypeCount];
    if (m_hook)
        m_hook(type, line);
    if (!m_log.IsOpen())
        return;
    // A GSV group is recorded or skipped whole; the decision needs to know where it ends.
    const bool groupIncomplete = type == kSentenceGSV && m_parser.m_gsv.m_moreToCome;
    if (m_rules.ShouldRecord(type, groupIncomplete))
        m_log.Write(line);
}

std::uint64_t CLineConsumer::GetCount(int type) const
{
    return m_counts[type >= 0 && type < kSentenceTypeCount ? static_cast<std::size_t>(type)
                                                           : kSentenceTypeCount];
}
