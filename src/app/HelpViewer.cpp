#include "app/HelpViewer.h"

#include "app/AppIcon.h"

#include <QAction>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QKeySequence>
#include <QPointer>
#include <QScreen>
#include <QStyle>
#include <QTextBrowser>
#include <QToolBar>

namespace
{

QPointer<CHelpViewer> &Current()
{
    static QPointer<CHelpViewer> viewer;
    return viewer;
}

} // namespace

QUrl CHelpViewer::HomeUrl()
{
    return QUrl(QStringLiteral("qrc:/help/Veloran.html#Main_Contents"));
}

void CHelpViewer::ShowHelp(QWidget *parent)
{
    CHelpViewer *viewer = Current();
    if (!viewer) {
        viewer = new CHelpViewer(parent);
        Current() = viewer;
    }
    viewer->show();
    if (viewer->isMinimized())
        viewer->showNormal();
    viewer->raise();
    viewer->activateWindow();
}

CHelpViewer *CHelpViewer::Instance()
{
    return Current();
}

CHelpViewer::CHelpViewer(QWidget *parent)
    : QMainWindow(parent, Qt::Window)
    , m_browser(new QTextBrowser(this))
{
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("helpViewer"));
    setWindowTitle(tr("Veloran Help"));
    setWindowIcon(AppIcon());

    // Links are handled here: pages of the help stay in the browser, the web goes to the
    // user's browser instead of being fetched as a help page.
    m_browser->setOpenLinks(false);
    m_browser->setOpenExternalLinks(false);
    m_browser->setObjectName(QStringLiteral("helpBrowser"));
    connect(m_browser, &QTextBrowser::anchorClicked, this, &CHelpViewer::OnLink);
    setCentralWidget(m_browser);

    QToolBar *bar = addToolBar(tr("Navigation"));
    bar->setMovable(false);
    bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    QAction *back = bar->addAction(style()->standardIcon(QStyle::SP_ArrowBack), tr("Back"),
                                   m_browser, &QTextBrowser::backward);
    back->setShortcut(QKeySequence::Back);
    back->setEnabled(false);
    QAction *forward = bar->addAction(style()->standardIcon(QStyle::SP_ArrowForward), tr("Forward"),
                                      m_browser, &QTextBrowser::forward);
    forward->setShortcut(QKeySequence::Forward);
    forward->setEnabled(false);
    QAction *home = bar->addAction(style()->standardIcon(QStyle::SP_DirHomeIcon), tr("Contents"),
                                   m_browser, &QTextBrowser::home);
    home->setShortcut(Qt::ALT | Qt::Key_Home);
    connect(m_browser, &QTextBrowser::backwardAvailable, back, &QAction::setEnabled);
    connect(m_browser, &QTextBrowser::forwardAvailable, forward, &QAction::setEnabled);

    auto *close = new QAction(this);
    close->setObjectName(QStringLiteral("closeHelp"));
    close->setShortcuts({QKeySequence(Qt::Key_Escape), QKeySequence(Qt::CTRL | Qt::Key_W)});
    connect(close, &QAction::triggered, this, &QWidget::close);
    addAction(close);

    m_browser->setSource(HomeUrl());

    QSize size(720, 800);
    if (const QScreen *screen = parent ? parent->screen() : QGuiApplication::primaryScreen())
        size = size.boundedTo(screen->availableSize() * 0.9);
    resize(size);
}

void CHelpViewer::OnLink(const QUrl &url)
{
    const QString scheme = url.scheme();
    if (scheme == QLatin1String("http") || scheme == QLatin1String("https")
        || scheme == QLatin1String("mailto")) {
        QDesktopServices::openUrl(url);
        return;
    }
    m_browser->setSource(m_browser->source().resolved(url));
}
