#include "nmea/LineAssembler.h"
#include "receiver/GpsdProtocol.h"
#include "receiver/NetworkSocket.h"
#include "receiver/ReaderSession.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int kConnectTimeoutMs = 5000;
// A datagram can be this large; a stream gives what has arrived.
constexpr std::size_t kBlock = 1 << 16;
// gpsd's reports are a few hundred bytes; a "line" longer than this is no report of its.
constexpr std::size_t kLongestGpsdLine = 1 << 16;

// The watchdog counts sentences, not bytes: a peer sending noise is as good as silent.
bool IsSentence(std::string_view line)
{
    return !line.empty() && (line.front() == '$' || line.front() == '!');
}

int MillisecondsSince(Clock::time_point then)
{
    return static_cast<int>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - then).count());
}

class CNetworkReader
{
public:
    explicit CNetworkReader(CReaderSession &s)
        : m_s(s)
        , m_a(s.m_address)
    {
    }

    void Run()
    {
        if (m_a.kind == SourceKind::Udp) {
            Say(WaitingStatus(m_a));
            HandOver(m_s, m_batch);
        }
        while (!m_s.m_stop) {
            const int fd = Connect();
            if (fd < 0) {
                const int wait = m_backoff.NextMs();
                if (m_s.m_stop || !RetryAfter(FailedStatus(m_a, m_reason, wait), wait))
                    break;
                continue;
            }
            const Outcome outcome = Receive(fd);
            if (fd != m_s.m_listenFd)
                ::close(fd);
            if (outcome == Outcome::Stopped)
                break;
            m_lost = m_lost || m_everReceived;
            const int wait = m_backoff.NextMs();
            const CSourceStatus status = outcome == Outcome::Silent
                                             ? NoDataStatus(m_a, MillisecondsSince(m_lastSentence))
                                             : LostStatus(m_a, m_reason, wait);
            if (!RetryAfter(status, wait))
                break;
        }
        HandOver(m_s, m_batch); // what is said is said, even while closing
        FinishReader(m_s, false, 0);
    }

private:
    enum class Outcome { Stopped, Lost, Silent };

    int Connect()
    {
        m_received = false;
        m_gpsdWithoutReceiver = false;
        m_gpsdPending.clear();
        m_assembler.DropPending();
        switch (m_a.kind) {
        case SourceKind::Udp:
            return m_s.m_listenFd;
        case SourceKind::TcpListen: {
            Say(WaitingStatus(m_a));
            if (!HandOver(m_s, m_batch))
                return -1;
            return AcceptTcp(m_s.m_listenFd, m_s.m_stopFd, m_reason);
        }
        default: {
            Say(ConnectingStatus(m_a));
            if (!HandOver(m_s, m_batch))
                return -1;
            const int fd =
                ConnectTcp(m_a.host, m_a.port, kConnectTimeoutMs, m_s.m_stopFd, m_reason);
            // gpsd takes the command before or after its banner alike.
            if (fd >= 0 && m_a.kind == SourceKind::Gpsd
                && !SendAll(fd, GpsdWatchCommand(m_a.device))) {
                m_reason = std::strerror(errno);
                ::close(fd);
                return -1;
            }
            return fd;
        }
        }
    }

    // Says why and waits `wait` before the next try; false once the source is closed.
    bool RetryAfter(const CSourceStatus &status, int wait)
    {
        Say(status);
        return HandOver(m_s, m_batch) && PauseReader(m_s, static_cast<unsigned>(wait));
    }

    Outcome Receive(int fd)
    {
        m_lastSentence = Clock::now();
        std::vector<char> block(kBlock);
        bool silenceSaid = false;
        for (;;) {
            int remaining = m_s.m_watchdogMs - MillisecondsSince(m_lastSentence);
            if (remaining <= 0) {
                if (m_a.kind != SourceKind::Udp && !m_gpsdWithoutReceiver)
                    return Outcome::Silent;
                // A listener has nothing to reconnect, and gpsd said why it is quiet.
                if (m_a.kind == SourceKind::Udp && !silenceSaid) {
                    Say(NoDataStatus(m_a, MillisecondsSince(m_lastSentence)));
                    m_lost = m_lost || m_everReceived;
                    m_received = false;
                    silenceSaid = true;
                    if (!HandOver(m_s, m_batch))
                        return Outcome::Stopped;
                }
                remaining = m_s.m_watchdogMs;
            }
            pollfd fds[2] = {{fd, POLLIN, 0}, {m_s.m_stopFd, POLLIN, 0}};
            const int r = ::poll(fds, 2, remaining);
            if (m_s.m_stop)
                return Outcome::Stopped;
            if (r < 0 && errno != EINTR) {
                m_reason = std::strerror(errno);
                return Outcome::Lost;
            }
            if (r <= 0)
                continue;
            const ssize_t n = ::recv(fd, block.data(), block.size(), 0);
            if (n < 0 && (errno == EINTR || errno == EAGAIN))
                continue;
            if (n < 0 || (n == 0 && m_a.kind != SourceKind::Udp)) {
                m_reason = n < 0 ? std::strerror(errno) : "closed by the other end";
                return Outcome::Lost;
            }
            if (Feed(std::string_view(block.data(), static_cast<std::size_t>(n))))
                silenceSaid = false;
            if (!HandOver(m_s, m_batch))
                return Outcome::Stopped;
        }
    }

    // Returns whether a sentence came.
    bool Feed(std::string_view bytes)
    {
        m_sentences = false;
        if (m_a.kind != SourceKind::Gpsd) {
            Assemble(bytes);
        } else {
            // gpsd's reports are lines of their own: taken out before the assembler, which would
            // cut a long one into pieces that no longer look like a report.
            m_gpsdPending.append(bytes);
            std::size_t start = 0;
            for (std::size_t end; (end = m_gpsdPending.find('\n', start)) != std::string::npos;
                 start = end + 1) {
                const std::string_view line(m_gpsdPending.data() + start, end + 1 - start);
                if (IsGpsdReport(line))
                    TakeGpsdReport(line);
                else
                    Assemble(line);
            }
            m_gpsdPending.erase(0, start);
            if (m_gpsdPending.size() > kLongestGpsdLine) {
                Assemble(m_gpsdPending);
                m_gpsdPending.clear();
            }
        }
        return m_sentences;
    }

    void Assemble(std::string_view bytes)
    {
        m_assembler.SetMode(m_s.m_gnssMode->load());
        m_assembler.Feed(bytes, [this](std::string_view) {
            const std::string_view raw = m_assembler.GetRaw();
            if (IsSentence(raw))
                SentenceCame();
            m_batch.Add(raw);
        });
    }

    void SentenceCame()
    {
        m_lastSentence = Clock::now();
        m_sentences = true;
        if (m_received)
            return;
        m_received = true;
        Say(ReceivingStatus(m_a, m_lost));
        m_lost = false;
        m_everReceived = true;
        m_backoff.Reset();
    }

    void TakeGpsdReport(std::string_view line)
    {
        const CGpsdReport report = ParseGpsdReport(line);
        const auto hasOurs = [&] {
            return m_a.device.empty()
                       ? !report.paths.empty()
                       : std::find(report.paths.begin(), report.paths.end(), m_a.device)
                             != report.paths.end();
        };
        switch (report.kind) {
        case CGpsdReport::Kind::Devices:
            if (!hasOurs())
                NoReceiver(m_a.device);
            break;
        case CGpsdReport::Kind::Device:
            if (!hasOurs())
                break;
            if (!report.activated)
                NoReceiver(report.paths.front());
            else
                m_gpsdWithoutReceiver = false;
            m_lastSentence = Clock::now();
            break;
        case CGpsdReport::Kind::Error:
            Say({CSourceStatus::Kind::Waiting, "gpsd: " + report.text});
            break;
        default:
            break;
        }
    }

    void NoReceiver(const std::string &device)
    {
        Say(NoReceiverStatus(device));
        m_gpsdWithoutReceiver = true;
        m_lost = m_lost || m_everReceived;
        m_received = false;
    }

    void Say(CSourceStatus status) { m_batch.AddStatus(std::move(status)); }

    CReaderSession &m_s;
    const CSourceAddress &m_a;
    CLineAssembler m_assembler;
    CLineBatch m_batch;
    CBackoff m_backoff;
    std::string m_reason;
    std::string m_gpsdPending;
    Clock::time_point m_lastSentence = Clock::now();
    bool m_received = false;            // a sentence came on this connection
    bool m_everReceived = false;        // a sentence came at all
    bool m_lost = false;                // the source went away after sentences had come
    bool m_sentences = false;           // Feed: a sentence came in these bytes
    bool m_gpsdWithoutReceiver = false; // gpsd said it has none: its silence is no failure
};

} // namespace

void RunNetworkReader(std::shared_ptr<CReaderSession> session)
{
    CNetworkReader(*session).Run();
}
