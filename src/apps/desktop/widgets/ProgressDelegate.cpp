#include "apps/desktop/widgets/ProgressDelegate.h"

#include "apps/desktop/widgets/TableAdapter.h"

#include <QApplication>
#include <QPainter>
#include <QStyle>
#include <algorithm>

namespace {
constexpr int kMargin = 3;
constexpr int kTextWidth = 44;
} // namespace

void ProgressDelegate::paint(
    QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& cell) const
{
    const QVariant number = cell.data(TableAdapter::kProgressRole);
    if (!number.isValid()) {
        QStyledItemDelegate::paint(painter, option, cell);
        return;
    }
    // The cell's own background first: a selected row stays marked around the bar.
    QStyleOptionViewItem background = option;
    initStyleOption(&background, cell);
    const QString text = background.text;
    background.text.clear();
    const QWidget* widget = option.widget;
    QStyle* style = widget ? widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &background, painter, widget);

    const double share = std::clamp(number.toDouble() / 100.0, 0.0, 1.0);
    QRect groove = option.rect.adjusted(kMargin, kMargin, -kMargin - kTextWidth, -kMargin);
    const bool selected = (option.state & QStyle::State_Selected) != 0;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    if (groove.width() > 2 * kMargin) {
        const double radius = groove.height() / 4.0;
        QColor trough = option.palette.color(QPalette::WindowText);
        trough.setAlpha(40);
        painter->setBrush(trough);
        painter->drawRoundedRect(groove, radius, radius);
        QRectF filled = groove;
        filled.setWidth(groove.width() * share);
        painter->setBrush(option.palette.color(selected ? QPalette::HighlightedText : QPalette::Highlight));
        painter->drawRoundedRect(filled, radius, radius);
    }
    painter->setPen(option.palette.color(selected ? QPalette::HighlightedText : QPalette::Text));
    painter->drawText(option.rect.adjusted(0, 0, -kMargin, 0), Qt::AlignRight | Qt::AlignVCenter, text);
    painter->restore();
}
