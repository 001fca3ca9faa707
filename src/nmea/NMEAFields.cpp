#include "NMEAFields.h"

#include "base/Numbers.h"

#include <array>

namespace
{

constexpr std::array<bool, 256> kDelimiters = [] {
    std::array<bool, 256> t{};
    t[','] = t['*'] = t['\r'] = true;
    return t;
}();

} // namespace

int CNMEAFields::Split(std::string_view line)
{
    m_count = 0;
    const std::size_t dollar = line.find('$');
    if (dollar == std::string_view::npos || line.size() < dollar + 2)
        return 0;
    m_line.assign(line.substr(dollar));

    const std::size_t n = m_line.size();
    if (m_spans.size() < n)
        m_spans.resize(n); // a line of n characters has fewer than n fields

    // Locals only in the walk: the byte loads may alias any member.
    const auto *const bytes = reinterpret_cast<const unsigned char *>(m_line.data());
    Span *const spans = m_spans.data();
    std::uint32_t count = 0;
    std::uint32_t running = 0;
    std::uint32_t fieldStart = 0;
    bool asterisk = false;
    std::uint32_t computed = 0;
    for (std::uint32_t i = 1; i < n; ++i) {
        const unsigned char c = bytes[i];
        if (kDelimiters[c]) {
            if (asterisk) {
                // The checksum field ends here; its value replaces the running XOR. Unreadable
                // digits leave the XOR, which then cannot match.
                ScanHex(std::string_view(m_line).substr(fieldStart, i - fieldStart), running);
                break;
            }
            if (c == '*') {
                computed = running;
                asterisk = true;
            }
            spans[count++] = {fieldStart, i - fieldStart};
            fieldStart = i + 1;
        }
        running ^= c;
    }
    m_count = static_cast<int>(count);
    if (!asterisk)
        return m_count;
    m_checksum = computed;
    return computed == running ? m_count : 0;
}

int CNMEAFields::SplitSentence(std::string_view sentence)
{
    m_count = 0;
    while (!sentence.empty() && (sentence.back() == '\n' || sentence.back() == '\r'))
        sentence.remove_suffix(1);
    const std::size_t n = sentence.size();
    if (n < 2 || n > kMaxSentenceBytes || sentence[0] != '$')
        return 0;
    m_line.assign(sentence);
    if (m_spans.size() < n)
        m_spans.resize(n);

    const auto *const bytes = reinterpret_cast<const unsigned char *>(m_line.data());
    Span *const spans = m_spans.data();
    std::uint32_t count = 0;
    std::uint32_t running = 0;
    std::uint32_t fieldStart = 0;
    std::uint32_t i = 1;
    for (; i < n; ++i) {
        const unsigned char c = bytes[i];
        if (c < 0x20 || c > 0x7e || c == '$')
            return 0;
        if (c == '*')
            break;
        if (c == ',') {
            spans[count++] = {fieldStart, i - fieldStart};
            fieldStart = i + 1;
        }
        running ^= c;
    }
    spans[count++] = {fieldStart, i - fieldStart};
    if (i < n) {
        const int high = n == i + 3 ? HexDigit(bytes[i + 1]) : -1;
        const int low = n == i + 3 ? HexDigit(bytes[i + 2]) : -1;
        m_checksum = running;
        if (high < 0 || low < 0 || static_cast<std::uint32_t>(high * 16 + low) != running)
            return 0;
    }
    m_count = static_cast<int>(count);
    return m_count;
}

int CNMEAFields::ReadDouble(int index, double &value) const
{
    return ScanDouble(FieldView(index), value);
}

int CNMEAFields::ReadInt(int index, std::int32_t &value) const
{
    return ScanInt(FieldView(index), value);
}
