#include "ui/widgets/StatusMenuItem.h"

#include <QMenu>
#include <QProxyStyle>
#include <QStyleOptionMenuItem>

namespace {

// Widens the rows of the menu's status items; draws everything as the application style does.
class StatusMenuStyle : public QProxyStyle {
public:
    StatusMenuStyle() : QProxyStyle(nullptr) {}

    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& contents,
                           const QWidget* widget) const override {
        QSize size = QProxyStyle::sizeFromContents(type, option, contents, widget);
        auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
        if (type != CT_MenuItem || item == nullptr || StatusItemFor(item, widget) == nullptr)
            return size;
        bool submenu = item->menuItemType == QStyleOptionMenuItem::SubMenu;
        return ContentSizeOf(size, submenu);
    }

private:
    static QSize ContentSizeOf(QSize base, bool submenu) {
        return StatusMenuItem::ContentSize(QSizeF(base), submenu).toSize();
    }

    // The option names its item only by its text (Qt adds the shortcut after a tab).
    static const StatusMenuItem* StatusItemFor(const QStyleOptionMenuItem* option,
                                               const QWidget* widget) {
        auto* menu = qobject_cast<const QMenu*>(widget);
        if (menu == nullptr || option->menuItemType == QStyleOptionMenuItem::Separator)
            return nullptr;
        const QString label = option->text.section('\t', 0, 0);
        for (QAction* action : menu->actions()) {
            auto* item = qobject_cast<const StatusMenuItem*>(action);
            if (item != nullptr && item->text() == label)
                return item;
        }
        return nullptr;
    }
};

}  // namespace

StatusMenuItem::StatusMenuItem(const QString& label, QObject* parent) : QAction(label, parent) {}

StatusMenuItem::StatusMenuItem(QMenu* submenu, QObject* parent)
    : QAction(submenu->title(), parent) {
    setMenu(submenu);
}

QSizeF StatusMenuItem::ContentSize(QSizeF base, bool hasSubmenu) {
    // A square as high as the item, and room for the sub-menu's arrow beside it.
    return QSizeF(base.width() + base.height() + (hasSubmenu ? 6 : 0), base.height());
}

void StatusMenuItem::Reserve(QMenu* menu) {
    auto* style = new StatusMenuStyle;
    style->setParent(menu);
    menu->setStyle(style);
}
