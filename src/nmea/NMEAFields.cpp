#include "NMEAFields.h"

#include "Numbers.h"

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

int CNMEAFields::ReadDouble(int index, double &value) const
{
    return ScanDouble(FieldView(index), value);
}

int CNMEAFields::ReadInt(int index, std::int32_t &value) const
{
    return ScanInt(FieldView(index), value);
}
