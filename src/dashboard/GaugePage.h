#pragma once

class QPainter;
class QRect;

/// Page background pictures a gauge's face is cut from.
enum GaugePicture : int {
    kPictureDashboard = 147, ///< the page with its six dial faces
    kPictureExclusive = 179, ///< the page with one dial filling it
    kPictureDigital = 185,   ///< the digital dashboard's panel
    // Ours: the same on the landscape page.
    kPictureDashboardWide = 148,
    kPictureExclusiveWide = 180,
};

/// The page a gauge sits on: it paints the part of a background picture that lies under the
/// gauge, so the dial sits seamlessly on the page.
class CGaugePage
{
public:
    virtual ~CGaugePage() = default;
    /// Paints `picture` as it lies under `area` (the gauge's rectangle in the page's pixels),
    /// with the gauge's top left corner at (0, 0) of `painter`.
    virtual void PaintBackground(QPainter &painter, const QRect &area, int picture) const = 0;
};
