#pragma once

class QMainWindow;
class QTabWidget;
class QWidget;

/// Keys that stand in for the pointer in `window`: F10 opens the first menu of its menu bar,
/// the Menu key and Shift+F10 open the menu of the focused widget. The window's own menu of
/// tool bars is switched off, so the Menu key never lands there.
void AddMenuKeys(QMainWindow &window);

/// Sends the focused widget of `window` the context menu event of a keyboard; widgets without a
/// menu pass it on to their parents as they do a right click.
void OpenFocusedMenu(QWidget &window);

/// Ctrl+PgDn and Ctrl+PgUp turn the pages of `pages` from anywhere in `window`, wrapping round;
/// Ctrl+Tab works only where the focus lies inside the pages.
void AddPageKeys(QMainWindow &window, QTabWidget &pages);
