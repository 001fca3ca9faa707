#pragma once

#include "receiver/GpxTrackFile.h"
#include "receiver/TrackRules.h"

#include <ctime>
#include <functional>
#include <optional>
#include <string>

class CNMEAParser;

/// The track log: while on, the fixes of the receiver go into a GPX file of their own in a
/// folder, "YYYY-MM-DD_HHMMSS.gpx" by the local time of its first point (a "-2", "-3"... before
/// the extension when that name is taken), made only once there is a point to write. Turning it
/// off, or a failure, closes the file; turning it on again starts another.
class CTrackLog
{
public:
    using Clock = std::function<std::time_t()>;

    /// `clock` gives the time that names the file and stamps it; the system's by default.
    explicit CTrackLog(Clock clock = {});

    CTrackRules &GetRules() { return m_rules; }
    /// Starts logging into `directory`, which is made when missing.
    void Start(const std::string &directory);
    /// Closes the file; a failure shows in TakeError().
    void Stop();
    [[nodiscard]] bool IsOn() const { return m_on; }

    void OnSentence(int type, const CNMEAParser &parser);
    /// The source ended or went away: the segment ends.
    void SourceEnded();
    /// After each batch of lines: the points go to the file.
    void Flush();
    /// A failure (create, write) once: logging is off after it.
    std::optional<std::string> TakeError();
    /// The file being written, or the last one.
    [[nodiscard]] const std::string &GetPath() const { return m_file.GetPath(); }

private:
    class CLazySink : public CTrackSink
    {
    public:
        explicit CLazySink(CTrackLog &log)
            : m_log(log)
        {
        }
        void AddPoint(const CTrackLogPoint &point) override;
        void EndSegment() override { m_log.m_file.EndSegment(); }

    private:
        CTrackLog &m_log;
    };

    bool OpenFile();
    void Failed(const std::string &error);

    Clock m_clock;
    CTrackRules m_rules;
    CGpxTrackFile m_file;
    CLazySink m_sink{*this};
    std::string m_directory;
    bool m_on = false;
    std::optional<std::string> m_error;
};
