#pragma once

#include "receiver/HuntPort.h"

class CSerialPort;

/// The hunt's port over an open CSerialPort.
class CSerialHuntPort final : public CHuntPort
{
public:
    /// `port` stays open and owned by the caller while the hunt runs.
    explicit CSerialHuntPort(CSerialPort &port)
        : m_port(port)
    {
    }

    bool SetSpeed(int speed) override;
    void Flush() override;
    Wait Read(std::string &bytes, Clock::time_point deadline, int stopFd) override;

private:
    CSerialPort &m_port;
};
