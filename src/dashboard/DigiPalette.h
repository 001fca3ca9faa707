#pragma once

#include "widgets/NightPalette.h"

#include <QColor>

/// The digital dashboard's colours, its read-outs' and its trip page's alike.
struct CDigiPalette {
    QColor background;
    QColor cellFill;
    QColor cellEdge;
    QColor caption;
    QColor value;
    QColor unit;
    QColor dim;
    QColor warningFill;
    QColor warningText;

    /// Day: bright digits on the dark panel. Night: the red of the other pages, nothing
    /// brighter.
    static const CDigiPalette &Of(bool night)
    {
        static const CDigiPalette day = {.background = {},
                                         .cellFill = {12, 14, 18, 215},
                                         .cellEdge = {84, 92, 104},
                                         .caption = {150, 160, 174},
                                         .value = {246, 248, 250},
                                         .unit = {190, 198, 210},
                                         .dim = {105, 112, 122},
                                         .warningFill = {200, 20, 20},
                                         .warningText = {255, 255, 255}};
        static const CDigiPalette dark = {.background = CNightPalette::Background(),
                                          .cellFill = Qt::transparent,
                                          .cellEdge = CNightPalette::Band(),
                                          .caption = CNightPalette::DimText(),
                                          .value = CNightPalette::Text(),
                                          .unit = CNightPalette::DimText(),
                                          .dim = CNightPalette::Band().lighter(150),
                                          .warningFill = CNightPalette::Band(),
                                          .warningText = CNightPalette::Text()};
        return night ? dark : day;
    }
};
