#pragma once

#include "base/GeoPosition.h"
#include "dashboard/Mileage.h"
#include "dashboard/ScaleGauge.h"

#include <ctime>

/// Distance travelled ("Mileage"): a trip and a total, in km, miles or nautical miles. Its modes
/// are the unit systems' numbers.
class CMileageCounter : public CScaleGauge
{
    Q_OBJECT
public:
    enum Action { kActionResetTrip = 1, kActionResetTotal = 2 };

    explicit CMileageCounter(QWidget *parent = nullptr);

    /// One position/time sample with a fix and the receiver's speed; replayed samples count
    /// for the trip only.
    void AddSample(const CGeoPosition &position, std::time_t time, double speedKmh, bool replay);
    void SetMode(int mode) override;
    void SetModeQuiet(int mode) override;
    /// "MileageTotal", metres.
    void SetTotal(double metres);
    [[nodiscard]] const CMileage &GetMileage() const { return m_mileage; }
    /// "Reset Trip", "Reset Total".
    void OnAction(int index) override;
    /// Reset Gauges leaves the mileage alone.
    void Reset() override;
    /// The trip.
    [[nodiscard]] QString GetValueText() const override;
    /// The trip and the total.
    [[nodiscard]] QStringList InfoItems() const override;

private:
    /// Metres in the mode's unit.
    [[nodiscard]] double InUnit(double metres) const;
    /// The mode's unit system.
    [[nodiscard]] UnitSystem Units() const;
    void Show();
    [[nodiscard]] QString DistanceText(double metres) const;

    CMileage m_mileage;
};
