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
{
    m_gained->setSource(QUrl(QStringLiteral("qrc:/sounds/fix-gained.wav")));
    m_lost->setSource(QUrl(QStringLiteral("qrc:/sounds/fix-lost.wav")));
    Watch(m_gained);
    Watch(m_lost);
}

CFixSound::~CFixSound() = default;

QSoundEffect *CFixSound::Effect(Kind kind) const
{
    return kind == Kind::FixGained ? m_gained : m_lost;
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
    QSoundEffect *other = wanted == m_gained ? m_lost : m_gained;
    if (other->isPlaying())
        other->stop();
    // Restart rather than queue: a late "fix gained" after the fix was lost again would mislead.
    if (wanted->isPlaying())
        wanted->stop();
    wanted->play();
}
