#include "receiver/FixSound.h"

#include <QLoggingCategory>
#include <QSoundEffect>
#include <QUrl>

namespace
{
Q_LOGGING_CATEGORY(lcSound, "veloran.sound")
} // namespace

CFixSound::CFixSound(QObject *parent)
    : QObject(parent)
    , m_gained(new QSoundEffect(this))
    , m_lost(new QSoundEffect(this))
    , m_alarm(new QSoundEffect(this))
{
    m_gained->setSource(QUrl(QStringLiteral("qrc:/sounds/fix-gained.wav")));
    m_lost->setSource(QUrl(QStringLiteral("qrc:/sounds/fix-lost.wav")));
    m_alarm->setSource(QUrl(QStringLiteral("qrc:/sounds/speed-alarm.wav")));
    Watch(m_gained);
    Watch(m_lost);
    Watch(m_alarm);
}

CFixSound::~CFixSound() = default;

QSoundEffect *CFixSound::Effect(Kind kind) const
{
    switch (kind) {
    case Kind::FixGained:
        return m_gained;
    case Kind::FixLost:
        return m_lost;
    case Kind::SpeedAlarm:
        break;
    }
    return m_alarm;
}

void CFixSound::Watch(QSoundEffect *effect)
{
    connect(effect, &QSoundEffect::statusChanged, this, [this, effect] {
        if (effect->status() != QSoundEffect::Error || m_reported)
            return;
        m_reported = true;
        qCInfo(lcSound) << "fix sounds unavailable:" << effect->source().toString()
                        << "could not be played (no sound device?)";
    });
}

void CFixSound::Play(Kind kind)
{
    QSoundEffect *wanted = Effect(kind);
    for (QSoundEffect *other : {m_gained, m_lost, m_alarm})
        if (other != wanted && other->isPlaying())
            other->stop();
    // Restart rather than queue: a late "fix gained" after the fix was lost again would mislead.
    if (wanted->isPlaying())
        wanted->stop();
    wanted->play();
}
