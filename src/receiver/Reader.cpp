#include "nmea/LineAssembler.h"
#include "receiver/BaudRateHunt.h"
#include "receiver/DataSource.h"
#include "receiver/ReaderSession.h"
#include "receiver/SerialHuntPort.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

void SignalEvent(int fd)
{
    const std::uint64_t one = 1;
    while (::write(fd, &one, sizeof one) < 0 && errno == EINTR) {
    }
}

void ClearEvent(int fd)
{
    std::uint64_t value;
    while (::read(fd, &value, sizeof value) < 0 && errno == EINTR) {
    }
}

CReaderSession::~CReaderSession()
{
    if (m_replay && m_fd >= 0)
        ::close(m_fd);
    if (m_listenFd >= 0)
        ::close(m_listenFd);
    m_port.Close();
    if (m_stopFd >= 0)
        ::close(m_stopFd);
    if (m_wakeFd >= 0)
        ::close(m_wakeFd);
}

namespace
{

// Replay files are read in large blocks; a port delivers what has arrived, a few bytes at a time.
constexpr std::size_t kReplayBlock = 1 << 16;
constexpr std::size_t kPortBlock = 4096;

} // namespace

bool HandOver(CReaderSession &s, CLineBatch &batch)
{
    if (batch.IsEmpty())
        return !s.m_stop;
    std::unique_lock lock(s.m_mutex);
    s.m_pending.Swap(batch);
    batch.Clear();
    const std::uint64_t ticket = ++s.m_posted;
    SignalEvent(s.m_wakeFd);
    s.m_changed.wait(lock, [&] { return s.m_handled >= ticket || s.m_stop; });
    return !s.m_stop;
}

bool PauseReader(CReaderSession &s, unsigned milliseconds)
{
    std::unique_lock lock(s.m_mutex);
    s.m_changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                         [&] { return s.m_stop.load() || s.m_controlSet.load(); });
    return !s.m_stop;
}

void FinishReader(CReaderSession &s, bool endedBySource, int endError)
{
    {
        std::lock_guard lock(s.m_mutex);
        s.m_finished = true;
        if (endedBySource && !s.m_stop) {
            s.m_open = false;
            s.m_endedBySource = true;
            s.m_endError = endError;
        }
    }
    s.m_changed.notify_all();
    SignalEvent(s.m_wakeFd);
}

namespace
{

// The port discards NUL bytes as they arrive (line noise on a receiver's plug-in); a
// replayed file is taken as it is.
std::string_view DropNulBytes(char *data, std::size_t size)
{
    char *end = std::remove(data, data + size, '\0');
    return std::string_view(data, static_cast<std::size_t>(end - data));
}

enum class WaitResult { Data, HungUp, Timeout, Stop, Failure };

// Waits for the source's bytes or the stop event; `timeoutMs` -1 waits without end.
WaitResult WaitForData(CReaderSession &s, int timeoutMs)
{
    pollfd fds[2] = {{s.m_fd, POLLIN, 0}, {s.m_stopFd, POLLIN, 0}};
    for (;;) {
        const int r = ::poll(fds, 2, timeoutMs);
        if (s.m_stop)
            return WaitResult::Stop;
        if (r > 0) {
            // Readable, hung up or failed: the read tells which, but a hang-up with nothing left
            // to read may answer EAGAIN forever.
            return (fds[0].revents & POLLIN) != 0 ? WaitResult::Data : WaitResult::HungUp;
        }
        if (r == 0)
            return WaitResult::Timeout;
        if (errno != EINTR)
            return WaitResult::Failure;
    }
}

} // namespace

namespace
{

// baud=auto: the speed is found before any line is read. False once the source is closed;
// `failure` is set when the port went away meanwhile.
bool FindSpeed(CReaderSession &s, CLineBatch &batch, int &failure)
{
    CSerialHuntPort port(s.m_port);
    CBaudHunt hunt(s.m_lastGoodSpeed);
    const CHuntResult result = HuntBaudRate(port, hunt, s.m_stopFd, [&](int speed) {
        batch.AddStatus(HuntingStatus(s.m_device, speed));
        HandOver(s, batch);
    });
    switch (result.end) {
    case HuntEnd::Stopped:
        return false;
    case HuntEnd::PortFailed:
        failure = result.errorNumber != 0 ? result.errorNumber : EIO;
        return false;
    case HuntEnd::Locked:
        if (result.kind == StreamKind::Nmea)
            batch.AddStatus(LockedStatus(s.m_device, result.speed));
        else if (result.kind == StreamKind::SirfBinary)
            batch.AddStatus(SirfBinaryStatus(s.m_device, result.speed));
        else
            batch.AddStatus(WrongSpeakStatus(s.m_device, result.speed));
        break;
    case HuntEnd::Silence:
    case HuntEnd::Garbage:
        batch.AddStatus(
            NoSpeedStatus(s.m_device, result.end == HuntEnd::Silence, s.m_fallbackSpeed));
        if (!s.m_port.SetBaudRate(s.m_fallbackSpeed)) {
            failure = errno != 0 ? errno : EIO;
            return false;
        }
        break;
    }
    return HandOver(s, batch);
}

enum class PaceResult { Go, Stop, Seek };

// Before each epoch of a replay: waits out the speed's delay, stays while paused (an epoch at a
// time when stepped), or takes a seek. The consumer has all lines before the epoch when it waits.
PaceResult Pace(CReaderSession &s, CLineBatch &batch, std::pair<std::uint64_t, bool> &seek)
{
    const auto start = std::chrono::steady_clock::now();
    if (s.m_replayDelay->load() == 0 && !s.m_paused && !s.m_controlSet)
        return PaceResult::Go;
    if (!HandOver(s, batch))
        return PaceResult::Stop;
    std::unique_lock lock(s.m_mutex);
    const auto changed = [&] { return s.m_stop.load() || s.m_controlSet.load(); };
    for (;;) {
        s.m_controlSet = false;
        if (s.m_stop)
            return PaceResult::Stop;
        if (s.m_seek) {
            seek = *s.m_seek;
            s.m_seek.reset();
            return PaceResult::Seek;
        }
        if (s.m_paused) {
            if (s.m_steps > 0) {
                --s.m_steps;
                return PaceResult::Go;
            }
            s.m_changed.wait(lock, changed);
            continue;
        }
        // A new speed counts from the epoch's start, so a slower one is not waited out twice.
        const auto until = start + std::chrono::milliseconds(s.m_replayDelay->load());
        if (!s.m_changed.wait_until(lock, until, changed))
            return PaceResult::Go;
    }
}

} // namespace

void RunReader(std::shared_ptr<CReaderSession> session)
{
    CReaderSession &s = *session;
    CLineAssembler assembler;
    std::string epochTime;
    CLineBatch batch;
    std::vector<char> block(s.m_replay ? kReplayBlock : kPortBlock);
    bool endedBySource = false;
    int endError = 0;
    std::uint64_t handed = 0; // replay bytes, for the progress shown
    // A seek: lines go on unpaced until this byte; after a seek back, the file starts again.
    bool catchingUp = false;
    std::uint64_t catchUntil = 0;
    std::optional<std::uint64_t> rewindUntil;
    bool windowEnded = false;
    const auto catchUp = [&](std::uint64_t until) {
        catchingUp = true;
        catchUntil = until;
        batch.AddMark(ReplayMark::CatchUpBegin);
    };
    if (s.m_replay && s.m_catchUpFirst > 0)
        catchUp(s.m_catchUpFirst);
    // Loop and seek back: only a file can be read again.
    const bool rereadable = s.m_replay && !s.m_waitForData;
    const auto rewind = [&] {
        if (::lseek(s.m_fd, 0, SEEK_SET) != 0)
            return false;
        assembler.DropPending();
        epochTime.clear();
        handed = 0;
        if (catchingUp) {
            catchingUp = false;
            batch.AddMark(ReplayMark::CatchUpEnd);
        }
        s.m_replayHanded.store(0, std::memory_order_relaxed);
        batch.AddMark(ReplayMark::Rewound);
        return true;
    };
    const auto end = [&](int errorCode) {
        endedBySource = true;
        endError = errorCode;
    };
    if (s.m_findSpeed) {
        int failure = 0;
        if (!FindSpeed(s, batch, failure)) {
            if (failure != 0)
                end(failure);
            FinishReader(s, endedBySource, endError);
            return;
        }
    }

    while (!s.m_stop) {
        if (rewindUntil) {
            if (!rewind()) {
                end(errno);
                break;
            }
            catchUp(*rewindUntil);
            rewindUntil.reset();
        }
        bool hungUp = false;
        if (!s.m_replay || s.m_waitForData) {
            // A replayed FIFO or device has no time-out: it ends when its writer goes.
            const WaitResult w = WaitForData(s, s.m_replay ? -1 : CDataSource::kReceptionTimeoutMs);
            if (w == WaitResult::Stop)
                break;
            if (w == WaitResult::Failure) {
                end(errno);
                break;
            }
            if (w == WaitResult::Timeout) {
                // A time-out starts the next line afresh, whatever had arrived of this one.
                assembler.DropPending();
                batch.Add(CDataSource::kTimeoutLine);
                if (!HandOver(s, batch))
                    break;
                continue;
            }
            hungUp = w == WaitResult::HungUp;
        }
        const ssize_t n = ::read(s.m_fd, block.data(), block.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EAGAIN && !hungUp)
            continue;
        if (n < 0 || (n == 0 && !s.m_replay)) {
            // The port is gone (unplugged: EIO or a zero read) or the file failed to read.
            end(n < 0 && errno != EAGAIN ? errno : ENODEV);
            break;
        }
        if (n == 0) {
            // The file's last bytes without a line end: no line, yet a recording of everything
            // is the file itself.
            if (assembler.GetPending() > 0) {
                batch.AddUnfinished(assembler.GetPendingBytes());
                handed += assembler.GetPending();
                s.m_replayHanded.store(handed, std::memory_order_relaxed);
                assembler.DropPending();
                if (!HandOver(s, batch))
                    break;
            }
            if (s.m_loop && rereadable && handed > 0) {
                if (!rewind()) {
                    end(errno);
                    break;
                }
                continue;
            }
            end(0); // end of the replay file
            break;
        }
        const std::string_view bytes =
            s.m_replay ? std::string_view(block.data(), static_cast<std::size_t>(n))
                       : DropNulBytes(block.data(), static_cast<std::size_t>(n));
        bool go = true;
        assembler.SetMode(s.m_gnssMode->load());
        const bool allSystems = assembler.GetMode() == GnssMode::AllSystems;
        assembler.Feed(bytes, [&](std::string_view line) {
            if (!go || s.m_stop) {
                go = false;
                return;
            }
            if (s.m_replay) {
                if (handed >= s.m_endAt.load()) {
                    go = false;
                    windowEnded = true;
                    return;
                }
                if (catchingUp && handed >= catchUntil) {
                    catchingUp = false;
                    batch.AddMark(ReplayMark::CatchUpEnd);
                }
            }
            // Replay pacing: one pause before each line with 'G' at index 4, as the line buffer
            // holds it (a short line leaves the previous line's byte there); with all systems
            // before each epoch's first GGA.
            const bool paced =
                allSystems ? StartsEpoch(line, epochTime) : assembler.GetBuffer()[4] == 'G';
            if (s.m_replay && paced && !catchingUp) {
                std::pair<std::uint64_t, bool> seek;
                const PaceResult r = Pace(s, batch, seek);
                if (r == PaceResult::Stop) {
                    go = false;
                    return;
                }
                if (r == PaceResult::Seek) {
                    if (seek.second || seek.first < handed) {
                        // Back: the lines before this one are read again from the start.
                        if (rereadable) {
                            rewindUntil = seek.first;
                            go = false;
                            return;
                        }
                    } else if (seek.first > handed) {
                        catchUp(seek.first);
                    }
                }
            }
            // Every byte goes on, for the recording; the parser reads the line as cut.
            batch.Add(assembler.GetRaw());
            if (s.m_replay) {
                handed += assembler.GetRaw().size();
                s.m_replayHanded.store(handed, std::memory_order_relaxed);
            }
        });
        if (windowEnded) {
            HandOver(s, batch);
            end(0);
            break;
        }
        if (rewindUntil && !s.m_stop)
            continue;
        if (!go || !HandOver(s, batch))
            break;
    }

    FinishReader(s, endedBySource, endError);
}
