#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Writer of the little-endian object-archive layout that the waypoint and map databases share:
/// numbers, element counts and wide strings, byte for byte as existing files hold them.
class CArchiveWriter
{
public:
    void WriteUInt8(std::uint8_t value);
    void WriteUInt16(std::uint16_t value);
    void WriteUInt32(std::uint32_t value);
    void WriteInt32(std::int32_t value);
    void WriteDouble(double value);
    /// A 16-bit count; from 65535 on the 16-bit 0xFFFF and a 32-bit count.
    void WriteCount(std::uint32_t count);
    /// FF, FFFE (UTF-16 follows), the length in UTF-16 units (one byte below 255; else FF and 16
    /// bits below 0xFFFE; else FF, FFFF and 32 bits), then UTF-16LE without terminator. Invalid
    /// UTF-8 is written as U+FFFD.
    void WriteString(std::string_view utf8);

    /// Room for `bytes` in all, to spare regrowing while a large database is written.
    void Reserve(std::size_t bytes) { m_bytes.reserve(bytes); }

    [[nodiscard]] const std::string &GetBytes() const { return m_bytes; }
    [[nodiscard]] std::string TakeBytes() { return std::move(m_bytes); }

private:
    std::string m_bytes;
};

/// The bytes CArchiveWriter::WriteString puts out for `utf8`.
std::size_t EncodedStringSize(std::string_view utf8);

/// Reader of the same layout over bytes in memory. Every read checks the bytes left: a read past
/// the end fails, sets Failed() and leaves its output as it was; nothing is sized by a count
/// before the bytes for it are known to be there.
class CArchiveReader
{
public:
    explicit CArchiveReader(std::string_view bytes)
        : m_bytes(bytes)
    {
    }

    bool ReadUInt8(std::uint8_t &value);
    bool ReadUInt16(std::uint16_t &value);
    bool ReadUInt32(std::uint32_t &value);
    bool ReadInt32(std::int32_t &value);
    bool ReadDouble(double &value);
    bool ReadCount(std::uint32_t &count);
    /// Wide strings (UTF-16LE, unpaired surrogates become U+FFFD) and narrow ones (no FFFE
    /// marker; 8-bit characters read as Latin-1), both into UTF-8.
    bool ReadString(std::string &utf8);

    [[nodiscard]] std::size_t GetRemaining() const { return m_bytes.size() - m_offset; }
    [[nodiscard]] std::size_t GetOffset() const { return m_offset; }
    [[nodiscard]] bool Failed() const { return m_failed; }

private:
    std::string_view m_bytes;
    std::size_t m_offset = 0;
    bool m_failed = false;
};
