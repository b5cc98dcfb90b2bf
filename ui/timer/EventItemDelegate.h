#pragma once
// Paints one entry of the timer list: a 40-pixel row with the START, STOP and DATE columns, the
// repeat word, the format's name, the channel and the file's leaf name, and "RECORDING" over a
// disabled entry (one whose timed recording is running). The row's EventItem comes from the
// model as a pointer under kEventItemRole.

#include <QStyledItemDelegate>

#include "ui/widgets/RgbColor.h"

class EventItem;

class EventItemDelegate : public QStyledItemDelegate {
public:
    // The model role that holds the row's EventItem* (as a quintptr).
    static constexpr int kEventItemRole = Qt::UserRole + 1;
    // Background of a selected entry, of an enabled one, and of a recording (disabled) one.
    static constexpr rgb_color kSelectedColor{152, 182, 212, 255};
    static constexpr rgb_color kEnabledColor{255, 255, 233, 255};
    static constexpr rgb_color kRecordingColor{200, 80, 80, 255};
    // Widest the format's name is drawn, in pixels.
    static constexpr int kFormatWidth = 72;

    using QStyledItemDelegate::QStyledItemDelegate;

    static EventItem* ItemOf(const QModelIndex& index);
    // Paints `item` into `frame`.
    static void DrawItem(QPainter* painter, const QRect& frame, const EventItem& item,
                         bool selected);

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};
