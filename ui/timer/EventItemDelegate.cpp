#include "ui/timer/EventItemDelegate.h"

#include <QPainter>

#include "app/records/FormatSetting.h"
#include "scheduler/EventItem.h"

namespace {

// The columns of the left half and where the right half (channel, file) begins, in pixels.
constexpr int kStartColumn = 6;
constexpr int kStopColumn = 46;
constexpr int kDateColumn = 86;
constexpr int kChannelColumn = 200;
// The heading band on top of the row.
constexpr int kBandHeight = 10;

// A font of the widget's family at `pixels` pixels (the design's sizes are screen points at
// 72 dpi, one pixel each).
QFont fontOf(const QFont& base, int pixels, bool bold) {
    QFont font(base);
    font.setPixelSize(pixels);
    font.setBold(bold);
    return font;
}

}  // namespace

EventItem* EventItemDelegate::ItemOf(const QModelIndex& index) {
    return reinterpret_cast<EventItem*>(index.data(kEventItemRole).value<quintptr>());
}

void EventItemDelegate::DrawItem(QPainter* painter, const QRect& frame, const EventItem& item,
                                 bool selected) {
    painter->save();
    painter->setClipRect(frame);
    const rgb_color low =
        selected ? kSelectedColor : (item.IsEnabled() ? kEnabledColor : kRecordingColor);
    painter->fillRect(frame, low.ToQColor());
    painter->fillRect(QRect(frame.left(), frame.top(), frame.width(), kBandHeight),
                      tintColor(low, 1.08f).ToQColor());

    const QFont base = painter->font();
    const int left = frame.left();
    const int top = frame.top();
    painter->setPen(Qt::black);

    painter->setFont(fontOf(base, 7, true));
    painter->drawText(left + kStartColumn, top + 8, "START");
    painter->drawText(left + kStopColumn, top + 8, "STOP");
    painter->drawText(left + kDateColumn, top + 8, "DATE");

    painter->setFont(fontOf(base, 10, false));
    painter->drawText(left + kStartColumn, top + 22, QString::fromStdString(item.StartText()));
    painter->drawText(left + kStopColumn, top + 22, QString::fromStdString(item.StopText()));
    painter->drawText(left + kDateColumn, top + 22, QString::fromStdString(item.DateText()));
    painter->drawText(left + kStartColumn, top + 35, item.RepeatWord());
    if (item.Format() != nullptr) {
        const QString name = painter->fontMetrics().elidedText(
            QString::fromUtf8(item.Format()->Text()), Qt::ElideRight, kFormatWidth);
        painter->drawText(left + kDateColumn, top + 35, name);
    }

    painter->setFont(fontOf(base, 12, true));
    painter->drawText(left + kChannelColumn, top + 20, QString::fromStdString(item.ChannelName()));
    painter->setFont(fontOf(base, 12, false));
    QString second = QString::fromStdString(item.FileLeaf());
    if (!item.Failure().empty()) {
        // A timed start that failed says so where the file would be.
        painter->setPen(QColor(170, 0, 0));
        second = QString::fromStdString(item.Failure());
    }
    painter->drawText(left + kChannelColumn, top + 35,
                      painter->fontMetrics().elidedText(
                          second, Qt::ElideRight, std::max(0, frame.width() - kChannelColumn - 4)));

    painter->setPen(tintColor(low, B_DARKEN_2_TINT).ToQColor());
    painter->drawLine(frame.left(), frame.bottom(), frame.right(), frame.bottom());

    if (!item.IsEnabled()) {
        painter->setPen(QColor(255, 255, 255, 128));
        painter->setFont(fontOf(base, 36, false));
        painter->drawText(frame, Qt::AlignCenter, "RECORDING");
    }
    painter->restore();
}

void EventItemDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const {
    const EventItem* item = ItemOf(index);
    if (item == nullptr) {
        QStyledItemDelegate::paint(painter, option, index);
        return;
    }
    DrawItem(painter, option.rect, *item, option.state & QStyle::State_Selected);
}

QSize EventItemDelegate::sizeHint(const QStyleOptionViewItem& option,
                                  const QModelIndex& index) const {
    return QSize(QStyledItemDelegate::sizeHint(option, index).width(), EventItem::kHeight);
}
