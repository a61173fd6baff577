#include "apps/desktop/widgets/ListWidget.h"

#include "apps/desktop/widgets/Adapter.h"
#include "apps/desktop/widgets/Children.h"
#include "apps/desktop/widgets/Text.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QRubberBand>
#include <QScrollArea>
#include <QStyleOptionFocusRect>
#include <QVBoxLayout>
#include <optional>

namespace {

constexpr int kBarBesideRow = 10; // Pixels: where a row is taken hold of.

// The rows on the page that scrolls.
class Rows final : public QWidget {
public:
    explicit Rows(toolkit::ViewList& list) : adapter_(list), layout_(new QVBoxLayout(this))
    {
        layout_->setAlignment(Qt::AlignTop);
        layout_->setContentsMargins(kBarBesideRow, 2, 2, 2);
        setFocusPolicy(Qt::StrongFocus);
        adapter_.follow([this](const toolkit::ViewList& shown) {
            children_.follow(shown, [this](int index, const toolkit::View&, QWidget* widget) {
                layout_->insertWidget(index, widget);
            });
            setAccessibleName(toQt(shown.accessibleName()));
            current_ = std::min(current_, std::max(count() - 1, 0));
            update();
        });
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        const auto* list = adapter_.model();
        for (int row = 0; list && row < count(); ++row)
            if (list->selectedRows().contains(static_cast<std::size_t>(row)))
                painter.fillRect(rectOf(row),
                    palette().color(
                        isActiveWindow() ? QPalette::Active : QPalette::Inactive, QPalette::Highlight));
        if (dropPlace_)
            painter.fillRect(0,
                dropPlace_ < count() ? rectOf(*dropPlace_).top() : rectOf(count() - 1).bottom(), width(), 3,
                palette().highlight());
        if (hasFocus() && count() > 0) {
            QStyleOptionFocusRect option;
            option.initFrom(this);
            option.rect = rectOf(current_);
            style()->drawPrimitive(QStyle::PE_FrameFocusRect, &option, &painter, this);
        }
    }

    void mousePressEvent(QMouseEvent* event) override
    {
        if (event->button() != Qt::LeftButton)
            return;
        setFocus(Qt::MouseFocusReason);
        pressedAt_ = event->position().toPoint();
        pressedRow_ = rowAt(pressedAt_);
        if (pressedRow_ < 0) {
            band_ = new QRubberBand(QRubberBand::Rectangle, this);
            select({});
        } else if (event->modifiers() & Qt::ControlModifier) {
            toggle(pressedRow_);
        } else if (event->modifiers() & Qt::ShiftModifier) {
            selectTo(pressedRow_);
        } else if (!isSelected(pressedRow_)) {
            select({static_cast<std::size_t>(pressedRow_)});
            current_ = pressedRow_;
        }
    }

    void mouseMoveEvent(QMouseEvent* event) override
    {
        const QPoint at = event->position().toPoint();
        if (band_) {
            const QRect taken = QRect(pressedAt_, at).normalized();
            band_->setGeometry(taken);
            band_->show();
            std::set<std::size_t> rows;
            for (int row = 0; row < count(); ++row)
                if (rectOf(row).intersects(taken))
                    rows.insert(static_cast<std::size_t>(row));
            select(std::move(rows));
        } else if (pressedRow_ >= 0 && canMove()
            && (dropPlace_ || (at - pressedAt_).manhattanLength() >= QApplication::startDragDistance())) {
            dropPlace_ = placeFor(at);
            update();
        }
    }

    void mouseReleaseEvent(QMouseEvent*) override
    {
        delete band_;
        const auto place = std::exchange(dropPlace_, std::nullopt);
        if (place)
            move(pressedRow_, *place > pressedRow_ ? *place - 1 : *place);
        pressedRow_ = -1;
        update();
    }

    void keyPressEvent(QKeyEvent* event) override
    {
        const int step = event->key() == Qt::Key_Up ? -1 : event->key() == Qt::Key_Down ? 1 : 0;
        if (count() == 0 || !adapter_.model())
            return QWidget::keyPressEvent(event);
        if (step != 0 && event->modifiers() & Qt::AltModifier)
            move(current_, current_ + step);
        else if (step != 0)
            go(std::clamp(current_ + step, 0, count() - 1), event->modifiers() & Qt::ShiftModifier);
        else if (event->key() == Qt::Key_Space)
            toggle(current_);
        else if (event->matches(QKeySequence::SelectAll))
            selectFrom(0, count() - 1);
        else if (event->matches(QKeySequence::Delete) && adapter_.model()->whenRemoved)
            adapter_.model()->whenRemoved();
        else
            QWidget::keyPressEvent(event);
    }

    void focusInEvent(QFocusEvent* event) override
    {
        QWidget::focusInEvent(event);
        update();
    }
    void focusOutEvent(QFocusEvent* event) override
    {
        QWidget::focusOutEvent(event);
        update();
    }

private:
    int count() const { return layout_->count(); }
    bool canMove() const { return adapter_.model() && adapter_.model()->whenMoved; }
    QRect rectOf(int row) const
    {
        const auto* item = layout_->itemAt(row);
        return item ? QRect(0, item->geometry().top() - 1, width(), item->geometry().height() + 2) : QRect();
    }
    int rowAt(QPoint at) const
    {
        for (int row = 0; row < count(); ++row)
            if (rectOf(row).contains(at))
                return row;
        return -1;
    }
    // The row before which something would be dropped.
    int placeFor(QPoint at) const
    {
        int place = 0;
        while (place < count() && rectOf(place).center().y() < at.y())
            ++place;
        return place;
    }
    bool isSelected(int row) const
    {
        return adapter_.model() && adapter_.model()->selectedRows().contains(static_cast<std::size_t>(row));
    }
    void select(std::set<std::size_t> rows)
    {
        if (adapter_.model())
            adapter_.model()->select(std::move(rows));
        update();
    }
    void toggle(int row)
    {
        auto rows = adapter_.model()->selectedRows();
        if (rows.erase(static_cast<std::size_t>(row)) == 0)
            rows.insert(static_cast<std::size_t>(row));
        select(std::move(rows));
        current_ = row;
    }
    void selectFrom(int first, int last)
    {
        std::set<std::size_t> rows;
        for (int row = std::min(first, last); row <= std::max(first, last); ++row)
            rows.insert(static_cast<std::size_t>(row));
        select(std::move(rows));
    }
    void selectTo(int row) { selectFrom(current_, row); }
    void go(int row, bool extends)
    {
        if (extends) {
            auto rows = adapter_.model()->selectedRows();
            rows.insert({static_cast<std::size_t>(current_), static_cast<std::size_t>(row)});
            select(std::move(rows));
        } else {
            select({static_cast<std::size_t>(row)});
        }
        current_ = row;
        if (auto* area = qobject_cast<QScrollArea*>(parentWidget()->parentWidget()))
            area->ensureVisible(0, rectOf(row).center().y(), 0, rectOf(row).height());
    }
    void move(int from, int to)
    {
        if (!canMove() || from == to || to < 0 || to >= count())
            return;
        adapter_.model()->whenMoved(static_cast<std::size_t>(from), static_cast<std::size_t>(to));
        current_ = to;
        select({static_cast<std::size_t>(to)});
    }

    Adapter<toolkit::ViewList> adapter_;
    Children children_;
    QVBoxLayout* layout_;
    int current_ = 0; // The row that keys act on.
    int pressedRow_ = -1; // Negative while none is taken hold of.
    QPoint pressedAt_;
    std::optional<int> dropPlace_; // While a row is dragged.
    QPointer<QRubberBand> band_;
};

} // namespace

QWidget* makeList(toolkit::ViewList& list)
{
    auto* area = new QScrollArea;
    area->setWidgetResizable(true);
    area->setFocusPolicy(Qt::NoFocus); // The rows have it.
    area->setWidget(new Rows(list));
    return area;
}
