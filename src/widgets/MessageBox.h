#pragma once

#include <QMessageBox>
#include <QString>

#include <functional>

/// One message box of the program: caption, text, icon, and optional details (an errno text).
struct CMessage {
    QString caption;
    QString text;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QString details;
};

/// Caption of every error box.
inline constexpr const char *kErrorCaption = "ERROR";

/// Shows the box modally, or hands it to the sink when one is installed. Errors and warnings
/// also go to standard error, whether or not a box shows.
void ShowMessage(QWidget *parent, const CMessage &message);
/// A stop-icon box with the caption "ERROR".
void ShowError(QWidget *parent, const QString &text, const QString &details = {});
/// For failures met while received lines are handled: standard error at once, the box once the
/// event loop runs again (its own event loop must not run while the reader waits).
void ShowErrorLater(QWidget *parent, const QString &text, const QString &details = {});

/// A yes/no question (icon Question); true for Yes. With a sink installed the sink gets it and
/// the answer is the one set by SetQuestionAnswer; an unattended run answers No.
bool AskQuestion(QWidget *parent, const QString &caption, const QString &text);
/// The box's sign tinted as the window is at night; by day nothing changes.
void FollowNight(QMessageBox &box);
void SetQuestionAnswer(bool yes);

/// A run without anyone to click (--quit-after-replay, --screenshot): no box is shown, the
/// errors are only written to standard error.
void SetUnattended(bool unattended);
[[nodiscard]] bool IsUnattended();
/// Errors raised so far, shown or not: an unattended run that had one has failed.
[[nodiscard]] int GetErrorCount();

/// Tests install a sink so that no modal box blocks them; an empty sink restores the boxes.
using MessageSink = std::function<void(const CMessage &)>;
void SetMessageSink(MessageSink sink);
