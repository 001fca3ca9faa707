#pragma once

#include "nmea/GnssSystem.h"
#include "receiver/FileIdentity.h"
#include "receiver/ReplayControl.h"
#include "receiver/ReplaySpeed.h"
#include "receiver/SourceAddress.h"
#include "receiver/SourceStatus.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

class CSerialPort;
struct CReaderSession;

/// The receiver's data source, a serial port or a replayed log file, with the reader thread
/// that cuts it into lines.
///
/// Lines reach the consumer on its own thread, in order, through a blocking hand-over: the
/// reader waits until the consumer has handled them (ProcessPending) before it reads on. The
/// consumer is told there is work by the wake handle becoming readable (poll it, or put a
/// socket notifier on it). Every open closes the previous source first; Close() ends the
/// reader within two seconds whatever it is doing.
class CDataSource
{
public:
    using LineHandler = std::function<void(std::string_view line)>;
    /// `errorCode` is 0 at the end of a replay file, else why the source failed (errno: a read
    /// error, the port unplugged or hung up).
    using ClosedHandler = std::function<void(int errorCode)>;

    /// Replay delays of the speed commands, and the one in force at start.
    static constexpr unsigned kDelay100Percent = kReplayDelay100Percent;
    static constexpr unsigned kDelay200Percent = kReplayDelay200Percent;
    static constexpr unsigned kDelay400Percent = kReplayDelay400Percent;
    /// Silence after which the reader hands on the time-out line: the port's time-outs of
    /// 10 ms per byte plus 1000 ms for a one-byte read.
    static constexpr int kReceptionTimeoutMs = 1010;
    static constexpr std::string_view kTimeoutLine = "A Reception-Timeout occured!\r\n";
    static constexpr int kCloseWaitMs = 2000;
    /// Message box texts (caption "ERROR") when a replay cannot start.
    static constexpr const char *kReplayOpenFailedMessage = "failed to open file.";
    static constexpr const char *kThreadFailedMessage = "failed to create thread.";
    /// Message box text (caption "ERROR") when a replay file fails in the middle.
    static constexpr const char *kReplayReadFailedMessage = "failed to read file.";

    /// `onLine` runs for every line and `onClosed` when the source ends by itself (end of the
    /// replay file, a read error, port unplugged), both on the consumer's thread inside
    /// ProcessPending.
    CDataSource(LineHandler onLine, ClosedHandler onClosed = {});
    ~CDataSource();
    CDataSource(const CDataSource &) = delete;
    CDataSource &operator=(const CDataSource &) = delete;

    /// Opens the serial device exclusively at `baudRate` (8N1) and starts the reader. On
    /// failure the source stays closed and `error` holds the reason.
    bool OpenPort(const std::string &device, int baudRate, std::string &error);
    /// Opens the serial device as OpenPort does at `fallbackSpeed`, then the reader looks for the
    /// receiver's speed before it reads lines: `lastGoodSpeed` first, then the common ones (see
    /// CBaudHunt), saying each try and the outcome to the status handler (Hunting, Locked,
    /// WrongSpeak, NoSpeed). Without a speed that makes sense it reads at `fallbackSpeed`.
    bool OpenPortFindingSpeed(const std::string &device, std::optional<int> lastGoodSpeed,
                              int fallbackSpeed, std::string &error);
    /// Opens a log file for replay and starts the reader. A directory is refused; a FIFO or a
    /// device is opened without waiting for a writer and read as its bytes arrive. Refused when
    /// it is `recordFile` (it would replay its own recording forever). `error` is the reason
    /// alone; the caller names the path.
    bool OpenReplay(const std::string &path, std::string &error,
                    const std::optional<CFileIdentity> &recordFile = {});
    /// Opens a network source. tcp-listen and udp bind at once, so a port in use fails here;
    /// gpsd and tcp connect on the reader thread, and every network source is reached again,
    /// with a back-off, whenever it is lost, until closed. What it is doing comes to the status
    /// handler.
    bool OpenNetwork(const CSourceAddress &address, std::string &error);
    /// How long a network source may send no sentence before it counts as silent (tests
    /// shorten it); for the sources opened after.
    void SetNoDataWatchdog(int milliseconds) { m_watchdogMs = milliseconds; }
    /// Why the last open failed: the device or file, or the reader thread.
    enum class Failure { None, Open, Thread };
    [[nodiscard]] Failure GetLastFailure() const { return m_lastFailure; }

    /// Closes the source; lines not yet handled are dropped.
    void Close();

    /// Writes `bytes` to the open serial port while the reader goes on reading it; returns once
    /// they are in the line's buffer. False, writing nothing, when closed or replaying; false
    /// too when the write failed or timed out. Consumer thread, like opening and closing.
    bool Write(std::string_view bytes);

    [[nodiscard]] bool IsOpen() const;
    [[nodiscard]] bool IsReplaying() const;
    [[nodiscard]] bool IsNetwork() const;
    /// A replay's progress: bytes cut into lines so far and the file's size (0 for a FIFO or
    /// device); zeros unless replaying. Never waits for the reader.
    struct CReplayProgress {
        std::uint64_t bytes = 0;
        std::uint64_t total = 0;
    };
    [[nodiscard]] CReplayProgress GetReplayProgress() const;
    /// The file being replayed; empty unless replaying.
    [[nodiscard]] std::optional<CFileIdentity> GetReplayIdentity() const;

    /// Pause before every line whose fifth character is 'G' while replaying (the GGA of each
    /// epoch; with all systems the first GGA of each epoch); 0 replays as fast as the consumer
    /// takes the lines. Takes effect at the next GGA.
    void SetReplayDelay(unsigned milliseconds);
    [[nodiscard]] unsigned GetReplayDelay() const;

    /// A replay's controls, each taking effect before the next epoch (the next paced line):
    /// paused, the reader hands on all lines before the epoch and waits.
    void PauseReplay(bool paused);
    [[nodiscard]] bool IsReplayPaused() const;
    /// While paused, lets one more epoch through.
    void StepReplay();
    /// Reads on unpaced to byte `until`, the lines marked as catching up (IsCatchingUp); with
    /// `rewind`, or when the reader is already past `until`, from the file's start, the
    /// restart said to the mark handler first.
    void SeekReplay(std::uint64_t until, bool rewind);
    /// At the end of the file the replay starts again from the first line (said to the mark
    /// handler) instead of ending. For the replays opened after as well.
    void SetReplayLoop(bool loop);
    [[nodiscard]] bool IsReplayLooping() const { return m_loop; }
    /// For the next OpenReplay only: catch up to byte `from` first, and end at byte `to` (none:
    /// the file's end) as at the end of the file.
    void SetReplayWindow(std::uint64_t from, std::optional<std::uint64_t> to)
    {
        m_windowFrom = from;
        m_windowTo = to;
    }
    /// Gets where a replay's lines stand, in order with them (see ReplayMark).
    void SetMarkHandler(std::function<void(ReplayMark)> onMark) { m_onMark = std::move(onMark); }
    /// The lines being handed on catch up to a seek's target.
    [[nodiscard]] bool IsCatchingUp() const { return m_catchingUp; }

    /// How the reader cuts lines (see CLineAssembler); a change applies from the next block
    /// read, also to the open source.
    void SetGnssMode(GnssMode mode) { m_gnssMode->store(mode); }

    /// Called at the end of every ProcessPending that handled lines: the moment to flush what
    /// the lines produced (the recording) before the reader goes on.
    void SetBatchHandler(std::function<void()> onBatch) { m_onBatch = std::move(onBatch); }
    /// Gets a replay's last bytes when no line end follows them: not a line, nothing to parse,
    /// but a recording of everything keeps them.
    void SetUnfinishedHandler(LineHandler onUnfinished)
    {
        m_onUnfinished = std::move(onUnfinished);
    }

    /// Gets what a network source says of itself, in order with its lines.
    void SetStatusHandler(std::function<void(const CSourceStatus &)> onStatus)
    {
        m_onStatus = std::move(onStatus);
    }

    /// Readable while lines or an end of the source wait for ProcessPending.
    [[nodiscard]] int GetWakeHandle() const { return m_wakeFd; }
    /// Hands waiting lines to the line handler and lets the reader go on. Consumer thread only.
    void ProcessPending();

private:
    bool OpenSerial(const std::string &device, int baudRate, std::string &error,
                    const std::function<void(CReaderSession &)> &prepare);
    bool Start(std::shared_ptr<CReaderSession> session);
    void Join(const std::shared_ptr<CReaderSession> &session);

    LineHandler m_onLine;
    ClosedHandler m_onClosed;
    std::function<void()> m_onBatch;
    LineHandler m_onUnfinished;
    std::function<void(const CSourceStatus &)> m_onStatus;
    std::function<void(ReplayMark)> m_onMark;
    bool m_catchingUp = false;
    bool m_loop = false;
    std::uint64_t m_windowFrom = 0;
    std::optional<std::uint64_t> m_windowTo;
    int m_wakeFd = -1;
    std::shared_ptr<std::atomic<unsigned>> m_replayDelay;
    std::shared_ptr<std::atomic<GnssMode>> m_gnssMode =
        std::make_shared<std::atomic<GnssMode>>(GnssMode::GpsOnly);
    std::shared_ptr<CReaderSession> m_session;
    std::thread m_thread;
    Failure m_lastFailure = Failure::None;
    int m_watchdogMs = kNoDataWatchdogMs;
};
