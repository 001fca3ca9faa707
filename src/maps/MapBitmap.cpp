#include "maps/MapBitmap.h"

#include <QImageReader>
#include <QPainter>

#include <algorithm>
#include <cmath>

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
    while (std::max(m_levels.back().width(), m_levels.back().height()) > kSmallestLevelSide) {
        const QImage &last = m_levels.back();
        const QImage &source = last.depth() > 8 ? last : last.convertToFormat(QImage::Format_RGB32);
        m_levels.push_back(source.scaled(std::max(1, last.width() / 2),
                                         std::max(1, last.height() / 2), Qt::IgnoreAspectRatio,
                                         Qt::SmoothTransformation));
    }
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
