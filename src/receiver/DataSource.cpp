#include "receiver/DataSource.h"

#include "receiver/NetworkSocket.h"
#include "receiver/PortWrite.h"
#include "receiver/ReaderSession.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// Sets a control of the reader's and wakes it wherever it waits.
template <class Change> void SetControl(CReaderSession &s, Change change)
{
    {
        std::lock_guard lock(s.m_mutex);
        change();
        s.m_controlSet = true;
    }
    s.m_changed.notify_all();
}

} // namespace

CDataSource::CDataSource(LineHandler onLine, ClosedHandler onClosed)
    : m_onLine(std::move(onLine))
    , m_onClosed(std::move(onClosed))
    , m_wakeFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , m_replayDelay(std::make_shared<std::atomic<unsigned>>(kInitialReplayDelay))
{
}

CDataSource::~CDataSource()
{
    Close();
    if (m_wakeFd >= 0)
        ::close(m_wakeFd);
}

bool CDataSource::OpenPort(const std::string &device, int baudRate, std::string &error)
{
    return OpenSerial(device, baudRate, error, [](CReaderSession &) {});
}

bool CDataSource::OpenPortFindingSpeed(const std::string &device, std::optional<int> lastGoodSpeed,
                                       int fallbackSpeed, std::string &error)
{
    return OpenSerial(device, fallbackSpeed, error, [&](CReaderSession &session) {
        session.m_findSpeed = true;
        session.m_lastGoodSpeed = lastGoodSpeed;
        session.m_fallbackSpeed = fallbackSpeed;
        session.m_device = device;
    });
}

bool CDataSource::OpenSerial(const std::string &device, int baudRate, std::string &error,
                             const std::function<void(CReaderSession &)> &prepare)
{
    Close();
    m_lastFailure = Failure::Open;
    auto session = std::make_shared<CReaderSession>();
    if (!session->m_port.Open(device, baudRate)) {
        error = session->m_port.GetErrorText();
        return false;
    }
    session->m_fd = session->m_port.GetHandle();
    prepare(*session);
    m_lastFailure = Failure::Thread;
    if (!Start(std::move(session))) {
        error = std::string("cannot start the reader: ") + std::strerror(errno);
        return false;
    }
    return true;
}

bool CDataSource::OpenReplay(const std::string &path, std::string &error,
                             const std::optional<CFileIdentity> &recordFile)
{
    Close();
    m_lastFailure = Failure::Open;
    auto session = std::make_shared<CReaderSession>();
    session->m_replay = true;
    // O_NONBLOCK: opening a FIFO would wait for a writer on the caller's thread.
    do
        session->m_fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    while (session->m_fd < 0 && errno == EINTR);
    struct stat st {
    };
    if (session->m_fd < 0 || ::fstat(session->m_fd, &st) != 0) {
        error = std::strerror(errno);
        return false;
    }
    if (S_ISDIR(st.st_mode)) {
        error = std::strerror(EISDIR);
        return false;
    }
    if (recordFile && CFileIdentity{st.st_dev, st.st_ino} == *recordFile) {
        error = "it is the file being recorded";
        return false;
    }
    session->m_identity = CFileIdentity{st.st_dev, st.st_ino};
    if (S_ISREG(st.st_mode)) {
        session->m_replayTotal = static_cast<std::uint64_t>(st.st_size);
        ::fcntl(session->m_fd, F_SETFL, ::fcntl(session->m_fd, F_GETFL) & ~O_NONBLOCK);
    } else {
        session->m_waitForData = true; // FIFO, device, socket: poll together with the stop event
    }
    session->m_catchUpFirst = m_windowFrom;
    session->m_endAt = m_windowTo.value_or(kNoReplayEnd);
    m_windowFrom = 0;
    m_windowTo.reset();
    session->m_loop = m_loop;
    m_lastFailure = Failure::Thread;
    if (!Start(std::move(session))) {
        error = std::string("cannot start the reader: ") + std::strerror(errno);
        return false;
    }
    return true;
}

bool CDataSource::OpenNetwork(const CSourceAddress &address, std::string &error)
{
    Close();
    m_lastFailure = Failure::Open;
    auto session = std::make_shared<CReaderSession>();
    session->m_network = true;
    session->m_address = address;
    session->m_watchdogMs = m_watchdogMs;
    if (address.kind == SourceKind::TcpListen)
        session->m_listenFd = ListenTcp(address.host, address.port, error);
    else if (address.kind == SourceKind::Udp)
        session->m_listenFd = BindUdp(address.host, address.port, error);
    if ((address.kind == SourceKind::TcpListen || address.kind == SourceKind::Udp)
        && session->m_listenFd < 0)
        return false;
    m_lastFailure = Failure::Thread;
    if (!Start(std::move(session))) {
        error = std::string("cannot start the reader: ") + std::strerror(errno);
        return false;
    }
    return true;
}

bool CDataSource::Start(std::shared_ptr<CReaderSession> session)
{
    session->m_replayDelay = m_replayDelay;
    session->m_gnssMode = m_gnssMode;
    session->m_stopFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    session->m_wakeFd = ::fcntl(m_wakeFd, F_DUPFD_CLOEXEC, 0);
    if (session->m_stopFd < 0 || session->m_wakeFd < 0)
        return false;
    try {
        m_thread = std::thread(session->m_network ? RunNetworkReader : RunReader, session);
    } catch (const std::system_error &) {
        return false;
    }
    m_session = std::move(session);
    m_lastFailure = Failure::None;
    return true;
}

void CDataSource::Close()
{
    m_catchingUp = false;
    const std::shared_ptr<CReaderSession> s = m_session;
    if (!s)
        return;
    m_session.reset();
    {
        std::lock_guard lock(s->m_mutex);
        s->m_stop = true;
        s->m_open = false;
    }
    SignalEvent(s->m_stopFd);
    s->m_changed.notify_all();
    Join(s);
}

void CDataSource::Join(const std::shared_ptr<CReaderSession> &s)
{
    if (!m_thread.joinable())
        return;
    // The reader wakes at once from every wait it makes; the bound only guards against a read
    // hanging in a driver. Such a reader is left to end on its own: it owns its session.
    bool finished;
    {
        std::unique_lock lock(s->m_mutex);
        finished = s->m_changed.wait_for(lock, std::chrono::milliseconds(kCloseWaitMs),
                                         [&] { return s->m_finished; });
    }
    if (finished)
        m_thread.join();
    else
        m_thread.detach();
}

bool CDataSource::Write(std::string_view bytes)
{
    // Our reference keeps the session, and with it the port's descriptor, open while we write,
    // even when the reader ends meanwhile; the reader never writes.
    const std::shared_ptr<CReaderSession> s = m_session;
    if (!s || s->m_replay || s->m_network || !s->m_open)
        return false;
    return WritePort(s->m_port, bytes);
}

bool CDataSource::IsOpen() const
{
    return m_session && m_session->m_open;
}

bool CDataSource::IsReplaying() const
{
    return IsOpen() && m_session->m_replay;
}

bool CDataSource::IsNetwork() const
{
    return IsOpen() && m_session->m_network;
}

CDataSource::CReplayProgress CDataSource::GetReplayProgress() const
{
    if (!IsReplaying())
        return {};
    return {m_session->m_replayHanded.load(std::memory_order_relaxed), m_session->m_replayTotal};
}

std::optional<CFileIdentity> CDataSource::GetReplayIdentity() const
{
    if (!IsReplaying())
        return std::nullopt;
    return m_session->m_identity;
}

void CDataSource::SetReplayDelay(unsigned milliseconds)
{
    m_replayDelay->store(milliseconds);
    // A long wait at the old speed ends now.
    if (const std::shared_ptr<CReaderSession> s = m_session; s && s->m_replay)
        SetControl(*s, [] {});
}

unsigned CDataSource::GetReplayDelay() const
{
    return m_replayDelay->load();
}

void CDataSource::PauseReplay(bool paused)
{
    if (const std::shared_ptr<CReaderSession> s = m_session; s && s->m_replay)
        SetControl(*s, [&] {
            s->m_paused = paused;
            s->m_steps = 0;
        });
}

bool CDataSource::IsReplayPaused() const
{
    return IsReplaying() && m_session->m_paused;
}

void CDataSource::StepReplay()
{
    if (const std::shared_ptr<CReaderSession> s = m_session; s && s->m_replay)
        SetControl(*s, [&] { ++s->m_steps; });
}

void CDataSource::SeekReplay(std::uint64_t until, bool rewind)
{
    if (const std::shared_ptr<CReaderSession> s = m_session; s && s->m_replay)
        SetControl(*s, [&] { s->m_seek = std::pair(until, rewind); });
}

void CDataSource::SetReplayLoop(bool loop)
{
    m_loop = loop;
    if (m_session)
        m_session->m_loop = loop;
}

void CDataSource::ProcessPending()
{
    ClearEvent(m_wakeFd);
    const std::shared_ptr<CReaderSession> s = m_session;
    if (!s)
        return;
    CLineBatch batch;
    std::uint64_t ticket;
    bool ended;
    int endError;
    {
        std::lock_guard lock(s->m_mutex);
        batch.Swap(s->m_pending);
        ticket = s->m_posted;
        ended = s->m_endedBySource;
        endError = s->m_endError;
    }
    const auto &statuses = batch.GetStatuses();
    auto status = statuses.begin();
    const auto &marks = batch.GetMarks();
    auto mark = marks.begin();
    const auto sayUpTo = [&](std::size_t line) {
        for (; status != statuses.end() && status->first <= line && m_session == s; ++status)
            if (m_onStatus)
                m_onStatus(status->second);
        for (; mark != marks.end() && mark->first <= line && m_session == s; ++mark) {
            if (mark->second != ReplayMark::Rewound)
                m_catchingUp = mark->second == ReplayMark::CatchUpBegin;
            if (m_onMark)
                m_onMark(mark->second);
        }
    };
    for (std::size_t i = 0; i < batch.GetSize(); ++i) {
        sayUpTo(i);
        // The handler may close the source, or open another one.
        if (m_session != s)
            break;
        m_onLine(batch.GetAt(i));
    }
    sayUpTo(batch.GetSize());
    if (!batch.GetUnfinished().empty() && m_onUnfinished && m_session == s)
        m_onUnfinished(batch.GetUnfinished());
    if (!batch.IsEmpty() && m_onBatch)
        m_onBatch();
    {
        std::lock_guard lock(s->m_mutex);
        s->m_handled = ticket;
    }
    s->m_changed.notify_all();

    if (ended && m_session == s) {
        // The reader is past its last hand-over and about to return.
        Join(s);
        m_session.reset();
        m_catchingUp = false;
        if (m_onClosed)
            m_onClosed(endError);
    }
}
