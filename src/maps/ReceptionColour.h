#pragma once

#include "base/Rgb.h"

/// The colour of a reception ratio (satellites used / in view): red at 0 over orange, yellow and
/// yellow-green to green at 1, blended in single precision. Below 0 counts as 0, 1 and above
/// as 0.999, so green itself is never reached.
CRgb ReceptionColour(double ratio);
