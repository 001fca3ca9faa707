#include "receiver/SystemClock.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QObject>
#include <QPointer>

#include <cerrno>
#include <cstring>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace
{

// Long enough for someone to type a password into the authorisation prompt.
constexpr int kTimeServiceTimeoutMs = 120'000;

bool MayChangeClock()
{
    __user_cap_header_struct header{};
    header.version = _LINUX_CAPABILITY_VERSION_3;
    header.pid = 0;
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3]{};
    if (syscall(SYS_capget, &header, data) != 0)
        return geteuid() == 0;
    return (data[CAP_TO_INDEX(CAP_SYS_TIME)].effective & CAP_TO_MASK(CAP_SYS_TIME)) != 0;
}

void Deliver(QObject *context, const SetClockDone &done, bool ok, const QString &detail)
{
    // Queued even on the same thread: the caller never sees `done` run inside its own call.
    QMetaObject::invokeMethod(
        context, [done, ok, detail] { done(ok, detail); }, Qt::QueuedConnection);
}

QString DescribeError(const QDBusError &error)
{
    QString text = error.name() + QStringLiteral(": ") + error.message();
    if (error.name() == QLatin1String("org.freedesktop.timedate1.AutomaticTimeSyncEnabled"))
        text += QStringLiteral(
            "\nAutomatic time synchronisation (NTP) is on, so the time service keeps the clock "
            "itself. Switch it off (timedatectl set-ntp false) to set the clock from GPS.");
    return text;
}

} // namespace

void SetSystemClockUtc(std::time_t utc, QObject *context, SetClockDone done)
{
    if (!MayChangeClock()) {
        SetSystemClockUtcViaTimeService(utc, context, std::move(done));
        return;
    }
    timespec ts{};
    ts.tv_sec = utc;
    ts.tv_nsec = 0;
    if (clock_settime(CLOCK_REALTIME, &ts) == 0) {
        Deliver(context, done, true, {});
        return;
    }
    const int err = errno;
    if (err == EPERM) {
        // The capability said yes but a sandbox said no; the time service may still manage.
        SetSystemClockUtcViaTimeService(utc, context, std::move(done));
        return;
    }
    Deliver(context, done, false,
            QStringLiteral("clock_settime: %1").arg(QString::fromLocal8Bit(std::strerror(err))));
}

void SetSystemClockUtcViaTimeService(std::time_t utc, QObject *context, SetClockDone done)
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        QString detail = QStringLiteral("no system D-Bus to reach the time service");
        if (const QDBusError error = bus.lastError(); error.isValid())
            detail += QStringLiteral(" (") + error.message() + QLatin1Char(')');
        Deliver(context, done, false, detail);
        return;
    }

    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.timedate1"), QStringLiteral("/org/freedesktop/timedate1"),
        QStringLiteral("org.freedesktop.timedate1"), QStringLiteral("SetTime"));
    const qlonglong usecUtc = static_cast<qlonglong>(utc) * 1'000'000;
    call << usecUtc << false /* relative */ << true /* interactive */;
    call.setInteractiveAuthorizationAllowed(true);

    auto *watcher =
        new QDBusPendingCallWatcher(bus.asyncCall(call, kTimeServiceTimeoutMs), nullptr);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished,
                     [guard = QPointer<QObject>(context), done](QDBusPendingCallWatcher *w) {
                         const QDBusPendingReply<> reply = *w;
                         w->deleteLater();
                         if (!guard)
                             return;
                         if (reply.isError())
                             Deliver(guard, done, false, DescribeError(reply.error()));
                         else
                             Deliver(guard, done, true, {});
                     });
}
