#pragma once

#include "GnssSystem.h"
#include "NMEAFields.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

/// Cuts a byte stream into receiver lines, byte for byte as the reader thread always has.
///
/// A line ends after its line feed (kept) or after kMaxLineBytes bytes without one; it is handed
/// on as the NUL-terminated text in the line buffer, so a NUL on the wire cuts it short. After a
/// full 82-byte piece the terminator goes one byte further than the data, to index 83, leaving
/// index 82 as it was: only ever a terminator of an earlier line, so the piece reads as its 82
/// bytes. A last piece without a line feed at the end of the input is not a line.
///
/// With all satellite systems a piece ends after its line feed or before a "$", which starts
/// the next sentence. Pieces are handed on with their length, NUL bytes included. A piece too
/// long to keep is handed on in parts as it arrives, so a recording keeps every byte: the first
/// part holds more than kSentenceRoom bytes and every later one starts without "$", so no
/// part is ever taken for a sentence of its own (the parser refuses both).
///
/// GetRaw() gives, inside the sink, the bytes the line came from: in GPS-only mode the line
/// may have been cut short by a NUL, the raw bytes never are.
class CLineAssembler
{
public:
    static constexpr std::size_t kMaxLineBytes = 82;
    static constexpr std::size_t kBufferBytes = 124;

    explicit CLineAssembler(GnssMode mode = GnssMode::GpsOnly)
        : m_mode(mode)
    {
    }

    /// A new mode drops the unfinished line.
    void SetMode(GnssMode mode)
    {
        if (mode != m_mode)
            DropPending();
        m_mode = mode;
    }
    [[nodiscard]] GnssMode GetMode() const { return m_mode; }

    /// Calls `sink(std::string_view line)` for every line completed by `bytes`.
    template <class Sink> void Feed(std::string_view bytes, Sink &&sink)
    {
        if (m_mode == GnssMode::AllSystems) {
            FeedSentences(bytes, sink);
            return;
        }
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
            m_raw = std::string_view(m_buffer.data(), m_count + take);
            m_count = 0;
            bytes.remove_prefix(take);
            sink(std::string_view(m_buffer.data()));
        }
    }

    /// Bytes of the unfinished line not yet handed on.
    [[nodiscard]] std::size_t GetPending() const
    {
        return m_mode == GnssMode::AllSystems ? m_sentence.size() : m_count;
    }
    /// Drops the unfinished line (end of input, source closed).
    void DropPending()
    {
        m_count = 0;
        m_sentence.clear();
        m_long = false;
    }
    /// The bytes of the unfinished line not yet handed on, NUL bytes included.
    [[nodiscard]] std::string_view GetPendingBytes() const
    {
        return m_mode == GnssMode::AllSystems ? std::string_view(m_sentence)
                                              : std::string_view(m_buffer.data(), m_count);
    }
    /// Inside the sink: every byte of the line being handed on, NUL bytes included.
    [[nodiscard]] std::string_view GetRaw() const { return m_raw; }

    /// All systems: more bytes than this without a line end or "$" are handed on in parts.
    static constexpr std::size_t kSentenceRoom = CNMEAFields::kMaxSentenceBytes + 8;
    /// The line buffer as the last line left it; the reader's replay pacing looks at index 4.
    [[nodiscard]] const char *GetBuffer() const { return m_buffer.data(); }

private:
    template <class Sink> void FeedSentences(std::string_view bytes, Sink &sink)
    {
        while (!bytes.empty()) {
            std::size_t end = 0;
            while (end < bytes.size() && bytes[end] != '\n' && bytes[end] != '$')
                ++end;
            if (end == bytes.size()) {
                Append(bytes, sink);
                return;
            }
            if (bytes[end] == '\n') {
                Append(bytes.substr(0, end + 1), sink);
                EndPiece(sink);
            } else {
                Append(bytes.substr(0, end), sink);
                EndPiece(sink);
                Append("$", sink);
            }
            bytes.remove_prefix(end + 1);
        }
    }

    template <class Sink> void Append(std::string_view part, Sink &sink)
    {
        if (part.empty())
            return;
        if (m_long) {
            Hand(part, sink);
            return;
        }
        m_sentence.append(part);
        if (m_sentence.size() <= kSentenceRoom)
            return;
        // Too long for a sentence: what came so far goes as one part, longer than any sentence,
        // and the rest follows as it arrives instead of piling up.
        m_long = true;
        Hand(m_sentence, sink);
        m_sentence.clear();
    }

    template <class Sink> void EndPiece(Sink &sink)
    {
        if (!m_sentence.empty())
            Hand(m_sentence, sink);
        m_sentence.clear();
        m_long = false;
    }

    template <class Sink> void Hand(std::string_view piece, Sink &sink)
    {
        m_raw = piece;
        sink(piece);
    }

    GnssMode m_mode;
    std::array<char, kBufferBytes> m_buffer{};
    std::size_t m_count = 0;
    std::string m_sentence; // all systems: the piece so far
    bool m_long = false;    // all systems: the piece is being handed on in parts
    std::string_view m_raw;
};

/// All systems' replay pacing: true for the first GGA of each epoch, whatever its talker (a
/// GNGGA and a GPGGA of the same time are one epoch). `lastTime` carries the epoch between calls.
inline bool StartsEpoch(std::string_view line, std::string &lastTime)
{
    if (line.size() < 7 || line[0] != '$' || line.substr(3, 4) != "GGA,")
        return false;
    std::string_view time = line.substr(7);
    time = time.substr(0, time.find_first_of(",*\r\n"));
    if (time == lastTime)
        return false;
    lastTime.assign(time);
    return true;
}
