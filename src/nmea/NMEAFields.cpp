#include "NMEAFields.h"

#include "Numbers.h"

int CNMEAFields::Split(std::string_view line)
{
    m_fields.clear();
    const std::size_t dollar = line.find('$');
    if (dollar == std::string_view::npos || line.size() < dollar + 2)
        return 0;
    m_line.assign(line.substr(dollar));

    const std::size_t n = m_line.size();
    std::uint32_t running = 0;
    std::size_t fieldStart = 0;
    bool asterisk = false;
    for (std::size_t i = 1; i < n; ++i) {
        const auto c = static_cast<unsigned char>(m_line[i]);
        if (c == ',' || c == '*' || c == '\r') {
            if (asterisk) {
                // The checksum field ends here; its value replaces the running XOR. Unreadable
                // digits leave the XOR, which then cannot match.
                ScanHex(std::string_view(m_line).substr(fieldStart, i - fieldStart), running);
                break;
            }
            if (c == '*') {
                m_checksum = running;
                asterisk = true;
            }
            m_fields.push_back({static_cast<std::uint32_t>(fieldStart),
                                static_cast<std::uint32_t>(i - fieldStart)});
            fieldStart = i + 1;
        }
        running ^= c;
    }
    if (asterisk && m_checksum != running)
        return 0;
    return GetCount();
}

int CNMEAFields::ReadDouble(int index, double &value) const
{
    return ScanDouble(FieldView(index), value);
}

int CNMEAFields::ReadInt(int index, std::int32_t &value) const
{
    return ScanInt(FieldView(index), value);
}
