#pragma once

#include <QObject>

class QSoundEffect;

/// The two fix cues and the speed alarm, played from the program's own resources.
///
/// Play never waits for the sound device. A missing or busy device is not an error: the cue is
/// skipped, nothing is shown, and the first failure is logged under "veloran.sound".
/// The newest cue wins: a cue requested while another (or the same) still sounds stops it and
/// starts from the beginning, so what is heard always matches the current fix state.
class CFixSound : public QObject
{
    Q_OBJECT
public:
    enum class Kind { FixGained, FixLost, SpeedAlarm };

    /// Starts loading every sound, so the first cue is not late.
    explicit CFixSound(QObject *parent = nullptr);
    ~CFixSound() override;

    void Play(Kind kind);

private:
    QSoundEffect *Effect(Kind kind) const;
    void Watch(QSoundEffect *effect);

    QSoundEffect *m_gained = nullptr;
    QSoundEffect *m_lost = nullptr;
    QSoundEffect *m_alarm = nullptr;
    bool m_reported = false; // one log line per run is enough
};
