#pragma once

class QWidget;

/// Every dialog and secondary window of the program, Qt's file dialogs included, opens no larger
/// than the free part of its screen: a dialog whose form needs more gets a scroll bar, its
/// buttons staying in view below it. Message boxes size themselves. Installed once for the
/// application; later calls do nothing.
void InstallScreenFit();

/// What InstallScreenFit does to a window about to show; for a window shown otherwise.
void FitToScreen(QWidget &window);
