#include "maps/MapBitmap.h"

#include <QImageReader>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace
{

// Rows of an 8-bit image converted at a time; even, so each band halves as the whole would.
constexpr int kBandRows = 512;

// Half size, smooth. An 8-bit image goes through RGB32 a band at a time: converted whole, a
// 10,000 × 10,000 sheet would need another 400 MB for a moment beside its 100 MB.
QImage Halved(const QImage &image)
{
    const int width = std::max(1, image.width() / 2);
    const int height = std::max(1, image.height() / 2);
    if (image.depth() > 8)
        return image.scaled(width, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (image.height() % 2 != 0 || image.height() <= kBandRows)
        return image.convertToFormat(QImage::Format_RGB32)
            .scaled(width, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QImage half(width, height, QImage::Format_RGB32);
    for (int y = 0; y < image.height() && !half.isNull(); y += kBandRows) {
        const int rows = std::min(kBandRows, image.height() - y);
        const QImage band =
            image.copy(0, y, image.width(), rows)
                .convertToFormat(QImage::Format_RGB32)
                .scaled(width, rows / 2, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        if (band.isNull())
            return {};
        for (int row = 0; row < band.height(); ++row)
            std::memcpy(half.scanLine(y / 2 + row), band.constScanLine(row),
                        static_cast<std::size_t>(band.bytesPerLine()));
    }
    return half;
}

} // namespace

CMapBitmap CMapBitmap::Decode(const QString &path, QString *error)
{
    QImageReader::setAllocationLimit(kAllocationLimitMB);
    QImageReader reader(path);
    QImage image = reader.read();
    if (image.isNull()) {
        if (error)
            *error = reader.errorString();
        return {};
    }
    return FromImage(std::move(image));
}

CMapBitmap CMapBitmap::FromImage(QImage image)
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
    bitmap.BuildLevels();
    return bitmap;
}

void CMapBitmap::BuildLevels()
{
    while (std::max(m_levels.back().width(), m_levels.back().height()) > kSmallestLevelSide)
        m_levels.push_back(Halved(m_levels.back()));
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
