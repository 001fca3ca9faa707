#pragma once

#include <QLabel>

class CDisplaySettings;

/// The speed alarm's warning above the pages, over every one of them while it shows: white on
/// red by day, the night palette's red at night.
class CSpeedWarningBar : public QLabel
{
    Q_OBJECT
public:
    CSpeedWarningBar(const CDisplaySettings &display, QWidget *parent);

    /// Shows `text`; empty hides the bar.
    void SetWarning(const QString &text);
    /// Its text grows with the window, as the pages' does.
    void FitTo(int windowWidth);

private:
    void Restyle();

    const CDisplaySettings &m_display;
    int m_windowWidth = 0;
};
