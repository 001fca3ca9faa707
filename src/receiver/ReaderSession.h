#pragma once

#include "nmea/GnssSystem.h"
#include "receiver/FileIdentity.h"
#include "receiver/ReplayControl.h"
#include "receiver/SerialPort.h"
#include "receiver/SourceAddress.h"
#include "receiver/SourceStatus.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

inline constexpr std::uint64_t kNoReplayEnd = ~std::uint64_t{0};

/// Lines on their way from the reader to the consumer, in one buffer so that a long replay
/// does not allocate per line.
class CLineBatch
{
public:
    void Add(std::string_view line)
    {
        m_bytes.append(line);
        m_ends.push_back(static_cast<std::uint32_t>(m_bytes.size()));
    }
    /// A replay's last bytes, after its last line: no line, but the recording keeps them.
    void AddUnfinished(std::string_view bytes) { m_unfinished.append(bytes); }
    /// What the source says of itself, between the lines added before and after it.
    void AddStatus(CSourceStatus status)
    {
        m_statuses.emplace_back(m_ends.size(), std::move(status));
    }
    /// Each status with the number of lines that come before it.
    [[nodiscard]] const std::vector<std::pair<std::size_t, CSourceStatus>> &GetStatuses() const
    {
        return m_statuses;
    }
    void AddMark(ReplayMark mark) { m_marks.emplace_back(m_ends.size(), mark); }
    /// Each mark with the number of lines that come before it.
    [[nodiscard]] const std::vector<std::pair<std::size_t, ReplayMark>> &GetMarks() const
    {
        return m_marks;
    }
    [[nodiscard]] std::string_view GetUnfinished() const { return m_unfinished; }
    void Clear()
    {
        m_bytes.clear();
        m_ends.clear();
        m_unfinished.clear();
        m_statuses.clear();
        m_marks.clear();
    }
    [[nodiscard]] bool IsEmpty() const
    {
        return m_ends.empty() && m_unfinished.empty() && m_statuses.empty() && m_marks.empty();
    }
    [[nodiscard]] std::size_t GetSize() const { return m_ends.size(); }
    [[nodiscard]] std::string_view GetAt(std::size_t i) const
    {
        const std::uint32_t begin = i == 0 ? 0 : m_ends[i - 1];
        return std::string_view(m_bytes).substr(begin, m_ends[i] - begin);
    }
    void Swap(CLineBatch &other) noexcept
    {
        m_bytes.swap(other.m_bytes);
        m_ends.swap(other.m_ends);
        m_unfinished.swap(other.m_unfinished);
        m_statuses.swap(other.m_statuses);
        m_marks.swap(other.m_marks);
    }

private:
    std::string m_bytes;
    std::vector<std::uint32_t> m_ends;
    std::string m_unfinished;
    std::vector<std::pair<std::size_t, CSourceStatus>> m_statuses;
    std::vector<std::pair<std::size_t, ReplayMark>> m_marks;
};

/// Everything one open source shares between the consumer and its reader thread. Both hold a
/// reference, so a reader that outlives a Close() (it never should) still has valid state.
struct CReaderSession {
    CReaderSession() = default;
    ~CReaderSession();
    CReaderSession(const CReaderSession &) = delete;
    CReaderSession &operator=(const CReaderSession &) = delete;

    bool m_replay = false;
    bool m_network = false; // gpsd, TCP or UDP: m_address, reconnected by the reader
    CSourceAddress m_address;
    int m_listenFd = -1; // tcp-listen: the listening socket; udp: the bound socket
    int m_watchdogMs = kNoDataWatchdogMs;
    bool m_waitForData = false; // a replayed FIFO or device: poll before reading
    // A port whose speed is looked for before it is read (baud=auto).
    bool m_findSpeed = false;
    std::optional<int> m_lastGoodSpeed;
    int m_fallbackSpeed = 0; // read at this when no speed makes sense
    std::string m_device;
    int m_fd = -1;            // the replay file, or the port's handle
    CFileIdentity m_identity; // of the replay file
    CSerialPort m_port;       // open while the source is a serial port
    int m_stopFd = -1;        // eventfd: wakes the reader's poll on Close
    int m_wakeFd = -1;        // duplicate of the consumer's wake eventfd
    std::shared_ptr<std::atomic<unsigned>> m_replayDelay;
    std::shared_ptr<std::atomic<GnssMode>> m_gnssMode;

    std::uint64_t m_replayTotal = 0; // the replay file's size, 0 for a FIFO or device
    // Bytes of the replay cut into lines so far: the status line reads it while the reader runs.
    std::atomic<std::uint64_t> m_replayHanded{0};

    // The replay's controls, set by the consumer: the reader looks at them before each epoch.
    std::atomic<bool> m_controlSet{false}; // one of the guarded controls below changed
    std::atomic<bool> m_paused{false};     // set under m_mutex
    unsigned m_steps = 0;                  // guarded: epochs to let through while paused
    std::optional<std::pair<std::uint64_t, bool>> m_seek; // guarded: until, rewind
    std::atomic<bool> m_loop{false};
    std::atomic<std::uint64_t> m_endAt{kNoReplayEnd}; // the replay ends at this byte
    std::uint64_t m_catchUpFirst = 0; // set before the reader starts: catch up to this byte

    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_open{true};

    std::mutex m_mutex;
    std::condition_variable m_changed;
    CLineBatch m_pending;         // guarded by m_mutex
    std::uint64_t m_posted = 0;   // guarded: batches handed over
    std::uint64_t m_handled = 0;  // guarded: batches the consumer is done with
    bool m_endedBySource = false; // guarded: end of file or read failure, consumer not told yet
    int m_endError = 0;           // guarded: errno of the failure, 0 at the end of a file
    bool m_finished = false;      // guarded: the thread function has returned
};

/// The reader thread's body for a port or a replay file.
void RunReader(std::shared_ptr<CReaderSession> session);
/// The reader thread's body for a network source: it connects, and connects again with a
/// back-off, until the source is closed; it never ends by itself.
void RunNetworkReader(std::shared_ptr<CReaderSession> session);

/// Hands the batch to the consumer and waits until it has been handled. False once the source
/// is being closed.
bool HandOver(CReaderSession &s, CLineBatch &batch);
/// Waits `milliseconds` unless the source is closed first; false when it was. A replay's
/// control set meanwhile ends the wait early.
bool PauseReader(CReaderSession &s, unsigned milliseconds);
/// The reader's last words: the source ended by itself (with `endError`) or was closed.

void FinishReader(CReaderSession &s, bool endedBySource, int endError);

/// Adds one to an eventfd counter (it then polls readable).
void SignalEvent(int fd);
/// Resets an eventfd counter to zero.
void ClearEvent(int fd);
