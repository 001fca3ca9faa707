#pragma once

#include <QImage>
#include <QRectF>
#include <QString>

#include <vector>

class QPainter;

/// A decoded map image and its half-size copies, so that a zoomed-out view never scales the
/// whole sheet per frame. Paletted and grey images stay 8-bit at full size.
class CMapBitmap
{
public:
    /// Qt refuses images above 128 MB by default; a 10,000 × 10,000 sheet takes 400 MB.
    static constexpr int kAllocationLimitMB = 1024;
    /// Halving stops once the longer side is at most this.
    static constexpr int kSmallestLevelSide = 1500;

    /// Reads the image file; blocks, so run it off the window's thread. On failure the result
    /// is null and `error` says why.
    static CMapBitmap Decode(const QString &path, QString *error = nullptr);
    /// An image already in memory (tests, benchmarks).
    static CMapBitmap FromImage(QImage image);

    [[nodiscard]] bool IsNull() const { return m_levels.empty(); }
    [[nodiscard]] QSize GetSize() const;
    [[nodiscard]] qint64 GetBytes() const;
    [[nodiscard]] const std::vector<QImage> &GetLevels() const { return m_levels; }

    /// Draws the map rectangle `source` (map pixels, may reach beyond the sheet) into
    /// `target`, from the copy that best matches `zoom` (map pixels per target pixel).
    void Draw(QPainter &painter, const QRectF &target, const QRectF &source, double zoom) const;

private:
    void BuildLevels();

    std::vector<QImage> m_levels;
};
