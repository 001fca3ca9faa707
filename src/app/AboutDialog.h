#pragma once

#include "base/WebAddress.h"

#include <QDialog>
#include <QString>

/// The message for a failure to open the web page, by error code (2 file not found, 3 path not
/// found, 5 access denied, ...); any other code gives the general message.
QString WebPageErrorText(int code);

/// "About Veloran": the name, the version, the picture and a button to the web page.
class CAboutDialog : public QDialog
{
    Q_OBJECT
public:
    explicit CAboutDialog(QWidget *parent = nullptr);

    /// Opens kWebPageUrl in the user's browser; on failure tells the user why, as far as known.
    void OpenWebPage();
};
