#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// What a UART set to `heardBaud` makes of bytes sent at `sentBaud`, bit by bit.
///
/// The sender puts each byte on the line as 8N1: a start bit (low), eight data bits from the
/// least significant, a stop bit (high); the line idles high. The receiver works as a 16550 or
/// a USB adapter's UART does: it samples the line 16 times a bit, takes the first low sample
/// after a high one for the start of a start bit, checks it low again half a bit later (else it
/// was a glitch and the hunt goes on), and samples each data bit and the stop bit one bit apart
/// from there. A stop bit read low is a framing error; with INPCK off, as the serial port sets
/// the line, the byte is delivered all the same. The hunt for the next start bit begins at the
/// stop bit's sample and waits for the line to be high first. This resynchronisation is what
/// makes a wrong speed give a steady stream of wrong bytes rather than nothing.
///
/// Times are whole units of 1 / (16 * sentBaud * heardBaud) s, so nothing drifts by rounding.
struct CUartLink {
    int sentBaud = 9600;
    int heardBaud = 9600;
    /// Idle bit times the sender leaves after each line feed (a receiver pauses between epochs).
    int idleBitsAfterLineFeed = 0;
    /// The receiver starts listening this many sent bit times into the line, which idles for
    /// kLeadingIdleBits before the first byte: later, it joins in the middle of the stream, as a
    /// port that was just opened or changed speed does, maybe in the middle of a byte.
    std::int64_t listenFromSentBit = 0;

    static constexpr std::int64_t kLeadingIdleBits = 10;

    [[nodiscard]] std::string Hear(std::string_view sent) const
    {
        // The line idles high before the first byte, so a receiver sees its start bit begin.
        std::vector<bool> line(kLeadingIdleBits, true);
        line.reserve(line.size() + sent.size() * 10);
        for (const char c : sent) {
            const auto byte = static_cast<unsigned char>(c);
            line.push_back(false);
            for (int bit = 0; bit < 8; ++bit)
                line.push_back(((byte >> bit) & 1) != 0);
            line.push_back(true);
            if (c == '\n')
                line.insert(line.end(), static_cast<std::size_t>(idleBitsAfterLineFeed), true);
        }

        const std::int64_t sentBit = 16LL * heardBaud; // units
        const std::int64_t tick = sentBaud;            // a sixteenth of a heard bit
        const std::int64_t heardBit = 16 * tick;
        const std::int64_t end = static_cast<std::int64_t>(line.size()) * sentBit;
        const auto level = [&](std::int64_t t) {
            const std::int64_t i = t / sentBit;
            return i >= static_cast<std::int64_t>(line.size()) || line[static_cast<std::size_t>(i)];
        };
        const auto onTick = [&](std::int64_t t) { return (t + tick - 1) / tick * tick; };
        // The first sample at or after `t` that reads `high`; -1 when the line never does.
        const auto nextSample = [&](std::int64_t t, bool high) -> std::int64_t {
            for (t = onTick(t); t < end; t = onTick((t / sentBit + 1) * sentBit)) {
                if (level(t) == high)
                    return t;
            }
            return high ? t : -1; // idle after the last byte
        };

        std::string heard;
        std::int64_t t = listenFromSentBit * sentBit;
        for (;;) {
            const std::int64_t high = nextSample(t, true);
            const std::int64_t start = nextSample(high, false);
            if (start < 0)
                break;
            const std::int64_t middle = start + heardBit / 2;
            if (level(middle)) {
                t = middle; // a glitch, not a start bit
                continue;
            }
            unsigned byte = 0;
            for (int bit = 0; bit < 8; ++bit) {
                if (level(middle + (bit + 1) * heardBit))
                    byte |= 1u << bit;
            }
            heard += static_cast<char>(byte);
            t = middle + 9 * heardBit; // the stop bit's sample
        }
        return heard;
    }
};
