#include "maps/MapBitmap.h"

#include "storage/FileDescriptor.h"

#include <QFile>
#include <QImageReader>
#include <QPainter>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace
{

// Grey averages its four pixels; a palette has no in-between colours, so indexed and other
// 8-bit images take the top-left one. Both keep the 8-bit format, whatever the height.
QImage HalvedEightBit(const QImage &image, int width, int height)
{
    QImage half(width, height, image.format());
    if (half.isNull())
        return {};
    half.setColorTable(image.colorTable());
    const bool grey = image.format() == QImage::Format_Grayscale8;
    const int lastRow = image.height() - 1;
    const int lastColumn = image.width() - 1;
    for (int y = 0; y < height; ++y) {
        const uchar *top = image.constScanLine(2 * y);
        const uchar *bottom = image.constScanLine(std::min(2 * y + 1, lastRow));
        uchar *out = half.scanLine(y);
        for (int x = 0; x < width; ++x) {
            const int left = 2 * x;
            if (!grey) {
                out[x] = top[left];
                continue;
            }
            const int right = std::min(left + 1, lastColumn);
            out[x] =
                static_cast<uchar>((top[left] + top[right] + bottom[left] + bottom[right] + 2) / 4);
        }
    }
    return half;
}

// Which of a 1-bit image's two entries is the darker: a line one pixel wide must survive halving.
int DarkerIndex(const QImage &image)
{
    const QList<QRgb> table = image.colorTable();
    if (table.size() < 2)
        return 0;
    return qGray(table[1]) < qGray(table[0]) ? 1 : 0;
}

// 1-bit stays 1-bit: a half pixel takes the darker entry if any of its four pixels has it.
QImage HalvedMono(const QImage &source, int width, int height)
{
    const QImage image = source.format() == QImage::Format_Mono
                             ? source
                             : source.convertToFormat(QImage::Format_Mono);
    QImage half(width, height, QImage::Format_Mono);
    if (half.isNull() || image.isNull())
        return {};
    half.setColorTable(image.colorTable());
    const int ink = DarkerIndex(image);
    const int lastRow = image.height() - 1;
    const int lastColumn = image.width() - 1;
    const auto bit = [](const uchar *line, int x) { return (line[x >> 3] >> (7 - (x & 7))) & 1; };
    for (int y = 0; y < height; ++y) {
        const uchar *top = image.constScanLine(2 * y);
        const uchar *bottom = image.constScanLine(std::min(2 * y + 1, lastRow));
        uchar *out = half.scanLine(y);
        std::memset(out, 0, static_cast<std::size_t>(half.bytesPerLine()));
        for (int x = 0; x < width; ++x) {
            const int left = 2 * x;
            const int right = std::min(left + 1, lastColumn);
            const bool inked = bit(top, left) == ink || bit(top, right) == ink
                               || bit(bottom, left) == ink || bit(bottom, right) == ink;
            const int value = inked ? ink : 1 - ink;
            out[x >> 3] = static_cast<uchar>(out[x >> 3] | (value << (7 - (x & 7))));
        }
    }
    return half;
}

// Half size. Colour is smoothed by the painter; paletted, grey and 1-bit images are halved
// here so that they never pass through 32 bits (a 10,000 × 10,000 sheet would need 400 MB).
QImage Halved(const QImage &image)
{
    const int width = std::max(1, image.width() / 2);
    const int height = std::max(1, image.height() / 2);
    if (image.depth() > 8)
        return image.scaled(width, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (image.depth() == 1)
        return HalvedMono(image, width, height);
    return HalvedEightBit(image, width, height);
}

} // namespace

CMapBitmap CMapBitmap::Decode(const QString &path, QString *error, const std::atomic<bool> *cancel)
{
    const auto fail = [error](const QString &why) {
        if (error)
            *error = why;
        return CMapBitmap();
    };
    // Non-blocking: opening a FIFO would wait for a writer for ever. Only a regular file is read.
    const QByteArray name = QFile::encodeName(path);
    CFileDescriptor fd(::open(name.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (fd.Get() < 0)
        return fail(QString::fromLocal8Bit(std::strerror(errno)));
    struct stat info {
    };
    if (::fstat(fd.Get(), &info) != 0)
        return fail(QString::fromLocal8Bit(std::strerror(errno)));
    if (!S_ISREG(info.st_mode))
        return fail(S_ISDIR(info.st_mode) ? QString::fromLocal8Bit(std::strerror(EISDIR))
                                          : QStringLiteral("Not a regular file"));
    QFile file;
    if (!file.open(fd.Get(), QIODevice::ReadOnly, QFileDevice::DontCloseHandle))
        return fail(file.errorString());

    QImageReader::setAllocationLimit(kAllocationLimitMB);
    QImageReader reader(&file);
    QImage image = reader.read();
    if (image.isNull())
        return fail(reader.errorString());
    if (cancel != nullptr && cancel->load())
        return fail(QStringLiteral("Cancelled"));
    return FromImage(std::move(image), cancel);
}

CMapBitmap CMapBitmap::FromImage(QImage image, const std::atomic<bool> *cancel)
{
    CMapBitmap bitmap;
    if (image.isNull())
        return bitmap;
    if (image.depth() > 8 && image.format() != QImage::Format_RGB32
        && image.format() != QImage::Format_ARGB32_Premultiplied) {
        // The formats the painter blends fastest.
        image.convertTo(image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied
                                                : QImage::Format_RGB32);
    }
    bitmap.m_levels.push_back(std::move(image));
    while (std::max(bitmap.m_levels.back().width(), bitmap.m_levels.back().height())
           > kSmallestLevelSide) {
        if (cancel != nullptr && cancel->load())
            return {};
        QImage half = Halved(bitmap.m_levels.back());
        if (half.isNull())
            break;
        bitmap.m_levels.push_back(std::move(half));
    }
    return bitmap;
}

QSize CMapBitmap::GetSize() const
{
    return IsNull() ? QSize() : m_levels.front().size();
}

qint64 CMapBitmap::GetBytes() const
{
    qint64 bytes = 0;
    for (const QImage &level : m_levels)
        bytes += level.sizeInBytes();
    return bytes;
}

void CMapBitmap::Draw(QPainter &painter, const QRectF &target, const QRectF &source,
                      double zoom) const
{
    if (IsNull() || source.isEmpty())
        return;
    const QRectF sheet(QPointF(0, 0), QSizeF(GetSize()));
    const QRectF shown = source.intersected(sheet);
    if (shown.isEmpty())
        return;
    const double sx = target.width() / source.width();
    const double sy = target.height() / source.height();
    const QRectF into(target.x() + (shown.x() - source.x()) * sx,
                      target.y() + (shown.y() - source.y()) * sy, shown.width() * sx,
                      shown.height() * sy);

    // The copy with at least as many pixels as the target needs.
    std::size_t level = 0;
    while (level + 1 < m_levels.size() && zoom >= std::pow(2.0, static_cast<double>(level + 1)))
        ++level;
    const QImage &image = m_levels[level];
    const double factor = static_cast<double>(image.width()) / GetSize().width();
    const QRectF from(shown.x() * factor, shown.y() * factor, shown.width() * factor,
                      shown.height() * factor);

    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform, zoom != 1.0);
    if (image.depth() <= 8) {
        // The painter would convert the whole sheet for every draw: convert only the part shown.
        const QRect whole = from.toAlignedRect().intersected(image.rect());
        const QImage part = image.copy(whole).convertToFormat(QImage::Format_RGB32);
        painter.drawImage(into, part, from.translated(-whole.topLeft()));
    } else {
        painter.drawImage(into, image, from);
    }
    painter.restore();
}
