#pragma once

#include "nmea/NMEAParser.h"
#include "receiver/NMEALogFile.h"
#include "receiver/RecordingRules.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string_view>

/// What happens to every received line, without a window: parse, let the owner react to the
/// sentence, then decide on recording and write the raw line. The main window's data-line
/// handler takes the same steps in the same order.
class CLineConsumer
{
public:
    /// Called after parsing with the sentence type (kSentenceNone for any other line).
    using SentenceHook = std::function<void(int type, std::string_view line)>;

    void SetSentenceHook(SentenceHook hook) { m_hook = std::move(hook); }
    /// `raw` is the received line with every byte; GPS only parses it up to a NUL (the hook
    /// gets that text too), the log gets it whole.
    void HandleLine(std::string_view raw);
    /// A replay's last bytes without a line end: recorded as any other line, never parsed.
    void RecordUnfinished(std::string_view bytes);
    /// Parser and recording pattern start afresh in `mode`.
    void SetGnssMode(GnssMode mode);
    /// After each batch of lines: the recorded ones go to the file.
    void EndOfBatch() { m_log.Flush(); }

    [[nodiscard]] std::uint64_t GetCount(int type) const;
    [[nodiscard]] std::uint64_t GetLines() const { return m_lines; }

    CNMEAParser m_parser;
    CRecordingRules m_rules;
    CNMEALogFile m_log;

private:
    SentenceHook m_hook;
    std::array<std::uint64_t, kSentenceTypeCount + 1> m_counts{}; // last: refused lines
    std::uint64_t m_lines = 0;
};
