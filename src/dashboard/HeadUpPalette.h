#pragma once

#include "dashboard/DigiPalette.h"

/// The digital dashboard's colours as a head-up display: black everywhere but the read-outs,
/// since black is what a windscreen does not reflect. By day the captions and units are as
/// bright as the digits, as the reflection is faint; night keeps its own colours.
[[nodiscard]] inline CDigiPalette HeadUpPalette(bool night)
{
    CDigiPalette palette = CDigiPalette::Of(night);
    palette.background = Qt::black;
    palette.cellFill = Qt::black;
    if (!night) {
        palette.caption = palette.value;
        palette.unit = palette.value;
    }
    return palette;
}
