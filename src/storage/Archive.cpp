#include "storage/Archive.h"

#include <algorithm>
#include <bit>

namespace
{

constexpr char32_t kReplacement = 0xFFFD;
constexpr std::uint8_t kLongLength = 0xFF;
constexpr std::uint16_t kWideMarker = 0xFFFE;
constexpr std::uint16_t kLongerLength = 0xFFFF;
constexpr std::uint32_t kLongestLength = 0xFFFFFFFF;

// One code point from UTF-8 at `i`, advancing `i`. A malformed sequence (overlong, surrogate,
// beyond U+10FFFF, cut short) yields U+FFFD and skips only the bytes that looked valid, so the
// next character is not swallowed.
char32_t NextCodePoint(std::string_view utf8, std::size_t &i)
{
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(utf8[k]); };
    const unsigned char lead = byte(i++);
    if (lead < 0x80)
        return lead;
    int follow = 0;
    char32_t cp = 0;
    char32_t min = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        follow = 1, cp = lead & 0x1F, min = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        follow = 2, cp = lead & 0x0F, min = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        follow = 3, cp = lead & 0x07, min = 0x10000;
    } else {
        return kReplacement;
    }
    for (int k = 0; k < follow; ++k) {
        if (i >= utf8.size() || (byte(i) & 0xC0) != 0x80)
            return kReplacement;
        const char32_t next = (cp << 6) | (byte(i) & 0x3F);
        // Overlong forms, surrogates and values past U+10FFFF show in the second byte already.
        if (k == 0 && follow > 1) {
            const char32_t lowest = next << (6 * (follow - 1));
            const char32_t highest = lowest | ((1u << (6 * (follow - 1))) - 1);
            if (highest < min || lowest > 0x10FFFF || (lowest >= 0xD800 && highest <= 0xDFFF))
                return kReplacement;
        }
        cp = next;
        ++i;
    }
    return cp < min ? kReplacement : cp;
}

bool IsAscii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

std::size_t Utf16Length(std::string_view utf8)
{
    if (IsAscii(utf8))
        return utf8.size();
    std::size_t units = 0;
    for (std::size_t i = 0; i < utf8.size();)
        units += NextCodePoint(utf8, i) >= 0x10000 ? 2 : 1;
    return units;
}

void AppendUtf8(std::string &out, char32_t cp)
{
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

} // namespace

namespace
{

// Little-endian bytes of a number, appended in one piece: byte by byte was most of the time
// a large save took.
template <class Unsigned> void AppendLittleEndian(std::string &out, Unsigned value)
{
    char bytes[sizeof value];
    for (std::size_t i = 0; i < sizeof value; ++i)
        bytes[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
    out.append(bytes, sizeof value);
}

} // namespace

std::size_t EncodedStringSize(std::string_view utf8)
{
    const std::size_t units = Utf16Length(utf8);
    const std::size_t header = units < kLongLength ? 4 : units < kWideMarker ? 6 : 10;
    return header + 2 * units;
}

void CArchiveWriter::WriteUInt8(std::uint8_t value)
{
    m_bytes += static_cast<char>(value);
}

void CArchiveWriter::WriteUInt16(std::uint16_t value)
{
    AppendLittleEndian(m_bytes, value);
}

void CArchiveWriter::WriteUInt32(std::uint32_t value)
{
    AppendLittleEndian(m_bytes, value);
}

void CArchiveWriter::WriteInt32(std::int32_t value)
{
    WriteUInt32(static_cast<std::uint32_t>(value));
}

void CArchiveWriter::WriteDouble(double value)
{
    AppendLittleEndian(m_bytes, std::bit_cast<std::uint64_t>(value));
}

void CArchiveWriter::WriteCount(std::uint32_t count)
{
    if (count < kLongerLength) {
        WriteUInt16(static_cast<std::uint16_t>(count));
        return;
    }
    WriteUInt16(kLongerLength);
    WriteUInt32(count);
}

void CArchiveWriter::WriteString(std::string_view utf8)
{
    const std::size_t units = Utf16Length(utf8);
    WriteUInt8(kLongLength);
    WriteUInt16(kWideMarker);
    if (units < kLongLength) {
        WriteUInt8(static_cast<std::uint8_t>(units));
    } else if (units < kWideMarker) {
        WriteUInt8(kLongLength);
        WriteUInt16(static_cast<std::uint16_t>(units));
    } else {
        WriteUInt8(kLongLength);
        WriteUInt16(kLongerLength);
        WriteUInt32(static_cast<std::uint32_t>(units));
    }
    // Units go straight into the buffer: appending them one by one is what made saving a large
    // database slow.
    const std::size_t start = m_bytes.size();
    m_bytes.resize(start + 2 * units);
    char *out = m_bytes.data() + start;
    const auto put = [&out](char32_t unit) {
        *out++ = static_cast<char>(unit & 0xFF);
        *out++ = static_cast<char>(unit >> 8);
    };
    if (units == utf8.size() && IsAscii(utf8)) {
        for (const char c : utf8)
            put(static_cast<unsigned char>(c));
        return;
    }
    for (std::size_t i = 0; i < utf8.size();) {
        const char32_t cp = NextCodePoint(utf8, i);
        if (cp < 0x10000) {
            put(cp);
        } else {
            put(0xD800 + ((cp - 0x10000) >> 10));
            put(0xDC00 + ((cp - 0x10000) & 0x3FF));
        }
    }
}

bool CArchiveReader::ReadUInt8(std::uint8_t &value)
{
    if (m_failed || GetRemaining() < 1) {
        m_failed = true;
        return false;
    }
    value = static_cast<std::uint8_t>(m_bytes[m_offset++]);
    return true;
}

bool CArchiveReader::ReadUInt16(std::uint16_t &value)
{
    if (m_failed || GetRemaining() < 2) {
        m_failed = true;
        return false;
    }
    const auto *p = reinterpret_cast<const unsigned char *>(m_bytes.data() + m_offset);
    value = static_cast<std::uint16_t>(p[0] | (p[1] << 8));
    m_offset += 2;
    return true;
}

bool CArchiveReader::ReadUInt32(std::uint32_t &value)
{
    std::uint16_t low = 0;
    std::uint16_t high = 0;
    if (GetRemaining() < 4) {
        m_failed = true;
        return false;
    }
    if (!ReadUInt16(low) || !ReadUInt16(high))
        return false;
    value = low | (static_cast<std::uint32_t>(high) << 16);
    return true;
}

bool CArchiveReader::ReadInt32(std::int32_t &value)
{
    std::uint32_t bits = 0;
    if (!ReadUInt32(bits))
        return false;
    value = static_cast<std::int32_t>(bits);
    return true;
}

bool CArchiveReader::ReadDouble(double &value)
{
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    if (GetRemaining() < 8) {
        m_failed = true;
        return false;
    }
    if (!ReadUInt32(low) || !ReadUInt32(high))
        return false;
    value = std::bit_cast<double>(low | (static_cast<std::uint64_t>(high) << 32));
    return true;
}

bool CArchiveReader::ReadCount(std::uint32_t &count)
{
    std::uint16_t shortCount = 0;
    if (!ReadUInt16(shortCount))
        return false;
    if (shortCount != kLongerLength) {
        count = shortCount;
        return true;
    }
    return ReadUInt32(count);
}

bool CArchiveReader::ReadString(std::string &utf8)
{
    // The length forms nest: each escape value of a shorter form announces the next longer one.
    // The wide marker stands where a narrow string's 16-bit length would be, then the forms
    // start over.
    bool wide = false;
    std::uint64_t length = 0;
    std::uint8_t byteLength = 0;
    std::uint16_t wordLength = 0;
    if (!ReadUInt8(byteLength))
        return false;
    if (byteLength == kLongLength) {
        if (!ReadUInt16(wordLength))
            return false;
        if (wordLength == kWideMarker) {
            wide = true;
            if (!ReadUInt8(byteLength))
                return false;
            if (byteLength != kLongLength)
                wordLength = byteLength;
            else if (!ReadUInt16(wordLength))
                return false;
        }
    } else {
        wordLength = byteLength;
    }
    length = wordLength;
    if (wordLength == kLongerLength) {
        std::uint32_t longLength = 0;
        if (!ReadUInt32(longLength))
            return false;
        length = longLength;
        if (longLength == kLongestLength) {
            std::uint32_t low = 0;
            std::uint32_t high = 0;
            if (!ReadUInt32(low) || !ReadUInt32(high))
                return false;
            length = low | (static_cast<std::uint64_t>(high) << 32);
        }
    }
    // Damage shows as a length beyond the end: checked before anything is sized by it.
    const std::uint64_t unitSize = wide ? 2 : 1;
    if (length > GetRemaining() / unitSize) {
        m_failed = true;
        return false;
    }
    const auto *p = reinterpret_cast<const unsigned char *>(m_bytes.data() + m_offset);
    const auto count = static_cast<std::size_t>(length);
    std::string text;
    text.reserve(count); // exact for ASCII, the common case
    const auto ascii = [&] {
        for (std::size_t k = 0; k < count; ++k)
            if (p[unitSize * k] >= 0x80 || (wide && p[2 * k + 1] != 0))
                return false;
        return true;
    };
    if (ascii()) {
        text.resize(count);
        for (std::size_t k = 0; k < count; ++k)
            text[k] = static_cast<char>(p[unitSize * k]);
    } else if (!wide) {
        for (std::size_t k = 0; k < count; ++k)
            AppendUtf8(text, p[k]);
    } else {
        for (std::size_t k = 0; k < count; ++k) {
            char32_t unit = p[2 * k] | (p[2 * k + 1] << 8);
            if (unit >= 0xD800 && unit <= 0xDBFF && k + 1 < count) {
                const char32_t low = p[2 * k + 2] | (p[2 * k + 3] << 8);
                if (low >= 0xDC00 && low <= 0xDFFF) {
                    unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
                    ++k;
                }
            }
            AppendUtf8(text, (unit >= 0xD800 && unit <= 0xDFFF) ? kReplacement : unit);
        }
    }
    m_offset += count * unitSize;
    utf8 = std::move(text);
    return true;
}
