#include "widgets/DialFont.h"

#include <QStringList>

#include <algorithm>

QFont DialFont(double pixels, bool bold)
{
    QFont font;
    font.setFamilies({QStringLiteral("Liberation Sans"), QStringLiteral("Arial"),
                      QStringLiteral("DejaVu Sans")});
    font.setStyleHint(QFont::SansSerif);
    font.setWeight(bold ? QFont::DemiBold : QFont::Normal);
    font.setPixelSize(std::max(1, static_cast<int>(pixels)));
    return font;
}
