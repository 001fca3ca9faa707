#pragma once

#include "receiver/FileIdentity.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The NMEA log being recorded: raw received lines, as given.
///
/// Opening never destroys anything it should not: the file is locked (an advisory flock, held
/// while recording) before an older content is dropped, so a second recorder on the same file
/// is refused as "in use" and leaves the first one's file alone; the file being replayed cannot
/// be the log. Writes append, so even a foreign truncation leaves no hole.
///
/// Lines are collected and written out by Flush(), which the owner calls after every batch the
/// reader hands over (a live receiver's batch is what one read brought, so nothing waits long),
/// and when the buffer grows large. The file only ever holds whole lines: when a write fails
/// (disk full, file size limit, I/O error) a line that got out in part is cut off again, the
/// file is closed and the failure handler is told once; later writes do nothing. Not
/// thread-safe: one thread records.
class CNMEALogFile
{
public:
    static constexpr const char *kCreateFailedMessage = "Failed to create log file.";
    static constexpr const char *kDialogTitle = "Record NMEA log as";
    static constexpr const char *kFilterName = "NMEA Logs (*.nmea)";
    static constexpr const char *kFilterPattern = "*.nmea";
    /// Added to a log name typed without an extension, so Replay and Load Track list it.
    static constexpr const char *kExtension = "nmea";

    /// Why Create() failed.
    enum class Refusal { None, System, InUse, SameAsReplay };

    using FailureHandler = std::function<void(const std::string &errorText)>;

    CNMEALogFile() = default;
    ~CNMEALogFile();
    CNMEALogFile(const CNMEALogFile &) = delete;
    CNMEALogFile &operator=(const CNMEALogFile &) = delete;

    /// Opens `path` for recording, replacing what it held; an open log is closed first. Refused,
    /// with the file untouched, when another recorder holds it or it is `replayFile`. A failure
    /// leaves no new file behind and no log open (see GetRefusal(), GetErrorText()).
    bool Create(const std::string &path, const std::optional<CFileIdentity> &replayFile = {});
    [[nodiscard]] bool IsOpen() const { return m_fd >= 0; }
    /// Appends the bytes as given, line end included. Does nothing while no log is open.
    void Write(std::string_view line);
    /// Writes out what Write() collected.
    void Flush();
    /// Flushes and closes; a failure to close is a write failure.
    void Close();

    /// The path of the last Create(), kept after the log closes.
    [[nodiscard]] const std::string &GetPath() const { return m_path; }
    /// Bytes the file held before the last Create() emptied it.
    [[nodiscard]] long long GetReplacedBytes() const { return m_replacedBytes; }
    /// Bytes the last Create()'s file got from Flush(), whole lines only.
    [[nodiscard]] long long GetWrittenBytes() const { return m_writtenBytes; }
    /// The open log's file; empty while closed.
    [[nodiscard]] std::optional<CFileIdentity> GetIdentity() const;
    [[nodiscard]] Refusal GetRefusal() const { return m_refusal; }
    /// Why the last create, write or close failed, for the message box details and stderr.
    [[nodiscard]] const std::string &GetErrorText() const { return m_errorText; }
    [[nodiscard]] int GetErrorCode() const { return m_errorCode; }

    /// Called once per failed log, after it has been closed.
    void SetFailureHandler(FailureHandler handler) { m_onFailure = std::move(handler); }

private:
    bool Refuse(Refusal refusal, int errorCode, const std::string &text);
    void SetError(int errorCode);
    void FailWrite(int errorCode, std::size_t bufferBytesOut);
    void Report();

    static constexpr std::size_t kFlushBytes = 1 << 16;

    int m_fd = -1;
    std::string m_buffer;
    std::vector<std::size_t> m_lineEnds; // in m_buffer
    std::string m_path;
    long long m_replacedBytes = 0;
    long long m_writtenBytes = 0;
    Refusal m_refusal = Refusal::None;
    std::string m_errorText;
    int m_errorCode = 0;
    FailureHandler m_onFailure;
};
