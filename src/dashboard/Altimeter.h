#pragma once

#include "dashboard/ScaleGauge.h"

#include <memory>

class QDialog;

/// Height above sea level plus the user's correction ("Altitude"), in metres or feet. Its modes
/// are the numbers of the metric and imperial unit systems; it has no nautical one.
class CAltimeter : public CScaleGauge
{
    Q_OBJECT
public:
    static constexpr double kMetresPerFoot = 0.3048;

    explicit CAltimeter(QWidget *parent = nullptr);

    /// Height in metres, as the receiver gives it; shown with the offset, in the mode's unit.
    void SetValue(double metres) override;
    void SetMode(int mode) override;
    void SetModeQuiet(int mode) override;
    /// The correction added to every height, in metres ("AltimeterOffset").
    void SetOffset(double metres);
    [[nodiscard]] double GetOffset() const { return m_offset; }
    /// "Correction Offset": a small dialog for the offset.
    void OnAction(int index) override;
    [[nodiscard]] QString GetValueText() const override;
    /// The value text, and the offset when there is one.
    [[nodiscard]] QStringList InfoItems() const override;
    /// Tenths below a thousand, whole units above.
    [[nodiscard]] QString FormatDigital() const override;

    /// The "Correction Offset" dialog, holding the offset in the mode's unit; OnAction runs it.
    [[nodiscard]] std::unique_ptr<QDialog> CreateOffsetDialog(QWidget *parent) const;
    /// Takes the offset from an accepted dialog of CreateOffsetDialog.
    void AcceptOffsetDialog(const QDialog &dialog);

private:
    /// The mode's unit system: metric or imperial.
    [[nodiscard]] UnitSystem Units() const;
    /// Metres in the mode's unit.
    [[nodiscard]] double InUnit(double metres) const;
    void Show();

    double m_offset = 0.0;
    double m_metres = 0.0;
};
