#pragma once

#include <string_view>

class CSerialPort;

/// Bound on one write: 1 s plus 10 ms a byte, the port's read time-outs. A line without flow
/// control always drains, so only a wedged driver reaches it.
inline constexpr int kPortWriteTimeoutMs = 1000;
inline constexpr int kPortWriteTimeoutPerByteMs = 10;

/// Writes all of `bytes` to the open port, waiting while its output buffer is full (the
/// descriptor is non-blocking). False when the port is closed, on an error or on time-out.
bool WritePort(const CSerialPort &port, std::string_view bytes);
