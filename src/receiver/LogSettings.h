#pragma once

class CRecordingRules;

/// Settings key of the recording rules.
inline constexpr const char *kLogSettingsKey = "Software/Veloran/LogSettings";

/// Reads the rates and the log-others flag. A stored rate sets the type's rate and enables the
/// type unless it is 0; a missing or unreadable value leaves that rule as `rules` has it.
void LoadRecordingRules(CRecordingRules &rules);

/// Writes GGARate, RMCRate, GSARate, GSVRate, VTGRate and LogOthers; a disabled type is
/// stored as rate 0.
void SaveRecordingRules(const CRecordingRules &rules);
