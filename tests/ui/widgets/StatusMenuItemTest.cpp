// The status menu item reserves a square as high as the item beside its label.

#include <gtest/gtest.h>

#include <QMenu>

#include "tests/ui/UiTestSupport.h"
#include "ui/widgets/StatusMenuItem.h"

namespace {

TEST(StatusMenuItem, ReservesASquareAndRoomForASubmenuArrow) {
    EXPECT_EQ(StatusMenuItem::ContentSize(QSizeF(60, 14), false), QSizeF(74, 14));
    EXPECT_EQ(StatusMenuItem::ContentSize(QSizeF(60, 14), true), QSizeF(80, 14));
}

TEST(StatusMenuItem, WidensOnlyItsOwnRowsInARealMenu) {
    testApplication();
    QMenu plain;
    plain.addAction("True-Color 32-bit");
    QMenu marked;
    StatusMenuItem::Reserve(&marked);
    auto* item = new StatusMenuItem("True-Color 32-bit", &marked);
    marked.addAction(item);
    EXPECT_EQ(item->Status(), 2);

    const QRect plainRow = plain.actionGeometry(plain.actions().first());
    const QRect markedRow = marked.actionGeometry(item);
    EXPECT_EQ(markedRow.height(), plainRow.height());
    EXPECT_EQ(markedRow.width(), plainRow.width() + plainRow.height());

    // A plain item beside it keeps its size; the widest row sets the menu's width.
    QMenu mixed;
    StatusMenuItem::Reserve(&mixed);
    mixed.addAction("A long plain item without a status");
    mixed.addAction(new StatusMenuItem("x", &mixed));
    QMenu alone;
    alone.addAction("A long plain item without a status");
    EXPECT_EQ(mixed.sizeHint().width(), alone.sizeHint().width());

    QMenu submenu("Spaces");
    QMenu withSubmenu;
    StatusMenuItem::Reserve(&withSubmenu);
    auto* opener = new StatusMenuItem(&submenu, &withSubmenu);
    withSubmenu.addAction(opener);
    QMenu plainOpener;
    plainOpener.addMenu(&submenu);
    const QRect plainOpenerRow = plainOpener.actionGeometry(plainOpener.actions().first());
    EXPECT_EQ(withSubmenu.actionGeometry(opener).width(),
              plainOpenerRow.width() + plainOpenerRow.height() + 6);
}

}  // namespace
