#include "ui/widgets/MenuField.h"

#include <QActionGroup>
#include <QMenu>

#include "support/MessageTarget.h"

MenuField::MenuField(const char* emptyLabel, MessageTarget* target, QWidget* parent)
    : QPushButton(QString::fromUtf8(emptyLabel), parent),
      fEmptyLabel(QString::fromUtf8(emptyLabel)),
      fTarget(target) {
    fMenu = new QMenu(this);
    fGroup = new QActionGroup(this);
    fGroup->setExclusionPolicy(QActionGroup::ExclusionPolicy::Exclusive);
    setMenu(fMenu);
}

QAction* MenuField::AddItem(QAction* item, const Message& message) {
    item->setParent(fMenu);
    item->setCheckable(true);
    fGroup->addAction(item);
    fMenu->addAction(item);
    connect(item, &QAction::triggered, this, [this, item, message] {
        Mark(item);
        if (fTarget != nullptr)
            fTarget->PostMessage(message);
    });
    return item;
}

QAction* MenuField::AddItem(const QString& label, const Message& message) {
    return AddItem(new QAction(label), message);
}

void MenuField::RemoveItems() {
    for (QAction* item : fMenu->actions()) {
        fMenu->removeAction(item);
        fGroup->removeAction(item);
        delete item;
    }
    setText(fEmptyLabel);
}

void MenuField::Mark(QAction* item) {
    if (item != nullptr) {
        item->setChecked(true);
    } else if (QAction* checked = fGroup->checkedAction()) {
        // An exclusive group keeps one item checked; step out of it to clear the mark.
        fGroup->setExclusive(false);
        checked->setChecked(false);
        fGroup->setExclusive(true);
    }
    setText(item != nullptr ? item->text() : fEmptyLabel);
}

QAction* MenuField::MarkedItem() const {
    return fGroup->checkedAction();
}

QList<QAction*> MenuField::Items() const {
    return fGroup->actions();
}
