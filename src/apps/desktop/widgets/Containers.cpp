#include "apps/desktop/widgets/MakeWidget.h"

#include "apps/desktop/widgets/Adapter.h"
#include "apps/desktop/widgets/Children.h"
#include "apps/desktop/widgets/Controls.h"
#include "apps/desktop/widgets/ListWidget.h"
#include "apps/desktop/widgets/PlotValuesWidget.h"
#include "apps/desktop/widgets/PlotWidget.h"
#include "apps/desktop/widgets/TableWidget.h"
#include "apps/desktop/widgets/Text.h"
#include "apps/desktop/widgets/TextLinesWidget.h"
#include "apps/desktop/widgets/ToggledForm.h"
#include "toolkit/Controls.h"
#include "toolkit/TextLines.h"

#include <QBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSplitter>
#include <QTabWidget>
#include <algorithm>

namespace {

Qt::Orientation orientationOf(const toolkit::Stack& stack)
{
    return stack.direction() == toolkit::Direction::Down ? Qt::Vertical : Qt::Horizontal;
}

// A field or a choice has its name before it.
QWidget* withLabel(const toolkit::View& view, QWidget* widget)
{
    const auto* field = dynamic_cast<const toolkit::TextField*>(&view);
    const bool isNamed = field ? !dynamic_cast<const toolkit::Label*>(&view)
                               : dynamic_cast<const toolkit::PopUp*>(&view) != nullptr;
    if (!isNamed || view.accessibleName().empty())
        return widget;
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* label = new QLabel(toQt(view.accessibleName()));
    label->setBuddy(widget);
    layout->addWidget(label);
    layout->addWidget(widget, 1);
    if (!field || field->columns() > 0)
        row->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Preferred);
    return row;
}

// Controls keep their height; what shows content takes the room that is left.
bool takesRoom(const toolkit::View& view)
{
    if (dynamic_cast<const toolkit::Split*>(&view) || dynamic_cast<const toolkit::TabView*>(&view)
        || dynamic_cast<const toolkit::Table*>(&view) || dynamic_cast<const toolkit::TextView*>(&view)
        || dynamic_cast<const toolkit::ViewList*>(&view) || dynamic_cast<const toolkit::Plot*>(&view)
        || dynamic_cast<const toolkit::PlotValues*>(&view))
        return true;
    return std::any_of(view.subviews().begin(), view.subviews().end(),
        [](const toolkit::View* child) { return takesRoom(*child); });
}

// Views in a row, or one below the other. A view of no kind of its own shows its parts in a row.
class StackWidget final : public QWidget {
public:
    StackWidget(toolkit::View& view, Qt::Orientation orientation) : adapter_(view)
    {
        auto* layout = new QBoxLayout(
            orientation == Qt::Vertical ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight, this);
        if (orientation == Qt::Horizontal || dynamic_cast<const toolkit::Split*>(view.superview()))
            layout->setContentsMargins(0, 0, 0, 0);
        adapter_.follow([this, layout](const toolkit::View& shown) {
            children_.follow(shown, [layout](int index, const toolkit::View& child, QWidget* widget) {
                const bool keepsWidth = layout->direction() == QBoxLayout::TopToBottom
                    && dynamic_cast<const toolkit::Button*>(&child);
                layout->insertWidget(index, withLabel(child, widget), takesRoom(child) ? 1 : 0,
                    keepsWidth ? Qt::AlignLeft : Qt::Alignment());
            });
            showCommonParts(*this, shown);
        });
        if (orientation == Qt::Horizontal && !takesRoom(view))
            layout->addStretch(0);
    }

private:
    Adapter<toolkit::View> adapter_;
    Children children_;
};

class SplitWidget final : public Adapted<QSplitter, toolkit::Split> {
public:
    explicit SplitWidget(toolkit::Split& split) : Adapted(split)
    {
        setOrientation(orientationOf(split));
        setChildrenCollapsible(false);
        adapter_.follow([this](const toolkit::Split& shown) {
            children_.follow(shown, [this](int index, const toolkit::View&, QWidget* widget) {
                insertWidget(index, widget);
                setStretchFactor(index, share(index));
            });
            showCommonParts(*this, shown);
        });
        connect(this, &QSplitter::splitterMoved, this, [this] { wasMovedByUser_ = true; });
    }

protected:
    void resizeEvent(QResizeEvent* event) override
    {
        QSplitter::resizeEvent(event);
        if (wasMovedByUser_ || !adapter_.model())
            return;
        QList<int> shares;
        int all = 0;
        for (int i = 0; i < count(); ++i)
            all += widget(i)->isHidden() ? 0 : share(i);
        const int room = orientation() == Qt::Horizontal ? width() : height();
        for (int i = 0; i < count(); ++i)
            shares.append(all > 0 ? room * share(i) / all : 0);
        setSizes(shares);
    }

private:
    int share(int index) const
    {
        return adapter_.model() ? adapter_.model()->share(static_cast<std::size_t>(index)) : 1;
    }

    Children children_;
    bool wasMovedByUser_ = false;
};

// A page of its own for a view in a tab: the tabs show and hide the page, and the view's own state stays.
QWidget* pageOf(toolkit::View* view)
{
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    if (view)
        layout->addWidget(makeWidget(*view));
    return page;
}

// Tabs with a bar to choose from; a view whose first tab is empty shows what fits the moment, and has no bar.
// Nor has a single tab.
class TabWidget final : public Adapted<QTabWidget, toolkit::TabView> {
public:
    explicit TabWidget(toolkit::TabView& tabs) : Adapted(tabs)
    {
        setDocumentMode(true);
        for (const auto& tab : tabs.tabs())
            addTab(pageOf(tab.view), toQt(tab.label));
        const bool isChosenByLogic = !tabs.tabs().empty() && !tabs.tabs().front().view;
        tabBar()->setVisible(!isChosenByLogic && tabs.tabs().size() > 1);
        connect(this, &QTabWidget::currentChanged, this, [this](int index) {
            if (adapter_.model())
                adapter_.model()->choose(
                    adapter_.model()->tabs()[static_cast<std::size_t>(index)].identifier);
        });
        adapter_.follow([this](const toolkit::TabView& shown) {
            const QSignalBlocker blocker(this);
            for (int i = 0; i < count(); ++i)
                if (shown.tabs()[static_cast<std::size_t>(i)].identifier == shown.selectedIdentifier())
                    setCurrentIndex(i);
            showCommonParts(*this, shown);
        });
    }
};

template <class Kind, class Make>
QWidget* makeIf(toolkit::View& view, Make make)
{
    auto* kind = dynamic_cast<Kind*>(&view);
    return kind ? make(*kind) : nullptr;
}

} // namespace

QWidget* makeWidget(toolkit::View& view)
{
    // A kind that derives from another stands before it.
    using Maker = QWidget* (*)(toolkit::View&);
    static constexpr Maker kMakers[] = {
        [](toolkit::View& v) { return makeIf<toolkit::CheckBox>(v, makeCheckBox); },
        [](toolkit::View& v) { return makeIf<toolkit::Button>(v, makeButton); },
        [](toolkit::View& v) { return makeIf<toolkit::PopUp>(v, makePopUp); },
        [](toolkit::View& v) { return makeIf<toolkit::ProgressBar>(v, makeProgressBar); },
        [](toolkit::View& v) { return makeIf<toolkit::Label>(v, makeLabel); },
        [](toolkit::View& v) { return makeIf<toolkit::TextField>(v, makeTextField); },
        [](toolkit::View& v) { return makeIf<toolkit::TextView>(v, makeTextView); },
        [](toolkit::View& v) { return makeIf<toolkit::TextLines>(v, makeTextLines); },
        [](toolkit::View& v) {
            return makeIf<toolkit::Table>(
                v, [](toolkit::Table& table) -> QWidget* { return new TableWidget(table); });
        },
        [](toolkit::View& v) {
            return makeIf<toolkit::Plot>(
                v, [](toolkit::Plot& plot) -> QWidget* { return new PlotWidget(plot); });
        },
        [](toolkit::View& v) {
            return makeIf<toolkit::PlotValues>(
                v, [](toolkit::PlotValues& values) -> QWidget* { return new PlotValuesWidget(values); });
        },
        [](toolkit::View& v) {
            return makeIf<toolkit::TabView>(
                v, [](toolkit::TabView& tabs) -> QWidget* { return new TabWidget(tabs); });
        },
        [](toolkit::View& v) { return makeIf<toolkit::ViewList>(v, makeList); },
        [](toolkit::View& v) { return makeIf<KRDragViewWithToggle>(v, makeToggledForm); },
        [](toolkit::View& v) {
            return makeIf<toolkit::Split>(
                v, [](toolkit::Split& split) -> QWidget* { return new SplitWidget(split); });
        },
        [](toolkit::View& v) {
            return makeIf<toolkit::Stack>(v, [](toolkit::Stack& stack) -> QWidget* {
                return new StackWidget(stack, orientationOf(stack));
            });
        },
    };
    for (const Maker make : kMakers)
        if (QWidget* made = make(view))
            return made;
    return new StackWidget(view, Qt::Horizontal);
}
