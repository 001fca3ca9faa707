#include "receiver/TrackLog.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

CTrackLog::CTrackLog(Clock clock)
    : m_clock(clock ? std::move(clock) : Clock([] { return std::time(nullptr); }))
{
    m_file.SetFailureHandler([this](const std::string &error) { Failed(error); });
}

void CTrackLog::Start(const std::string &directory)
{
    Stop();
    m_directory = directory;
    m_rules.Reset();
    m_on = true;
}

void CTrackLog::Stop()
{
    if (!m_on)
        return;
    m_rules.Finish(m_sink);
    m_file.Close();
    m_on = false;
}

void CTrackLog::OnSentence(int type, const CNMEAParser &parser)
{
    if (m_on)
        m_rules.OnSentence(type, parser, m_sink);
}

void CTrackLog::SourceEnded()
{
    if (m_on)
        m_rules.Finish(m_sink);
}

void CTrackLog::Flush()
{
    m_file.Flush();
}

std::optional<std::string> CTrackLog::TakeError()
{
    std::optional<std::string> error;
    error.swap(m_error);
    return error;
}

void CTrackLog::Failed(const std::string &error)
{
    m_error = error;
    m_on = false;
}

void CTrackLog::CLazySink::AddPoint(const CTrackLogPoint &point)
{
    if (!m_log.m_file.IsOpen() && !m_log.OpenFile())
        return;
    m_log.m_file.AddPoint(point);
}

bool CTrackLog::OpenFile()
{
    if (::mkdir(m_directory.c_str(), 0755) != 0 && errno != EEXIST) {
        Failed(m_directory + ": " + std::strerror(errno));
        return false;
    }
    const std::time_t now = m_clock();
    std::tm local{};
    ::localtime_r(&now, &local);
    const std::string name = TrackFileName(local);
    const std::string stem = name.substr(0, name.size() - 4);
    for (int n = 1; n < 100; ++n) {
        const std::string path =
            m_directory + "/" + (n == 1 ? name : stem + "-" + std::to_string(n) + ".gpx");
        if (m_file.Create(path, stem, now, true))
            return true;
        if (m_file.GetErrorCode() != EEXIST)
            break;
    }
    Failed(m_file.GetErrorText());
    return false;
}
