#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

/// Cuts a byte stream into receiver lines, byte for byte as the reader thread always has.
///
/// A line ends after its line feed (kept) or after kMaxLineBytes bytes without one; it is handed
/// on as the NUL-terminated text in the line buffer, so a NUL on the wire cuts it short. After a
/// full 82-byte piece the terminator goes one byte further than the data, to index 83, leaving
/// index 82 as it was: only ever a terminator of an earlier line, so the piece reads as its 82
/// bytes. A last piece without a line feed at the end of the input is not a line.
class CLineAssembler
{
public:
    static constexpr std::size_t kMaxLineBytes = 82;
    static constexpr std::size_t kBufferBytes = 124;

    /// Calls `sink(std::string_view line)` for every line completed by `bytes`.
    template <class Sink> void Feed(std::string_view bytes, Sink &&sink)
    {
        while (!bytes.empty()) {
            const std::size_t room = kMaxLineBytes - m_count;
            const std::size_t scan = bytes.size() < room ? bytes.size() : room;
            const void *lf = std::memchr(bytes.data(), '\n', scan);
            std::size_t take;
            std::size_t terminator;
            if (lf != nullptr) {
                take = static_cast<std::size_t>(static_cast<const char *>(lf) - bytes.data()) + 1;
                terminator = m_count + take; // right behind the line feed
            } else if (scan == room) {
                take = room;
                terminator = kMaxLineBytes + 1;
            } else {
                std::memcpy(m_buffer.data() + m_count, bytes.data(), scan);
                m_count += scan;
                return;
            }
            std::memcpy(m_buffer.data() + m_count, bytes.data(), take);
            m_buffer[terminator] = '\0';
            m_count = 0;
            bytes.remove_prefix(take);
            sink(std::string_view(m_buffer.data()));
        }
    }

    /// Bytes of the unfinished line.
    [[nodiscard]] std::size_t GetPending() const { return m_count; }
    /// Drops the unfinished line (end of input, source closed).
    void DropPending() { m_count = 0; }
    /// The line buffer as the last line left it; the reader's replay pacing looks at index 4.
    [[nodiscard]] const char *GetBuffer() const { return m_buffer.data(); }

private:
    std::array<char, kBufferBytes> m_buffer{};
    std::size_t m_count = 0;
};
