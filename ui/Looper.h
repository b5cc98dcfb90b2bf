#pragma once
// A window's or view's message entry: PostMessage from any thread queues the message onto
// the GUI thread, where it ends in MessageReceived. The message tables of the windows stay
// the one place that says what happens; Qt signals of menus, buttons and fields are turned
// into posted messages too.

#include <QMetaObject>
#include <QObject>

#include "support/MessageTarget.h"

class Looper : public MessageTarget {
public:
    // `context` is the QObject this looper is part of (normally `this` of the window): a
    // message still queued when it is destroyed is dropped, never delivered to a dead object.
    explicit Looper(QObject* context) : fContext(context) {}

    status_t PostMessage(const Message& message) override {
        // Qt calls the functor as const: the handler gets a copy it may change.
        bool queued = QMetaObject::invokeMethod(
            fContext,
            [this, message]() {
                Message received(message);
                MessageReceived(&received);
            },
            Qt::QueuedConnection);
        return queued ? B_OK : B_ERROR;
    }
    using MessageTarget::PostMessage;

    // On the GUI thread.
    virtual void MessageReceived(Message* message) = 0;

private:
    QObject* fContext;
};
