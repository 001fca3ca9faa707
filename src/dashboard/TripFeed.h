#pragma once

#include "dashboard/SpeedAlarm.h"
#include "dashboard/TripComputer.h"

struct CReceiverUpdate;

/// Carries one of the receiver session's updates into the trip computer and the speed alarm, as
/// the window does: RMC samples with a fix, GGA altitudes with one; a lost fix interrupts the
/// alarm's delay. Returns what the alarm asks for.
CSpeedAlarmStep FeedTrip(const CReceiverUpdate &update, CTripComputer &trip, CSpeedAlarm &alarm);
