#pragma once

#include <QString>

#include <ctime>
#include <functional>

class QObject;

/// What the caller shows, with the caption "ERROR", when setting the clock failed.
inline constexpr const char *kSetClockFailedMessage = "failed to set System Time.";

/// Receives the outcome: `detail` says why it failed (an errno text, or a D-Bus error name and
/// message); on success it is empty.
using SetClockDone = std::function<void(bool ok, QString detail)>;

/// Sets the system clock to `utc` (no time-zone conversion: the system's zone setting gives local
/// time). With the privilege to set the clock (CAP_SYS_TIME) it is set directly; otherwise the
/// system's time service (timedated) is asked over the system bus, which may first show an
/// authorisation prompt. Never blocks and shows nothing itself.
///
/// `done` runs once, later, from the event loop of `context`'s thread, never inside this call;
/// it is dropped if `context` is destroyed first.
void SetSystemClockUtc(std::time_t utc, QObject *context, SetClockDone done);

/// The time-service route alone, whatever the process's privileges.
void SetSystemClockUtcViaTimeService(std::time_t utc, QObject *context, SetClockDone done);
