#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The NMEA log being recorded: raw received lines, as given.
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
    static constexpr const char *kDialogTitle = "Select log file...";
    static constexpr const char *kFilterName = "NMEA Logs (*.nmea)";
    static constexpr const char *kFilterPattern = "*.nmea";

    using FailureHandler = std::function<void(const std::string &errorText)>;

    CNMEALogFile() = default;
    ~CNMEALogFile();
    CNMEALogFile(const CNMEALogFile &) = delete;
    CNMEALogFile &operator=(const CNMEALogFile &) = delete;

    /// Creates `path`, or empties it when it exists, for writing; an open log is closed first.
    /// False when it cannot be opened (see GetErrorText()); no log is open then.
    bool Create(const std::string &path);
    [[nodiscard]] bool IsOpen() const { return m_fd >= 0; }
    /// Appends the bytes as given, line end included. Does nothing while no log is open.
    void Write(std::string_view line);
    /// Writes out what Write() collected.
    void Flush();
    /// Flushes and closes.
    void Close();

    /// The path of the last Create(), kept after the log closes.
    [[nodiscard]] const std::string &GetPath() const { return m_path; }
    /// System text and errno of the last failure (create, write or close), for the message box
    /// details.
    [[nodiscard]] const std::string &GetErrorText() const { return m_errorText; }
    [[nodiscard]] int GetErrorCode() const { return m_errorCode; }

    /// Called once per failed log, after it has been closed.
    void SetFailureHandler(FailureHandler handler) { m_onFailure = std::move(handler); }

private:
    void SetError(int errorCode);
    void FailWrite(int errorCode, std::size_t bufferBytesOut);

    static constexpr std::size_t kFlushBytes = 1 << 16;

    int m_fd = -1;
    long long m_bytesWritten = 0; // whole lines only
    std::string m_buffer;
    std::vector<std::size_t> m_lineEnds; // in m_buffer
    std::string m_path;
    std::string m_errorText;
    int m_errorCode = 0;
    FailureHandler m_onFailure;
};
