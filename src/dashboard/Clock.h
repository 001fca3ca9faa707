#pragma once

#include "dashboard/Gauge.h"

/// The receiver's time of day ("Time"): analog hands or a digital face, in UTC or local time.
class CClock : public CGauge
{
    Q_OBJECT
public:
    enum Mode { kModeUTC = 1, kModeLocal = 2 };

    explicit CClock(QWidget *parent = nullptr);

    /// Seconds since midnight UTC.
    void SetTimeOfDay(double seconds);
    /// The time of day shown, in the mode's zone: seconds since midnight.
    [[nodiscard]] double GetShownSeconds() const;
    /// "hh:mm:ss".
    [[nodiscard]] QString FormatDigital() const override;
    [[nodiscard]] QString GetValueText() const override;
    /// The face carries the mode's name: a new mode needs a new face even while loading.
    void SetModeQuiet(int mode) override;
    /// "UTC" or "Local", as the face shows it.
    [[nodiscard]] QString GetZoneCaption() const;

protected:
    void DrawBackground(QPainter &painter) override;
    void DrawAnalog(QPainter &painter) override;
    void DrawDigital(QPainter &painter) override;

private:
    void DrawHourMarks(QPainter &painter);
};
