#pragma once

#include <QStyledItemDelegate>

// Draws a cell that has a number from 0 to 100 as a progress bar.
class ProgressDelegate final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& cell) const override;
};
