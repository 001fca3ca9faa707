#include "maps/MapBitmap.h"

#include <QImage>

#include <gtest/gtest.h>

// A paletted sheet keeps 8 bits at full size; its half-size copy is true colour, the same whether
// the rows went through RGB32 a band at a time or all at once.
TEST(MapBitmapTest, PalettedSheetHalvesAsConvertedWhole)
{
    struct Case {
        const char *legend;
        int width;
        int height;
    };
    const Case cases[] = {
        {"even height: in bands, the last one short", 1601, 1100},
        {"odd height: converted whole", 1600, 1101},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        QImage sheet(c.width, c.height, QImage::Format_Indexed8);
        sheet.setColorTable(
            {qRgb(255, 0, 0), qRgb(0, 128, 255), qRgb(250, 250, 250), qRgb(20, 20, 20)});
        for (int y = 0; y < c.height; ++y) {
            for (int x = 0; x < c.width; ++x)
                sheet.scanLine(y)[x] = static_cast<uchar>((x * 7 + y * 3 + x * y) % 4);
        }
        const CMapBitmap bitmap = CMapBitmap::FromImage(sheet);
        const QImage expected =
            sheet.convertToFormat(QImage::Format_RGB32)
                .scaled(c.width / 2, c.height / 2, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        ASSERT_EQ(bitmap.GetLevels().size(), 2u);
        EXPECT_EQ(bitmap.GetLevels()[0].format(), QImage::Format_Indexed8);
        EXPECT_TRUE(bitmap.GetLevels()[1] == expected);
        EXPECT_EQ(bitmap.GetBytes(), sheet.sizeInBytes() + expected.sizeInBytes());
    }
}
