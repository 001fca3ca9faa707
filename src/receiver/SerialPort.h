#pragma once

#include <atomic>
#include <memory>
#include <string>

struct termios;

/// Why the last Open failed.
enum class SerialError {
    None,
    NotFound,
    PermissionDenied,
    Busy,
    NotATerminal,
    Configuration,
    Other
};

/// The receiver's serial line: raw 8N1, no flow control, DTR raised and RTS cleared, opened
/// exclusively. The descriptor stays non-blocking for the reader to poll; Close (or the
/// destructor) puts the line settings back the way they were found.
class CSerialPort
{
public:
    /// The text of the error box (caption "ERROR") when the port does not open.
    static constexpr const char *kOpenFailedMessage = "Failed to open COM Port.";

    CSerialPort();
    ~CSerialPort();
    CSerialPort(const CSerialPort &) = delete;
    CSerialPort &operator=(const CSerialPort &) = delete;

    /// Opens `device` (a path such as /dev/ttyUSB0) at `baudRate`, closing a port already open.
    /// Fails as Busy when another CSerialPort or another program that locks holds it.
    bool Open(const std::string &device, int baudRate);
    void Close();
    /// Sets the open port to `baudRate` (a custom rate too), raw 8N1 and the modem lines as at
    /// Open, and drops what was waiting in both directions. False when the device refuses the
    /// rate (errno says why); the port stays open at a speed to be set again.
    bool SetBaudRate(int baudRate);

    /// May be asked from another thread while the owner opens or closes.
    [[nodiscard]] bool IsOpen() const { return GetHandle() >= 0; }
    /// The file descriptor, -1 when closed.
    [[nodiscard]] int GetHandle() const { return m_fd.load(std::memory_order_acquire); }
    /// The output speed the device is set to now; 0 when closed or it cannot be read.
    [[nodiscard]] int GetBaudRate() const;

    [[nodiscard]] SerialError GetError() const { return m_error; }
    /// One line for the details of the error box: what failed, the likely fix, the system's text.
    [[nodiscard]] std::string GetErrorText() const { return m_errorText; }

private:
    bool Fail(SerialError error, int errorNumber, const std::string &reason);
    bool Configure(int fd, int baudRate);
    void Restore(int fd);

    std::atomic<int> m_fd{-1};
    std::unique_ptr<termios> m_original;
    int m_originalSpeed = 0;
    SerialError m_error = SerialError::None;
    std::string m_errorText;
};
