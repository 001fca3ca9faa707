#include "receiver/LineConsumer.h"

void CLineConsumer::HandleLine(std::string_view raw)
{
    // GPS only reads a line as the C string it always was: a NUL ends it. The log gets it all.
    const std::string_view line =
        m_parser.GetMode() == GnssMode::GpsOnly ? raw.substr(0, raw.find('\0')) : raw;
    const int type = m_parser.Parse(line);
    ++m_lines;
    ++m_counts[type >= 0 ? static_cast<std::size_t>(type) : kSentenceTypeCount];
    if (m_hook)
        m_hook(type, line);
    if (!m_log.IsOpen())
        return;
    // A GSV group is recorded or skipped whole; the decision needs to know where it ends.
    // With all systems the unit is the run of GSVs, the whole sky: counting each talker's
    // group would keep recording the same systems and never the others.
    const bool allSystems = m_parser.GetMode() == GnssMode::AllSystems;
    if (allSystems && m_parser.EndedGsvRun())
        m_rules.EndGsvGroup();
    const bool groupIncomplete = type == kSentenceGSV && m_parser.IsSatelliteReportOpen();
    // A sentence cut off by the next one's "$" goes in as it came, without a line end: with
    // everything recorded the log is the received stream, and the next recorded sentence's "$"
    // cuts it again on replay.
    if (m_rules.ShouldRecord(type, groupIncomplete))
        m_log.Write(raw);
}

void CLineConsumer::RecordUnfinished(std::string_view bytes)
{
    if (m_log.IsOpen() && m_rules.GetLogOthers())
        m_log.Write(bytes);
}

void CLineConsumer::SetGnssMode(GnssMode mode)
{
    m_parser.SetMode(mode);
    m_rules.ResetCounters();
}

std::uint64_t CLineConsumer::GetCount(int type) const
{
    return m_counts[type >= 0 && type < kSentenceTypeCount ? static_cast<std::size_t>(type)
                                                           : kSentenceTypeCount];
}
