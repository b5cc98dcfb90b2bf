#pragma once
// A pop-up menu field: a button that shows the marked item's label (or the empty label when
// none is marked) and opens the menu. Items are checkable and exclusive; choosing one marks it
// and posts its message to the field's target.

#include <QPushButton>

#include "support/Message.h"

class MessageTarget;
class QActionGroup;
class QMenu;

class MenuField : public QPushButton {
    Q_OBJECT

public:
    MenuField(const char* emptyLabel, MessageTarget* target, QWidget* parent = nullptr);

    QMenu* Menu() const { return fMenu; }
    // Adds `item` (which the menu takes over; it may be a subclass of QAction) posting `message`.
    QAction* AddItem(QAction* item, const Message& message);
    QAction* AddItem(const QString& label, const Message& message);
    // Removes and deletes every item.
    void RemoveItems();

    // Marks `item` (null: none) and shows its label.
    void Mark(QAction* item);
    QAction* MarkedItem() const;
    QList<QAction*> Items() const;

private:
    QString fEmptyLabel;
    MessageTarget* fTarget;
    QMenu* fMenu;
    QActionGroup* fGroup;
};
