#include "ui/format/NodeSettingsWindow.h"

#include <QVBoxLayout>

#include "ui/Frames.h"

NodeSettingsWindow::NodeSettingsWindow(Rect* frame, const char* title, QWidget* view)
    : QWidget(nullptr, Qt::Window), fFrame(frame) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QString::fromUtf8(title));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    // The window is always its view's size, and the user cannot change it.
    layout->setSizeConstraint(QLayout::SetFixedSize);
    SetView(view);
    // The kept frame is the client area, as the settings keep every frame; one kept for a
    // screen that is gone, or hanging over this one's edge, comes back onto a screen.
    if (fFrame != nullptr)
        setGeometry(keptOnScreen(QRect(toQRect(*fFrame).topLeft(), sizeHint())));
    show();
}

NodeSettingsWindow::~NodeSettingsWindow() {
    if (fFrame != nullptr)
        *fFrame = toRect(geometry());
    fQuitTarget.Post(fQuitWhat);
}

void NodeSettingsWindow::SetQuitTarget(MessageTarget* target, uint32 what) {
    fQuitTarget.Set(target);
    fQuitWhat = what;
}

void NodeSettingsWindow::SetView(QWidget* view) {
    delete fView;
    fView = view;
    if (fView != nullptr)
        layout()->addWidget(fView);
}
