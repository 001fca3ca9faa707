#pragma once

#include <ctime>

class CDataSource;

/// "Program CS" to the receiver on the open port; nothing when closed or replaying. A command
/// that does not go out is not reported: the receiver's output shows whether it took effect.
void SendProgramChipset(CDataSource &source);
/// "Hot Connect" for this position (degrees) and clock; nothing when closed or replaying.
void SendHotConnect(CDataSource &source, double latitude, double longitude, std::time_t utcNow);
