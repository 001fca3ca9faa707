#pragma once

#include "dashboard/SpeedAlarm.h"
#include "dashboard/TripComputer.h"

/// The trip figures under "Software/Veloran/Trip"; a missing or damaged value reads as 0.
[[nodiscard]] CTripFigures LoadTripFigures();
void StoreTripFigures(const CTripFigures &figures);

/// The speed alarm under "Software/Veloran/SpeedAlarm"; off by default, and a value out of
/// range reads as the default.
[[nodiscard]] CSpeedAlarmSettings LoadSpeedAlarm();
void StoreSpeedAlarm(const CSpeedAlarmSettings &settings);

/// The digital dashboard's page as it was last shown.
[[nodiscard]] int LoadDigitalPage();
void StoreDigitalPage(int page);
/// The digital dashboard shown as a head-up display; any stored number but 0 is on.
[[nodiscard]] bool LoadHeadUp();
void StoreHeadUp(bool on);
