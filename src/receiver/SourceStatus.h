#pragma once

#include "receiver/SourceAddress.h"

#include <string>

/// What a source that reconnects by itself says about itself, for the notice above the pages
/// and for `veloran-cli listen` on standard error.
struct CSourceStatus {
    enum class Kind {
        Connecting, ///< a connection is being made
        Waiting,    ///< listening for the device (tcp-listen, udp)
        Receiving,  ///< the first sentence of a connection
        Back,       ///< the first sentence after the source was lost
        Failed,     ///< could not connect; another try follows
        Lost,       ///< the connection ended; another try follows
        NoData,     ///< no sentence for the watchdog's time
        NoReceiver, ///< gpsd runs but has no receiver (or not the one asked for)
        Hunting,    ///< a serial port's speed is being looked for: `speed` is tried
        Locked,     ///< the receiver speaks NMEA at `speed`
        WrongSpeak, ///< a receiver answers at `speed`, but not in NMEA (UBX)
        SirfBinary, ///< a SiRF receiver left in binary mode answers at `speed`: it can be switched
        NoSpeed,    ///< no speed made sense: the port is read at the configured one
    };
    Kind kind = Kind::Connecting;
    std::string text;
    int speed = 0; ///< Hunting, Locked, WrongSpeak

    /// The source has no receiver to show now: the fix is shown as lost.
    [[nodiscard]] bool IsLoss() const
    {
        return kind == Kind::Lost || kind == Kind::NoData || kind == Kind::NoReceiver;
    }
};

/// The waits between attempts to reach a source: 1, 2, 4 ... 30 s, from 1 s again once data
/// flows, so a source that is gone is never stormed with connections.
class CBackoff
{
public:
    static constexpr int kFirstMs = 1000;
    static constexpr int kLongestMs = 30000;

    /// The wait before the next attempt; each call doubles the one after.
    int NextMs();
    void Reset() { m_nextMs = kFirstMs; }

private:
    int m_nextMs = kFirstMs;
};

/// Without a complete sentence for this long, a network source is taken as silent: a TCP or
/// gpsd connection is made anew, a listener says so.
inline constexpr int kNoDataWatchdogMs = 10000;

[[nodiscard]] CSourceStatus ConnectingStatus(const CSourceAddress &address);
[[nodiscard]] CSourceStatus WaitingStatus(const CSourceAddress &address);
[[nodiscard]] CSourceStatus ReceivingStatus(const CSourceAddress &address, bool again);
[[nodiscard]] CSourceStatus FailedStatus(const CSourceAddress &address, const std::string &reason,
                                         int retryMs);
[[nodiscard]] CSourceStatus LostStatus(const CSourceAddress &address, const std::string &reason,
                                       int retryMs);
[[nodiscard]] CSourceStatus NoDataStatus(const CSourceAddress &address, int silentMs);
/// gpsd has no receiver at all (`device` empty), or not the one asked for.
[[nodiscard]] CSourceStatus NoReceiverStatus(const std::string &device);
[[nodiscard]] CSourceStatus HuntingStatus(const std::string &device, int speed);
[[nodiscard]] CSourceStatus LockedStatus(const std::string &device, int speed);
/// A receiver that sends UBX only.
[[nodiscard]] CSourceStatus WrongSpeakStatus(const std::string &device, int speed);
[[nodiscard]] CSourceStatus SirfBinaryStatus(const std::string &device, int speed);
/// `silence`: nothing came at any speed; else only noise.
[[nodiscard]] CSourceStatus NoSpeedStatus(const std::string &device, bool silence, int readAt);
