#pragma once

#include "receiver/StatusText.h"

#include <QWidget>

class CDisplaySettings;

/// The line below the pages: the source, the fix and its age, the recording and any alarm, as
/// StatusTexts decides them. It repaints only when a text changed.
class CStatusLine : public QWidget
{
    Q_OBJECT
public:
    CStatusLine(const CDisplaySettings &display, QWidget *parent);

    void SetTexts(const CStatusTexts &texts);
    [[nodiscard]] const CStatusTexts &GetTexts() const { return m_texts; }
    /// The parts as one line, as it reads on the screen when nothing is cut.
    [[nodiscard]] QString GetText() const;
    /// Its text grows with the window, as the pages' does.
    void FitTo(const QSize &windowSize);
    /// Times it painted, for the tests of its repaints.
    [[nodiscard]] int GetPaintCount() const { return m_paints; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    const CDisplaySettings &m_display;
    CStatusTexts m_texts;
    int m_paints = 0;
};
