#include "maps/MapBitmap.h"

#include <QImage>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace
{

// Four colours in a pattern that differs in every row and column.
QImage Paletted(int width, int height)
{
    QImage image(width, height, QImage::Format_Indexed8);
    image.setColorTable(
        {qRgb(255, 0, 0), qRgb(0, 128, 255), qRgb(250, 250, 250), qRgb(20, 20, 20)});
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            image.scanLine(y)[x] = static_cast<uchar>((x * 7 + y * 3 + x * y) % 4);
    }
    return image;
}

QImage Grey(int width, int height)
{
    QImage image(width, height, QImage::Format_Grayscale8);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            image.scanLine(y)[x] = static_cast<uchar>((x * 5 + y * 11) % 256);
    }
    return image;
}

// White with a black line one pixel wide in every 17th column and 13th row.
QImage Mono(int width, int height)
{
    QImage image(width, height, QImage::Format_Mono);
    image.setColorTable({qRgb(255, 255, 255), qRgb(0, 0, 0)});
    image.fill(0);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (x % 17 == 0 || y % 13 == 0)
                image.setPixel(x, y, 1);
        }
    }
    return image;
}

} // namespace

// Written as PNG and read back as the page does: each level keeps the sheet's format, so a
// paletted, grey or 1-bit sheet never takes 32 bits a pixel, whatever its height.
TEST(MapBitmapTest, SmallFormatsKeepTheirDepthAtEveryLevel)
{
    struct Case {
        const char *legend;
        QImage image;
    };
    const Case cases[] = {
        {"paletted, odd height", Paletted(3201, 3001)},
        {"paletted, even height", Paletted(3200, 3000)},
        {"grey, odd height", Grey(3001, 3203)},
        {"1-bit, odd height", Mono(3203, 3001)},
        {"1-bit, odd width", Mono(3001, 1601)},
    };
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const QString path = dir.filePath(QStringLiteral("sheet.png"));
        ASSERT_TRUE(c.image.save(path));
        QString error;
        const CMapBitmap bitmap = CMapBitmap::Decode(path, &error);
        ASSERT_FALSE(bitmap.IsNull()) << error.toStdString();
        const std::vector<QImage> &levels = bitmap.GetLevels();
        ASSERT_GE(levels.size(), 2u);
        EXPECT_LE(std::max(levels.back().width(), levels.back().height()),
                  CMapBitmap::kSmallestLevelSide);
        const QImage::Format format = levels.front().format();
        EXPECT_LE(levels.front().depth(), 8);
        qint64 bytes = 0;
        for (std::size_t i = 0; i < levels.size(); ++i) {
            SCOPED_TRACE(testing::Message() << "level " << i);
            EXPECT_EQ(levels[i].format(), format);
            EXPECT_EQ(levels[i].depth(), c.image.depth());
            if (i > 0) {
                EXPECT_EQ(levels[i].width(), levels[i - 1].width() / 2);
                EXPECT_EQ(levels[i].height(), levels[i - 1].height() / 2);
            }
            bytes += levels[i].sizeInBytes();
        }
        // The copies together take at most half again the sheet.
        EXPECT_LE(bytes, levels.front().sizeInBytes() * 3 / 2 + 4096);
        EXPECT_EQ(bitmap.GetBytes(), bytes);
    }
}

// What a half-size pixel shows: a palette entry of its four, their grey average, and in
// 1-bit the line that is there rather than the paper around it.
TEST(MapBitmapTest, HalvedPixels)
{
    const QImage paletted = Paletted(3001, 1601);
    const QImage half = CMapBitmap::FromImage(paletted).GetLevels()[1];
    for (const QPoint p : {QPoint(0, 0), QPoint(3, 7), QPoint(1499, 799)}) {
        const uint index = static_cast<uint>(half.pixelIndex(p));
        EXPECT_EQ(half.color(static_cast<int>(index)), paletted.pixel(2 * p.x(), 2 * p.y()));
    }

    const QImage grey = Grey(3001, 1601);
    const QImage greyHalf = CMapBitmap::FromImage(grey).GetLevels()[1];
    for (const QPoint p : {QPoint(0, 0), QPoint(10, 20), QPoint(1499, 799)}) {
        const int sum = qGray(grey.pixel(2 * p.x(), 2 * p.y()))
                        + qGray(grey.pixel(2 * p.x() + 1, 2 * p.y()))
                        + qGray(grey.pixel(2 * p.x(), 2 * p.y() + 1))
                        + qGray(grey.pixel(2 * p.x() + 1, 2 * p.y() + 1));
        EXPECT_EQ(qGray(greyHalf.pixel(p)), (sum + 2) / 4) << p.x() << "," << p.y();
    }

    // Lines in odd columns and rows (17, 13, 51...) survive.
    const QImage mono = Mono(3001, 1601);
    const QImage monoHalf = CMapBitmap::FromImage(mono).GetLevels()[1];
    for (int x = 0; x < monoHalf.width(); ++x) {
        const bool line = (2 * x) % 17 == 0 || (2 * x + 1) % 17 == 0;
        ASSERT_EQ(qGray(monoHalf.pixel(x, 3)) < 128, line) << "column " << x;
    }
    for (int y = 0; y < monoHalf.height(); ++y) {
        const bool line = (2 * y) % 13 == 0 || (2 * y + 1) % 13 == 0;
        ASSERT_EQ(qGray(monoHalf.pixel(5, y)) < 128, line) << "row " << y;
    }
}

// A FIFO would keep an open for reading waiting for a writer for ever; a directory is no image.
TEST(MapBitmapTest, OnlyRegularFilesAreRead)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString fifo = dir.filePath(QStringLiteral("map.png"));
    ASSERT_EQ(::mkfifo(fifo.toLocal8Bit().constData(), 0600), 0);
    struct Case {
        QString path;
        const char *error;
    };
    const Case cases[] = {
        {fifo, "Not a regular file"},
        {dir.path(), nullptr},
        {dir.filePath(QStringLiteral("missing.png")), nullptr},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.path.toStdString());
        QString error;
        EXPECT_TRUE(CMapBitmap::Decode(c.path, &error).IsNull());
        EXPECT_FALSE(error.isEmpty());
        if (c.error != nullptr) {
            EXPECT_EQ(error.toStdString(), c.error);
        }
    }
}
