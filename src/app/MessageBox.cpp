#include "app/MessageBox.h"

namespace
{

MessageSink &Sink()
{
    static MessageSink sink;
    return sink;
}

} // namespace

void ShowMessage(QWidget *parent, const CMessage &message)
{
    if (Sink()) {
        Sink()(message);
        return;
    }
    QMessageBox box(message.icon, message.caption, message.text, QMessageBox::Ok, parent);
    if (!message.details.isEmpty())
        box.setDetailedText(message.details);
    box.exec();
}

void ShowError(QWidget *parent, const QString &text, const QString &details)
{
    ShowMessage(parent, {QString::fromLatin1(kErrorCaption), text, QMessageBox::Critical, details});
}

void SetMessageSink(MessageSink sink)
{
    Sink() = std::move(sink);
}
