#pragma once

/// Degree/radian factors as literals, the same doubles in every formula that uses them.
inline constexpr double kDegToRad = 0.017453292519943295;
inline constexpr double kRadToDeg = 57.29577951308232;
