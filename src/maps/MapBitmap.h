#pragma once

#include <QImage>
#include <QRectF>
#include <QString>

#include <atomic>
#include <vector>

class QPainter;

/// A decoded map image and its half-size copies, so that a zoomed-out view never scales the
/// whole sheet per frame. Paletted, grey and 1-bit images keep their depth at every size.
class CMapBitmap
{
public:
    /// Qt refuses images above 128 MB by default; a 10,000 × 10,000 sheet takes 400 MB.
    static constexpr int kAllocationLimitMB = 1024;
    /// Halving stops once the longer side is at most this.
    static constexpr int kSmallestLevelSide = 1500;

    /// Reads the image file, a regular file only; slow, so run it off the window's thread. On
    /// failure the result is null and `error` says why. Setting `cancel` ends it early.
    static CMapBitmap Decode(const QString &path, QString *error = nullptr,
                             const std::atomic<bool> *cancel = nullptr);
    /// An image already in memory (tests, benchmarks).
    static CMapBitmap FromImage(QImage image, const std::atomic<bool> *cancel = nullptr);

    [[nodiscard]] bool IsNull() const { return m_levels.empty(); }
    [[nodiscard]] QSize GetSize() const;
    [[nodiscard]] qint64 GetBytes() const;
    [[nodiscard]] const std::vector<QImage> &GetLevels() const { return m_levels; }

    /// Draws the map rectangle `source` (map pixels, may reach beyond the sheet) into
    /// `target`, from the copy that best matches `zoom` (map pixels per target pixel).
    void Draw(QPainter &painter, const QRectF &target, const QRectF &source, double zoom) const;

private:
    std::vector<QImage> m_levels;
};
