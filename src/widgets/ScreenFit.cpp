#include "widgets/ScreenFit.h"

#include "widgets/WindowPlacement.h"

#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QEvent>
#include <QLayout>
#include <QMessageBox>
#include <QScreen>
#include <QScrollArea>
#include <QVBoxLayout>
#include <QWindow>

namespace
{

constexpr const char *kScrollName = "screenFitScroll";

CScreenRect ScreenRect(const QRect &r)
{
    return {r.x(), r.y(), r.width(), r.height()};
}

// Until the window manager has framed a window its frame is unknown: a title bar and a
// border are assumed then.
constexpr CFrameMargins kGuessedFrame{4, 32, 4, 4};

CFrameMargins MarginsOf(const QWidget &window)
{
    const QWindow *handle = window.windowHandle();
    if (handle == nullptr || (window.windowState() & Qt::WindowFullScreen) != 0)
        return {};
    const QMargins m = handle->frameMargins();
    return {m.left(), m.top(), m.right(), m.bottom()};
}

// The frame the window manager puts around the window: its own when known, else the parent's,
// else a guess.
CFrameMargins FrameOf(const QWidget &window)
{
    const auto known = [](const CFrameMargins &m) {
        return m.left > 0 || m.top > 0 || m.right > 0 || m.bottom > 0;
    };
    const CFrameMargins own = MarginsOf(window);
    if (known(own))
        return own;
    const QWidget *parent = window.parentWidget();
    const CFrameMargins parents = parent != nullptr ? MarginsOf(*parent->window()) : own;
    return known(parents) ? parents : kGuessedFrame;
}

// The dialog's form moves into a scroll area; a button box at the foot of the form stays below
// it, so OK and Cancel are always in view.
void ScrollContents(QDialog &dialog)
{
    QLayout *form = dialog.layout();
    if (form == nullptr || dialog.findChild<QScrollArea *>(QLatin1String(kScrollName)) != nullptr)
        return;
    QDialogButtonBox *buttons = nullptr;
    if (form->count() > 0)
        buttons = qobject_cast<QDialogButtonBox *>(form->itemAt(form->count() - 1)->widget());
    if (buttons != nullptr)
        delete form->takeAt(form->count() - 1);
    const QMargins margins = form->contentsMargins();
    auto *inner = new QWidget;
    inner->setLayout(form); // takes it from the dialog, with its widgets
    auto *scroll = new QScrollArea(&dialog);
    scroll->setObjectName(QLatin1String(kScrollName));
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setWidget(inner);
    auto *outer = new QVBoxLayout(&dialog);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(scroll, 1);
    if (buttons != nullptr) {
        buttons->setContentsMargins(margins.left(), 0, margins.right(), margins.bottom());
        outer->addWidget(buttons);
    }
}

class CScreenFitFilter : public QObject
{
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Show && watched->isWidgetType()) {
            auto *widget = static_cast<QWidget *>(watched);
            // The main window places itself; popups and tool tips are Qt's.
            const Qt::WindowType type = widget->windowType();
            if (widget->isWindow() && widget->parentWidget() != nullptr
                && (type == Qt::Dialog || type == Qt::Window))
                FitToScreen(*widget);
        }
        return QObject::eventFilter(watched, event);
    }
};

} // namespace

void FitToScreen(QWidget &window)
{
    const QScreen *screen = window.screen();
    if (screen == nullptr || qobject_cast<QMessageBox *>(&window) != nullptr
        || (window.windowState() & (Qt::WindowFullScreen | Qt::WindowMaximized)) != 0)
        return;
    const CScreenRect available = ScreenRect(screen->availableGeometry());
    const CFrameMargins frame = FrameOf(window);
    const int roomWidth = available.width - frame.left - frame.right;
    const int roomHeight = available.height - frame.top - frame.bottom;
    auto *dialog = qobject_cast<QDialog *>(&window);
    const QSize needed = window.minimumSizeHint().expandedTo(window.minimumSize());
    if (dialog != nullptr && (needed.width() > roomWidth || needed.height() > roomHeight)) {
        ScrollContents(*dialog);
        // The dialog's minimum size is the new layout's from now on, not the form's.
        dialog->layout()->activate();
    }
    const QSize size = window.size().boundedTo(QSize(roomWidth, roomHeight));
    if (size != window.size())
        window.resize(size);
    // A dialog not placed by us is centred over its parent by Qt, within the screen.
    if (window.testAttribute(Qt::WA_Moved)) {
        const CScreenRect fitted = FitWithin(ScreenRect(window.geometry()), available, frame);
        window.move(fitted.x, fitted.y);
    }
}

void InstallScreenFit()
{
    static CScreenFitFilter *filter = nullptr;
    if (filter != nullptr || qApp == nullptr)
        return;
    filter = new CScreenFitFilter(qApp);
    qApp->installEventFilter(filter);
}
