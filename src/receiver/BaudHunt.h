#pragma once

#include "receiver/ReceiverBytes.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

/// One speed tried and what was heard there.
struct CBaudTry {
    int speed = 0;
    StreamKind kind = StreamKind::Silence;
};

/// The order of the speeds an automatic baud rate tries, and what came of each: a state machine
/// without a port. The owner sets the port to GetSpeed(), listens, and reports the
/// classification; the hunt locks on the first speed that heard a receiver's language, or ends
/// exhausted after the last.
class CBaudHunt
{
public:
    enum class State { Hunting, Locked, Exhausted };

    /// Factory speeds first, so a receiver nobody has configured is found at the first or second
    /// try: 9600 is what most current modules and USB mice ship with (u-blox, MediaTek), 4800 is
    /// NMEA 0183's own speed and that of older receivers (SiRF in NMEA mode); 38400 is the NMEA
    /// high-speed rate, 115200 and 57600 the usual choices of a user who raised the rate for
    /// 5-10 Hz output (57600 also SiRF binary's); 19200 and 230400 are seldom seen.
    static constexpr std::array<int, 7> kSpeeds{9600, 4800, 38400, 115200, 57600, 19200, 230400};
    /// Only when asked: few receivers run this fast, and many USB adapters cannot.
    static constexpr std::array<int, 2> kHighSpeeds{460800, 921600};

    /// `lastGoodSpeed`, the speed that locked last time on this device, comes first (a value of
    /// 0 or less is none); no speed is tried twice.
    explicit CBaudHunt(std::optional<int> lastGoodSpeed = std::nullopt, bool highSpeeds = false);

    [[nodiscard]] State GetState() const { return m_state; }
    /// The speed to try now; 0 once locked or exhausted.
    [[nodiscard]] int GetSpeed() const;
    /// What the bytes at GetSpeed() read as: a receiver's language locks the hunt there, silence
    /// and garbage move it on. Ignored once it has ended.
    void Report(StreamKind kind);
    /// Moves on without a try, for a speed the port cannot be set to.
    void Skip();

    /// Every speed in the order it is or was to be tried.
    [[nodiscard]] const std::vector<int> &GetOrder() const { return m_order; }
    /// The speeds reported so far, in order.
    [[nodiscard]] const std::vector<CBaudTry> &GetTries() const { return m_tries; }
    /// Locked: the speed and the kind heard there; 0 and silence otherwise.
    [[nodiscard]] int GetLockedSpeed() const;
    [[nodiscard]] StreamKind GetLockedKind() const;
    /// True when some try heard bytes: exhausted, the receiver talks at none of the speeds
    /// (or in a language not known here) rather than not at all.
    [[nodiscard]] bool HeardBytes() const;

private:
    std::vector<int> m_order;
    std::vector<CBaudTry> m_tries;
    std::size_t m_next = 0;
    State m_state = State::Hunting;
};

/// "Trying 9600 baud…", shown while the hunt listens at a speed.
[[nodiscard]] std::string BaudTryText(int speed);
