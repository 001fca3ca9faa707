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

/// Shows the box modally, or hands it to the sink when one is installed.
void ShowMessage(QWidget *parent, const CMessage &message);
/// A stop-icon box with the caption "ERROR".
void ShowError(QWidget *parent, const QString &text, const QString &details = {});

/// Tests and unattended runs install a sink so that no modal box blocks them; an empty sink
/// restores the boxes.
using MessageSink = std::function<void(const CMessage &)>;
void SetMessageSink(MessageSink sink);
