#pragma once

#include "GnssSystem.h"

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

class CNMEAFields;

/// One signal of a satellite: its NMEA 4.10 signal ID (-1 when the receiver sends none) and
/// its SNR as CSkyEntry::snr.
struct CSignalLevel {
    std::int16_t signal = -1;
    std::int16_t snr = 0;
};

/// One satellite in view: elevation and azimuth -1 when the receiver does not know them yet.
struct CSkyEntry {
    /// Triple-band receivers send three signals of a satellite; a fourth is kept, more dropped.
    static constexpr std::size_t kMaxLevels = 4;

    CSatelliteId id;
    std::int32_t elevation = -1; ///< degrees
    std::int32_t azimuth = -1;   ///< degrees
    std::int32_t snr = 0;        ///< dB, 0 when not tracked, -1 for letters; the best signal's
    std::array<CSignalLevel, kMaxLevels> levels{}; ///< per signal, in the order they came
    std::uint8_t levelCount = 0;
};

/// Satellites of one system: used in the fix and in view.
struct CSystemCount {
    GnssSystem system = GnssSystem::GPS;
    int inUse = 0;
    int inView = 0;
};

/// The satellites of every system, from a multi-constellation receiver's GSA and GSV runs.
///
/// Receivers send one GSA per system and a GSV group per talker and signal, one after the
/// other. The run of consecutive GSAs is one used set; the run of consecutive GSVs is one sky,
/// published only when the run ends, so the pages never see half a sky. A system that stops
/// reporting keeps its satellites for kHoldSeconds of receiver time.
class CGnssSky
{
public:
    static constexpr double kHoldSeconds = 10.0;

    void Reset();

    /// A GSA's listed numbers (0 and below are no satellite) under `hint` (its system ID, else
    /// its talker). Returns true when it starts a run: the used set was emptied for it.
    bool OnGSA(const std::vector<std::int32_t> &numbers, GnssSystem hint);
    /// One GSV message; `talker` is the tag's two letters. Ends a GSA run.
    void OnGSV(const CNMEAFields &fields, std::string_view talker);
    /// Any other accepted sentence, and a GSA: ends the GSV run. Returns true when that
    /// published a sky.
    bool EndGsvRun();
    /// Any accepted sentence but a GSA ends the GSA run.
    void EndGsaRun() { m_inGsaRun = false; }
    /// UTC seconds of the day from the receiver's fix sentences. Returns true when a system
    /// that stopped reporting has now gone from the sky.
    bool SetTime(double secondsOfDay);

    [[nodiscard]] bool IsUsed(CSatelliteId id) const;
    [[nodiscard]] int GetUsedCount() const { return static_cast<int>(m_used.size()); }
    [[nodiscard]] const std::vector<CSatelliteId> &GetUsed() const { return m_used; }
    [[nodiscard]] bool IsInGsvRun() const { return m_inGsvRun; }

    /// The published sky in system order.
    [[nodiscard]] std::vector<CSkyEntry> GetSatellites() const;
    [[nodiscard]] int GetInViewCount() const;
    /// Satellites in view of one system in the published sky.
    [[nodiscard]] int GetInViewCount(GnssSystem system) const;
    /// Every system in use or in view, in GnssSystem order.
    [[nodiscard]] std::vector<CSystemCount> GetSystemCounts() const;

    /// The last GSV message as read: its talker's group state and its own satellites.
    struct Message {
        GnssSystem system = GnssSystem::Unknown; ///< of the talker or system ID; Unknown for GN
        std::int32_t signal = -1;                ///< NMEA 4.10 signal ID, -1 when not sent
        std::vector<CSkyEntry> entries;
    };
    [[nodiscard]] const Message &GetLastMessage() const { return m_message; }

private:
    struct Group {
        std::array<char, 2> talker{};
        GnssSystem system = GnssSystem::Unknown;
        std::int32_t count = 0;
        std::int32_t next = 0; // message number expected; 0: no group open
        std::vector<CSkyEntry> entries;
    };
    struct SystemSky {
        std::vector<CSkyEntry> entries;
        bool present = false;
        double reportedAt = -1.0; // receiver time; below 0 when unknown
    };

    Group &GroupOf(std::string_view talker, GnssSystem system);
    void CloseGroup(const Group &group);
    bool DropSilentSystems();

    std::vector<CSatelliteId> m_used; // sorted, no duplicates
    bool m_inGsaRun = false;
    bool m_inGsvRun = false;
    std::vector<Group> m_groups;
    std::array<SystemSky, kGnssSystemCount> m_run{};
    std::array<bool, kGnssSystemCount> m_reportedInRun{};
    std::array<SystemSky, kGnssSystemCount> m_sky{};
    Message m_message;
    double m_now = -1.0;
};
