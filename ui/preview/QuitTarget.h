#pragma once
// Where a preview window reports that it exists and that it is gone. The target is not
// owned; when it is a QObject (a window), nothing is posted to it after its destruction, so a
// preview that outlives the main window never posts into a dead one.

#include <QObject>
#include <QPointer>

#include "support/Message.h"
#include "support/MessageTarget.h"

class QuitTarget {
public:
    void Set(MessageTarget* target) {
        fTarget = target;
        fObject = dynamic_cast<QObject*>(target);
        fIsObject = fObject != nullptr;
    }

    // GUI thread.
    void Post(uint32 what) const { Post(Message(what)); }
    void Post(const Message& message) const {
        if (fTarget == nullptr || (fIsObject && fObject.isNull()))
            return;
        fTarget->PostMessage(message);
    }

private:
    MessageTarget* fTarget = nullptr;
    QPointer<QObject> fObject;
    bool fIsObject = false;
};
