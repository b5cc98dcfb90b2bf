#pragma once
// A menu item that keeps a status value and reserves a square beside its label for it: the
// item is as much wider as it is high (6 more when it opens a sub-menu). The square is left
// empty on purpose; the status is kept for whoever reads it, not drawn.
//
// Qt sizes menu items in the menu's style, so a menu that holds status items is given
// StatusMenuItem::Reserve once; plain items in the same menu keep their size.

#include <QAction>
#include <QSizeF>

#include "support/Types.h"

class QMenu;

class StatusMenuItem : public QAction {
    Q_OBJECT

public:
    // Status 2, no shortcut.
    StatusMenuItem(const QString& label, QObject* parent = nullptr);
    // An item that opens `submenu`; its label is the sub-menu's title.
    StatusMenuItem(QMenu* submenu, QObject* parent = nullptr);

    int32 Status() const { return fStatus; }
    void SetStatus(int32 status) { fStatus = status; }

    // The size of an item whose label and margins take `base`: the square added.
    static QSizeF ContentSize(QSizeF base, bool hasSubmenu);
    // Makes `menu` size its status items by ContentSize. The style it installs belongs to it.
    static void Reserve(QMenu* menu);

private:
    int32 fStatus = 2;
};
