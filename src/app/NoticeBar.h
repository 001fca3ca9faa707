#pragma once

#include <QLabel>

class CDisplaySettings;
class QTimer;

/// The notice above the pages: shown only while there is something to say (a receiver gone or
/// back, a database reloaded), amber by day and a dim red at night.
class CNoticeBar : public QLabel
{
    Q_OBJECT
public:
    CNoticeBar(const CDisplaySettings &display, QWidget *parent);

    /// Shows `text`; it hides itself after `hideAfterMs`, or stays while 0.
    void ShowFor(const QString &text, int hideAfterMs);
    void Dismiss();
    /// The text while it shows, else empty.
    [[nodiscard]] QString GetShownText() const;
    /// Its text grows with the window, as the pages do.
    void FitTo(int windowWidth);

private:
    void Restyle();

    const CDisplaySettings &m_display;
    QTimer *m_hide = nullptr;
    int m_windowWidth = 0;
};
