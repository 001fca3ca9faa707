#pragma once

#include <QMainWindow>
#include <QUrl>

class QTextBrowser;

/// The program's help: one non-modal window over the help page compiled into the program.
class CHelpViewer : public QMainWindow
{
    Q_OBJECT
public:
    /// Where the help opens, and where "Home" returns: the table of contents.
    static QUrl HomeUrl();

    /// Opens the help at its contents, or brings an open help window to the front where the
    /// reader left it. The window closes with `parent` and deletes itself when closed.
    static void ShowHelp(QWidget *parent);
    /// The open help window, or null.
    [[nodiscard]] static CHelpViewer *Instance();

    [[nodiscard]] QTextBrowser *Browser() const { return m_browser; }

private:
    explicit CHelpViewer(QWidget *parent);
    void OnLink(const QUrl &url);

    QTextBrowser *m_browser;
};
