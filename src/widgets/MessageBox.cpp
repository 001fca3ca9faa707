#include "widgets/MessageBox.h"

#include "widgets/NightPalette.h"

#include <QApplication>
#include <QImage>
#include <QPixmap>
#include <QPointer>
#include <QTimer>

#include <cstdio>

namespace
{

struct SMessages {
    MessageSink sink;
    bool unattended = false;
    bool answer = false;
    int errors = 0;
};

SMessages &Messages()
{
    static SMessages messages;
    return messages;
}

// "veloran: ERROR: Failed to create log file. (/x/y.nmea: Permission denied)", or
// "veloran: warning: ..."
void Announce(const CMessage &message)
{
    const bool error = message.icon == QMessageBox::Critical;
    if (!error && message.icon != QMessageBox::Warning)
        return;
    if (error)
        ++Messages().errors;
    QString line =
        (error ? message.caption : QStringLiteral("warning")) + QStringLiteral(": ") + message.text;
    line.replace(QLatin1Char('\n'), QLatin1Char(' '));
    if (!message.details.isEmpty())
        line += QStringLiteral(" (") + message.details + QLatin1Char(')');
    std::fprintf(stderr, "veloran: %s\n", qPrintable(line));
    std::fflush(stderr);
}

void Present(QWidget *parent, const CMessage &message)
{
    QMessageBox box(message.icon, message.caption, message.text, QMessageBox::Ok, parent);
    FollowNight(box);
    if (!message.details.isEmpty())
        box.setDetailedText(message.details);
    box.exec();
}

CMessage ErrorMessage(const QString &text, const QString &details)
{
    return {QString::fromLatin1(kErrorCaption), text, QMessageBox::Critical, details};
}

} // namespace

void ShowMessage(QWidget *parent, const CMessage &message)
{
    if (Messages().sink) {
        Messages().sink(message);
        return;
    }
    Announce(message);
    if (!Messages().unattended)
        Present(parent, message);
}

void ShowError(QWidget *parent, const QString &text, const QString &details)
{
    ShowMessage(parent, ErrorMessage(text, details));
}

void ShowErrorLater(QWidget *parent, const QString &text, const QString &details)
{
    const CMessage message = ErrorMessage(text, details);
    if (Messages().sink || Messages().unattended) {
        ShowMessage(parent, message);
        return;
    }
    Announce(message);
    QTimer::singleShot(0, qApp,
                       [parent = QPointer<QWidget>(parent), message] { Present(parent, message); });
}

void SetUnattended(bool unattended)
{
    Messages().unattended = unattended;
}

bool IsUnattended()
{
    return Messages().unattended;
}

int GetErrorCount()
{
    return Messages().errors;
}

bool AskQuestion(QWidget *parent, const QString &caption, const QString &text)
{
    if (Messages().sink) {
        Messages().sink({caption, text, QMessageBox::Question, {}});
        return Messages().answer;
    }
    if (Messages().unattended)
        return false;
    QMessageBox box(QMessageBox::Question, caption, text, QMessageBox::Yes | QMessageBox::No,
                    parent);
    FollowNight(box);
    return box.exec() == QMessageBox::Yes;
}

void SetQuestionAnswer(bool yes)
{
    Messages().answer = yes;
}

void SetMessageSink(MessageSink sink)
{
    Messages().sink = std::move(sink);
}

// The style's signs are yellow and blue: at night they are tinted as the rest of the window.
void FollowNight(QMessageBox &box)
{
    if (!CNightPalette::IsApplied() || box.iconPixmap().isNull())
        return;
    QImage sign = box.iconPixmap().toImage();
    CNightPalette::Tint(sign);
    box.setIconPixmap(QPixmap::fromImage(sign));
}
