#pragma once

#include <QWidget>

class CDashboard;

/// The digital dashboard: big read-outs of speed, heading, altitude, time and trip, from the
/// dashboard's instruments, full screen, readable from two metres. Esc or a tap returns.
class CDigiDash : public QWidget
{
    Q_OBJECT
public:
    explicit CDigiDash(const CDashboard &dashboard, QWidget *parent = nullptr);

    /// Reads the instruments again and repaints (the dashboard calls it when they change).
    void Refresh();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    const CDashboard &m_dashboard;
};
