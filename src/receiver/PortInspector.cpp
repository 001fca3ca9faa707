#include "receiver/PortInspector.h"

#include "storage/FileDescriptor.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <grp.h>
#include <iterator>
#include <netinet/in.h>
#include <poll.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// The test hooks: a tree of sys, dev, proc and run/lock, and the port a fake gpsd listens on.
constexpr const char *kRootVariable = "VELORAN_PORT_ROOT";
constexpr const char *kGpsdPortVariable = "VELORAN_GPSD_PORT";

constexpr std::string_view kLockPrefix = "/LCK..";
constexpr std::string_view kGpsdQuery = "?DEVICES;\n";
// gpsd's banner and a DEVICES answer are a few hundred bytes; more is not gpsd.
constexpr std::size_t kMaxGpsdAnswer = 64 * 1024;
constexpr std::size_t kStartBufferSize = 4096;
// A group with thousands of members needs a large buffer; beyond this something is wrong.
constexpr std::size_t kMaxBufferSize = 1 << 20;

using Clock = std::chrono::steady_clock;

std::string_view BaseName(std::string_view path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

template <class Number> std::optional<Number> ParseNumber(std::string_view text)
{
    Number value{};
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || ec != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

// getgrgid_r and friends want a buffer of a size only the call knows; grow it until it fits.
// `call` copies out what it needs: the buffer is gone once this returns.
template <class Call> void WithGrowingBuffer(Call call)
{
    std::vector<char> buffer(kStartBufferSize);
    while (call(buffer) == ERANGE && buffer.size() < kMaxBufferSize)
        buffer.resize(buffer.size() * 2);
}

std::string GroupName(gid_t gid)
{
    std::string name;
    WithGrowingBuffer([&](std::vector<char> &buffer) {
        group entry{};
        group *found = nullptr;
        const int error = ::getgrgid_r(gid, &entry, buffer.data(), buffer.size(), &found);
        if (error == 0 && found != nullptr)
            name = found->gr_name;
        return error;
    });
    return name;
}

// The groups the user database gives this user, the primary one included.
std::vector<gid_t> DatabaseGroups()
{
    std::optional<std::string> user;
    gid_t primary = 0;
    WithGrowingBuffer([&](std::vector<char> &buffer) {
        passwd entry{};
        passwd *found = nullptr;
        const int error = ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
        if (error == 0 && found != nullptr) {
            user = found->pw_name;
            primary = found->pw_gid;
        }
        return error;
    });
    if (!user)
        return {};
    std::vector<gid_t> groups(32);
    for (;;) {
        int count = static_cast<int>(groups.size());
        if (::getgrouplist(user->c_str(), primary, groups.data(), &count) >= 0) {
            groups.resize(static_cast<std::size_t>(count));
            return groups;
        }
        // Too small: count now says how many there are.
        groups.resize(std::max(static_cast<std::size_t>(count), groups.size() * 2));
    }
}

// The groups of this login: what the process runs with.
std::vector<gid_t> LoginGroups()
{
    std::vector<gid_t> groups;
    const int count = ::getgroups(0, nullptr);
    if (count > 0) {
        groups.resize(static_cast<std::size_t>(count));
        groups.resize(static_cast<std::size_t>(std::max(0, ::getgroups(count, groups.data()))));
    }
    groups.push_back(::getegid());
    return groups;
}

bool Contains(const std::vector<gid_t> &groups, gid_t gid)
{
    return std::find(groups.begin(), groups.end(), gid) != groups.end();
}

void AddGroupFacts(const std::string &path, CPortFacts &facts)
{
    struct stat st {
    };
    if (::stat(path.c_str(), &st) != 0)
        return;
    facts.groupName = GroupName(st.st_gid);
    facts.groupMayUse = (st.st_mode & (S_IRGRP | S_IWGRP)) == (S_IRGRP | S_IWGRP);
    facts.inGroupDatabase = Contains(DatabaseGroups(), st.st_gid);
    facts.inGroupLogin = Contains(LoginGroups(), st.st_gid);
}

std::string ProcessName(const std::string &procRoot, long pid)
{
    return ReadFirstLine(procRoot + "/" + std::to_string(pid) + "/comm").value_or("");
}

// Whether process `pid` has `target` open. Only our own processes show their descriptors,
// unless we are root.
bool HoldsOpen(const std::string &procRoot, long pid, const std::string &target)
{
    const std::string folder = procRoot + "/" + std::to_string(pid) + "/fd";
    DIR *dir = ::opendir(folder.c_str());
    if (dir == nullptr)
        return false;
    bool holds = false;
    std::string link(PATH_MAX, '\0');
    while (const dirent *entry = ::readdir(dir)) {
        const std::string fd = folder + "/" + entry->d_name;
        const ssize_t n = ::readlink(fd.c_str(), link.data(), link.size());
        if (n > 0 && std::string_view(link.data(), static_cast<std::size_t>(n)) == target) {
            holds = true;
            break;
        }
    }
    ::closedir(dir);
    return holds;
}

std::vector<long> ProcessIds(const std::string &procRoot)
{
    std::vector<long> pids;
    DIR *dir = ::opendir(procRoot.c_str());
    if (dir == nullptr)
        return pids;
    while (const dirent *entry = ::readdir(dir)) {
        if (const std::optional<long> pid = ParseNumber<long>(entry->d_name))
            pids.push_back(*pid);
    }
    ::closedir(dir);
    std::sort(pids.begin(), pids.end());
    return pids;
}

// A UUCP lock holds the owner's pid as ten ASCII digits, or as a binary int from old programs.
std::optional<long> LockPid(const std::string &file)
{
    std::ifstream in(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::string_view text = bytes;
    const auto blank = [](char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\0'; };
    while (!text.empty() && blank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && blank(text.back()))
        text.remove_suffix(1);
    if (const std::optional<long> pid = ParseNumber<long>(text))
        return *pid;
    if (bytes.size() == sizeof(std::int32_t)) {
        std::int32_t pid = 0;
        std::memcpy(&pid, bytes.data(), sizeof pid);
        return pid;
    }
    return std::nullopt;
}

int RemainingMs(Clock::time_point deadline)
{
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::max<long long>(0, left.count()));
}

bool WaitFor(int fd, short events, Clock::time_point deadline)
{
    for (;;) {
        pollfd entry{fd, events, 0};
        const int ready = ::poll(&entry, 1, RemainingMs(deadline));
        if (ready > 0)
            return true;
        if (ready == 0 || errno != EINTR)
            return false;
    }
}

// gpsd's device list from its ?DEVICES; answer; nothing when gpsd does not answer in time.
std::optional<std::vector<std::string>> AskGpsd(int port, int timeoutMs)
{
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    const CFileDescriptor connection(
        ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (connection.Get() < 0)
        return std::nullopt;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(connection.Get(), reinterpret_cast<const sockaddr *>(&address), sizeof address)
        != 0) {
        if (errno != EINPROGRESS || !WaitFor(connection.Get(), POLLOUT, deadline))
            return std::nullopt;
        int error = 0;
        socklen_t size = sizeof error;
        if (::getsockopt(connection.Get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0)
            return std::nullopt;
    }
    if (::send(connection.Get(), kGpsdQuery.data(), kGpsdQuery.size(), MSG_NOSIGNAL)
        != static_cast<ssize_t>(kGpsdQuery.size()))
        return std::nullopt;
    std::string received;
    char block[kStartBufferSize];
    while (received.size() < kMaxGpsdAnswer && WaitFor(connection.Get(), POLLIN, deadline)) {
        const ssize_t n = ::recv(connection.Get(), block, sizeof block, 0);
        if (n < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (n <= 0)
            return std::nullopt;
        received.append(block, static_cast<std::size_t>(n));
        // The VERSION banner comes first; the answer is the line of class DEVICES.
        std::size_t start = 0;
        for (std::size_t end = received.find('\n'); end != std::string::npos;
             start = end + 1, end = received.find('\n', start)) {
            const std::string_view line(received.data() + start, end - start);
            if (line.find("\"class\":\"DEVICES\"") != std::string_view::npos)
                return ParseGpsdDevicePaths(line);
        }
    }
    return std::nullopt;
}

} // namespace

CPortRoots PortRootsFromEnvironment()
{
    const char *root = std::getenv(kRootVariable);
    if (root == nullptr || *root == '\0')
        return {};
    return CPortRoots::Below(root);
}

CPortInspector::CPortInspector(CPortRoots roots, int gpsdPort)
    : m_roots(std::move(roots))
    , m_gpsdPort(gpsdPort)
{
}

int CPortInspector::GpsdPortFromEnvironment()
{
    const char *text = std::getenv(kGpsdPortVariable);
    if (text == nullptr)
        return kGpsdPort;
    const std::optional<int> port = ParseNumber<int>(text);
    return port && *port >= 0 && *port <= 65535 ? *port : kGpsdPort;
}

int CPortInspector::ProbeOpen(const std::string &path)
{
    const CFileDescriptor fd(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (fd.Get() < 0)
        return errno;
    if (!::isatty(fd.Get()))
        return ENOTTY;
    if (::flock(fd.Get(), LOCK_EX | LOCK_NB) != 0)
        return errno == EWOULDBLOCK ? EBUSY : errno;
    return 0;
}

int CPortInspector::ProbeAccess(const std::string &path)
{
    return ::faccessat(AT_FDCWD, path.c_str(), R_OK | W_OK, AT_EACCESS) == 0 ? 0 : errno;
}

CPortFacts CPortInspector::Examine(const std::string &device, const std::string &path,
                                   int openError)
{
    CPortFacts facts;
    facts.device = device;
    facts.openError = openError;
    switch (openError) {
    case EACCES:
    case EPERM:
        AddGroupFacts(path, facts);
        break;
    case EBUSY: {
        const std::optional<std::string> target = ResolvePath(path);
        for (const long pid : ProcessIds(m_roots.proc)) {
            const std::string name = ProcessName(m_roots.proc, pid);
            facts.gpsdRunning = facts.gpsdRunning || name == kGpsdName;
            facts.modemManagerRunning = facts.modemManagerRunning || name == kModemManagerName;
            // A descriptor we inherited is no other program's.
            if (pid != ::getpid() && target && HoldsOpen(m_roots.proc, pid, *target))
                facts.holders.push_back({pid, name});
        }
        std::vector<std::string> lockNames{std::string(BaseName(device)),
                                           std::string(BaseName(path))};
        if (target)
            lockNames.emplace_back(BaseName(*target));
        for (const std::string &name : lockNames) {
            const std::optional<long> pid = LockPid(m_roots.lock + std::string(kLockPrefix) + name);
            // A lock whose owner is gone is stale: it holds nothing.
            if (pid && *pid > 0 && ResolvePath(m_roots.proc + "/" + std::to_string(*pid))) {
                facts.lockOwner = {*pid, ProcessName(m_roots.proc, *pid)};
                break;
            }
        }
        if (target) {
            const std::vector<std::string> &held = GpsdDevices();
            facts.gpsdHoldsIt = std::any_of(held.begin(), held.end(), [&](const std::string &d) {
                return ResolvePath(d) == target;
            });
        }
        break;
    }
    case ENOENT:
    case ENOTDIR:
    case ENODEV:
    case ENXIO:
    case EIO:
    case ENOTTY:
        facts.candidates = GetCandidates();
        break;
    default:
        break;
    }
    return facts;
}

CPortDiagnosis CPortInspector::Diagnose(const std::string &device)
{
    const std::string path = m_roots.DevicePath(device);
    const int error =
        PortKindOfDevice(device) == PortKind::Bluetooth ? ProbeAccess(path) : ProbeOpen(path);
    return DiagnosePort(Examine(device, path, error));
}

const std::vector<CPortCandidate> &CPortInspector::GetCandidates()
{
    if (!m_candidates)
        m_candidates = ScanPorts(m_roots);
    return *m_candidates;
}

const std::vector<std::string> &CPortInspector::GpsdDevices()
{
    if (!m_gpsdDevices) {
        m_gpsdDevices = m_gpsdPort == 0 ? std::nullopt : AskGpsd(m_gpsdPort, kGpsdTimeoutMs);
        if (!m_gpsdDevices)
            m_gpsdDevices.emplace();
    }
    return *m_gpsdDevices;
}
