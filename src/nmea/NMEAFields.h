#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Splits one NMEA line into fields and verifies its checksum.
///
/// Field 0 is the tag with its "$" ("$GPGGA"); texts are kept as received. The walk keeps the
/// receivers' de-facto rules: a line without "*" is accepted unchecked, a field after the last
/// delimiter is dropped, and a checksum not followed by a terminator (",", "*" or CR) fails.
class CNMEAFields
{
public:
    /// Returns the field count, or 0 when the line is refused (no "$", too short, bad checksum).
    int Split(std::string_view line);

    /// The strict reading of one sentence: it starts with "$", holds only printable ASCII and at
    /// most kMaxSentenceBytes, a "*" is followed by exactly two hex digits of the right checksum
    /// (a sentence without "*" is taken unchecked), and every field counts, the last one too.
    /// Trailing CR and LF bytes are the line end. Returns the field count or 0.
    int SplitSentence(std::string_view sentence);
    static constexpr std::size_t kMaxSentenceBytes = 255;

    [[nodiscard]] int GetCount() const { return m_count; }

    /// A copy of field `index`; empty for any index outside the list.
    [[nodiscard]] std::string GetField(int index) const { return std::string(FieldView(index)); }

    /// Field `index` without a copy; valid until the next Split.
    [[nodiscard]] std::string_view FieldView(int index) const
    {
        if (index < 0 || index >= GetCount())
            return {};
        const Span &s = m_spans[static_cast<std::size_t>(index)];
        return std::string_view(m_line).substr(s.offset, s.length);
    }

    /// XOR of the characters between "$" and "*" of the last line that had a "*".
    [[nodiscard]] std::uint32_t GetChecksum() const { return m_checksum; }

    /// Field as "%lf" / "%d": the target changes only when a number converts. Returns 1, 0 for
    /// text that is no number, or kScanEnd for an empty field.
    int ReadDouble(int index, double &value) const;
    int ReadInt(int index, std::int32_t &value) const;

private:
    struct Span {
        std::uint32_t offset;
        std::uint32_t length;
    };

    std::string m_line;        // from the "$" on; the fields point into it
    std::vector<Span> m_spans; // m_count used; grown once to the longest line seen
    int m_count = 0;
    std::uint32_t m_checksum = 0;
};
