#include "app/AboutDialog.h"

#include "app/AppIcon.h"
#include "widgets/FormWidgets.h"
#include "widgets/MessageBox.h"

#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPixmap>
#include <QPushButton>
#include <QStandardPaths>
#include <QUrl>
#include <QVBoxLayout>

#include <array>

namespace
{

struct CWebPageError {
    int code;
    const char *text;
};

// Why the web page did not open, by the launcher's failure code.
constexpr std::array<CWebPageError, 8> kWebPageErrors{{
    {2, "File not found."},
    {3, "Path not found."},
    {5, "Access denied."},
    {8, "Out of Memory."},
    {26, "Cannot share an open file."},
    {27, "File association information not complete."},
    {31, "No File Association."},
    {32, "DLL not found."},
}};

constexpr int kFileNotFound = 2;
constexpr int kUnknownError = -1;

} // namespace

QString WebPageErrorText(int code)
{
    for (const CWebPageError &e : kWebPageErrors)
        if (e.code == code)
            return QString::fromLatin1(e.text);
    return QStringLiteral("An unknown ERROR occured.");
}

CAboutDialog::CAboutDialog(QWidget *parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("aboutDialog"));
    setWindowTitle(tr("About Veloran"));

    auto *picture = new QLabel(this);
    picture->setObjectName(QStringLiteral("aboutPicture"));
    const int side = 128;
    const qreal dpr = devicePixelRatioF();
    QPixmap pixmap = AppIcon().pixmap(QSize(side, side), dpr);
    picture->setPixmap(pixmap);
    picture->setAlignment(Qt::AlignCenter);

    auto *title = new QLabel(QStringLiteral("Veloran"), this);
    title->setObjectName(QStringLiteral("aboutTitle"));
    QFont titleFont = title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.8);
    titleFont.setBold(true);
    title->setFont(titleFont);
    title->setAlignment(Qt::AlignCenter);

    auto *version = new QLabel(tr("Version %1").arg(QStringLiteral(VELORAN_VERSION)), this);
    version->setObjectName(QStringLiteral("aboutVersion"));
    version->setAlignment(Qt::AlignCenter);
    version->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto *credit = new QLabel(tr("World map: Blue Marble, NASA Earth Observatory"), this);
    credit->setObjectName(QStringLiteral("aboutCredit"));
    credit->setAlignment(Qt::AlignCenter);

    auto *webPage = new QPushButton(tr("Web page"), this);
    webPage->setObjectName(QStringLiteral("webPageButton"));
    webPage->setAutoDefault(false);
    webPage->setToolTip(QString::fromLatin1(kWebPageUrl));
    connect(webPage, &QPushButton::clicked, this, &CAboutDialog::OpenWebPage);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);

    auto *layout = new QVBoxLayout(this);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->setContentsMargins(24, 20, 24, 16);
    layout->setSpacing(10);
    layout->addWidget(picture);
    layout->addWidget(title);
    layout->addWidget(version);
    layout->addWidget(credit);
    layout->addWidget(webPage, 0, Qt::AlignHCenter);
    layout->addSpacing(6);
    layout->addWidget(buttons);
    GiveMnemonics(*this);
}

void CAboutDialog::OpenWebPage()
{
    if (QDesktopServices::openUrl(QUrl(QString::fromLatin1(kWebPageUrl))))
        return;
    // The desktop does not say why it failed; a missing opener is the one cause we can name.
    const bool haveOpener = !QStandardPaths::findExecutable(QStringLiteral("xdg-open")).isEmpty();
    ShowMessage(this, {QString(), WebPageErrorText(haveOpener ? kUnknownError : kFileNotFound),
                       QMessageBox::NoIcon, QString()});
}
