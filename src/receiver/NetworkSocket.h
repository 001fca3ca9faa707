#pragma once

#include <string>

/// Sockets for the network sources. Every wait also watches `stopFd` (an eventfd the closing
/// source signals) and gives up at once when it fires. A negative result is a failure with
/// `error` saying why.

/// A TCP connection to host:port within `timeoutMs` (each address the name has is tried), with
/// keep-alive on so a peer that vanished is noticed.
int ConnectTcp(const std::string &host, int port, int timeoutMs, int stopFd, std::string &error);
/// A TCP socket listening on host:port (host empty: every address).
int ListenTcp(const std::string &host, int port, std::string &error);
/// The next connection to `listenFd`; -1 with an empty `error` when stopped.
int AcceptTcp(int listenFd, int stopFd, std::string &error);
/// A UDP socket bound to host:port (host empty: every address), shared with other programs
/// listening on the same port (SO_REUSEADDR: each gets the broadcasts, one the unicasts).
int BindUdp(const std::string &host, int port, std::string &error);
/// Sends all of `bytes` (gpsd's watch command); false on failure.
bool SendAll(int fd, const std::string &bytes);
