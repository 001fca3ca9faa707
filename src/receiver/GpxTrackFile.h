#pragma once

#include "receiver/TrackRules.h"

#include <chrono>
#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A GPX 1.1 track being written: one <trk>, a <trkseg> per stretch of fix, a <trkpt> per
/// point with elevation, UTC time, fix type, satellites and HDOP in GPX's own elements, speed
/// and course in the TrackPointExtension (v2) most GPX readers know.
///
/// Points are collected and written out by Flush(): the bytes go where the closing tags were,
/// followed by the closing tags again. Every write stays within one page of the file, as SIGKILL
/// cuts a write only between pages, and leaves a valid file; a point that crosses into the next
/// page is put there first, hidden in a processing instruction after </gpx>, and made live by
/// the write of its first part. A writer killed at any moment thus leaves a valid file holding
/// every point up to its last write. When a write fails (disk full, size limit, I/O error) the
/// closing tags of the last good write are put back and the file is cut after them: valid
/// still, the points of the failed write lost. The file is then closed and the failure handler
/// told once.
///
/// Data reach the disk (fdatasync) at most once a minute while points come, and on Close: a crash
/// of the program loses nothing flushed, a power cut at most the last minute. Not thread-safe.
class CGpxTrackFile : public CTrackSink
{
public:
    static constexpr const char *kCreator = "Veloran";
    static constexpr const char *kExtensionNamespace =
        "http://www.garmin.com/xmlschemas/TrackPointExtension/v2";

    using FailureHandler = std::function<void(const std::string &errorText)>;

    CGpxTrackFile() = default;
    ~CGpxTrackFile() override;
    CGpxTrackFile(const CGpxTrackFile &) = delete;
    CGpxTrackFile &operator=(const CGpxTrackFile &) = delete;

    /// Creates `path` with an empty track named `trackName`, `createdUtc` as the file's time.
    /// `exclusive`: an existing file is refused (EEXIST) rather than replaced. An open file is
    /// closed first.
    bool Create(const std::string &path, const std::string &trackName, std::time_t createdUtc,
                bool exclusive);
    [[nodiscard]] bool IsOpen() const { return m_fd >= 0; }

    void AddPoint(const CTrackLogPoint &point) override;
    void EndSegment() override;
    /// Writes out what came since the last flush, then the closing tags.
    void Flush();
    /// Flushes, syncs and closes; a failure here is a write failure.
    void Close();

    [[nodiscard]] const std::string &GetPath() const { return m_path; }
    /// Points and segments that reached the file.
    [[nodiscard]] std::int64_t GetWrittenPoints() const { return m_writtenPoints; }
    [[nodiscard]] std::int64_t GetWrittenSegments() const { return m_writtenSegments; }
    /// Why the last create, write or close failed ("Path: reason").
    [[nodiscard]] const std::string &GetErrorText() const { return m_errorText; }
    [[nodiscard]] int GetErrorCode() const { return m_errorCode; }
    /// Called once per failed file, after it has been closed.
    void SetFailureHandler(FailureHandler handler) { m_onFailure = std::move(handler); }

private:
    struct CMark {
        std::size_t end;  // in m_buffer, after a whole item
        bool segmentOpen; // after it
        bool point;
        bool segment; // it opened one
    };
    static const char *TailOf(bool segmentOpen);
    bool WriteBlanks(std::string_view head, long long from, long long to);
    bool WriteAcross(const std::string &piece, long long pageEnd);
    void Mark(bool point, bool segment);
    bool WriteAt(std::string_view bytes, long long offset);
    void Fail(int errorCode);
    void Sync();

    static constexpr std::size_t kFlushBytes = 1 << 16;
    static constexpr long long kPageBytes = 4096;
    static constexpr long long kOpenerBytes = 4; // "<?c "

    int m_fd = -1;
    std::string m_path;
    std::string m_buffer;
    long long m_dataEnd = 0;        // where the closing tags start in the file
    long long m_fileEnd = 0;        // blanks may follow the closing tags up to here
    bool m_fileSegmentOpen = false; // the file's tail closes a segment
    bool m_segmentOpen = false;     // with the buffer
    std::vector<CMark> m_marks;
    std::int64_t m_writtenPoints = 0;
    std::int64_t m_writtenSegments = 0;
    bool m_unsynced = false;
    std::chrono::steady_clock::time_point m_lastSync;
    std::string m_errorText;
    int m_errorCode = 0;
    FailureHandler m_onFailure;
};
