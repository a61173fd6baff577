#include "apps/desktop/widgets/LineViewAccessible.h"

#include "apps/desktop/widgets/LineView.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <algorithm>

namespace {

// The text is that of the visible lines. Offsets count its UTF-16 units.
class LineViewAccessible final : public QAccessibleWidget, public QAccessibleTextInterface {
public:
    explicit LineViewAccessible(LineView* view)
        : QAccessibleWidget(view, QAccessible::EditableText), view_(view)
    { }

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        if (type == QAccessible::TextInterface)
            return static_cast<QAccessibleTextInterface*>(this);
        return QAccessibleWidget::interface_cast(type);
    }
    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.readOnly = true;
        state.multiLine = true;
        state.selectableText = true;
        return state;
    }
    QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Value ? view_->visibleText() : QAccessibleWidget::text(kind);
    }

    QString text(int start, int end) const override
    {
        return view_->visibleText().mid(start, std::max(0, end - start));
    }
    int characterCount() const override { return static_cast<int>(view_->visibleText().size()); }
    int cursorPosition() const override { return offsetOf(view_->caret()); }
    void setCursorPosition(int position) override { view_->select(placeOf(position), placeOf(position)); }

    int selectionCount() const override { return view_->hasSelection() ? 1 : 0; }
    void selection(int index, int* start, int* end) const override
    {
        const bool isThere = index == 0 && view_->hasSelection();
        *start = isThere ? offsetOf(view_->selectionStart()) : 0;
        *end = isThere ? offsetOf(view_->selectionEnd()) : 0;
    }
    void addSelection(int start, int end) override { view_->select(placeOf(start), placeOf(end)); }
    void setSelection(int, int start, int end) override { addSelection(start, end); }
    void removeSelection(int) override { view_->select(view_->caret(), view_->caret()); }

    QRect characterRect(int offset) const override
    {
        const QRect rect = view_->rectOf(placeOf(offset));
        return {view_->viewport()->mapToGlobal(rect.topLeft()), rect.size()};
    }
    int offsetAtPoint(const QPoint& point) const override
    {
        return offsetOf(view_->placeAt(view_->viewport()->mapFromGlobal(point)));
    }
    void scrollToSubstring(int start, int end) override { addSelection(start, end); }
    QString attributes(int, int* start, int* end) const override
    {
        *start = 0;
        *end = characterCount();
        return {};
    }

private:
    // The ends of the visible text stand for what lies beyond them.
    int offsetOf(LineView::Place place) const
    {
        if (place.line < view_->topLine())
            return 0;
        int offset = 0;
        for (std::int64_t number = view_->topLine(); number < place.line; ++number) {
            if (number >= view_->topLine() + view_->linesInView())
                return characterCount();
            offset += static_cast<int>(view_->line(number).size()) + 1;
        }
        return offset + place.column;
    }
    LineView::Place placeOf(int offset) const
    {
        LineView::Place place{view_->topLine(), std::max(0, offset)};
        for (; place.line + 1 < view_->count(); ++place.line) {
            const int size = static_cast<int>(view_->line(place.line).size());
            if (place.column <= size)
                break;
            place.column -= size + 1;
        }
        return place;
    }

    LineView* view_;
};

QAccessibleInterface* makeInterface(const QString&, QObject* object)
{
    auto* view = dynamic_cast<LineView*>(object);
    return view ? new LineViewAccessible(view) : nullptr;
}

} // namespace

void installLineViewAccessibility()
{
    QAccessible::installFactory(makeInterface); // A second time changes nothing.
}
