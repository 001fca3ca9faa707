#include "dashboard/CompassMath.h"
