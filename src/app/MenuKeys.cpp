#include "app/MenuKeys.h"

#include <QAction>
#include <QApplication>
#include <QContextMenuEvent>
#include <QMainWindow>
#include <QMenuBar>
#include <QTabWidget>

#include <utility>

void AddMenuKeys(QMainWindow &window)
{
    window.setContextMenuPolicy(Qt::NoContextMenu);

    auto *menuBar = new QAction(&window);
    menuBar->setObjectName(QStringLiteral("openMenuBar"));
    menuBar->setShortcut(Qt::Key_F10);
    QObject::connect(menuBar, &QAction::triggered, &window, [&window] {
        const QList<QAction *> menus = window.menuBar()->actions();
        if (!menus.isEmpty())
            window.menuBar()->setActiveAction(menus.first());
    });
    window.addAction(menuBar);

    // X11 turns the Menu key into a context menu event of its own, before the key reaches a
    // shortcut; other platforms and Shift+F10 come here.
    auto *focusMenu = new QAction(&window);
    focusMenu->setObjectName(QStringLiteral("openFocusedMenu"));
    focusMenu->setShortcuts({QKeySequence(Qt::Key_Menu), QKeySequence(Qt::SHIFT | Qt::Key_F10)});
    QObject::connect(focusMenu, &QAction::triggered, &window,
                     [&window] { OpenFocusedMenu(window); });
    window.addAction(focusMenu);
}

void OpenFocusedMenu(QWidget &window)
{
    QWidget *focus = window.focusWidget();
    if (focus == nullptr || !focus->isEnabled() || !focus->isVisible())
        return;
    const QPoint centre = focus->rect().center();
    QContextMenuEvent event(QContextMenuEvent::Keyboard, centre, focus->mapToGlobal(centre),
                            QApplication::keyboardModifiers());
    QCoreApplication::sendEvent(focus, &event);
}

void AddPageKeys(QMainWindow &window, QTabWidget &pages)
{
    for (const auto &[key, step] :
         {std::pair{Qt::Key_PageDown, 1}, std::pair{Qt::Key_PageUp, -1}}) {
        auto *turn = new QAction(&window);
        turn->setShortcut(Qt::CTRL | key);
        QObject::connect(turn, &QAction::triggered, &pages, [&pages, step] {
            const int count = pages.count();
            if (count > 0)
                pages.setCurrentIndex((pages.currentIndex() + step + count) % count);
        });
        window.addAction(turn);
    }
}
