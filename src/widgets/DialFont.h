#pragma once

#include <QFont>

/// The sans-serif face of the instruments and read-outs at `pixels` (at least 1), demi-bold or
/// normal. The dials were drawn in Arial; Liberation Sans has its metrics.
QFont DialFont(double pixels, bool bold);
