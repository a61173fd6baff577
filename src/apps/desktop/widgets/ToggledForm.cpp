#include "apps/desktop/widgets/ToggledForm.h"

#include "apps/desktop/widgets/Adapter.h"
#include "apps/desktop/widgets/MakeWidget.h"
#include "apps/desktop/widgets/Text.h"

#include <QFormLayout>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

constexpr int kMargin = 3; // Pixels.
constexpr std::size_t kFirstLine = 1; // The place of the text beside the toggle.

bool hasLabel(const toolkit::View& view)
{
    return dynamic_cast<const toolkit::TextField*>(&view) && !dynamic_cast<const toolkit::Label*>(&view)
        && !view.accessibleName().empty();
}

// A button keeps its width.
QWidget* alone(QWidget* button)
{
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(button);
    layout->addStretch();
    return row;
}

class ToggledForm final : public Adapted<QFrame, KRDragViewWithToggle> {
public:
    explicit ToggledForm(KRDragViewWithToggle& view)
        : Adapted(view), toggle_(new QToolButton), body_(new QWidget)
    {
        setFrameShape(view.hasBorder() ? QFrame::StyledPanel : QFrame::NoFrame);
        setAutoFillBackground(true);
        setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
        auto* line = new QHBoxLayout;
        layout->addLayout(line);
        layout->addWidget(body_);
        toggle_->setAutoRaise(true);
        toggle_->setCheckable(true);
        toggle_->setAccessibleName(toQt(view.toggle().accessibleName()));
        toggle_->setToolTip(toggle_->accessibleName());
        line->addWidget(toggle_);
        auto* form = new QFormLayout(body_);
        form->setContentsMargins(toggle_->sizeHint().width(), 0, 0, 0);
        for (std::size_t i = kFirstLine; i < view.subviews().size(); ++i)
            add(*view.subviews()[i], i, line, form);
        // An assistive tool changes the state without a click.
        connect(toggle_, &QToolButton::toggled, this, [this](bool isOpen) {
            if (adapter_.model() && adapter_.model()->isOpen() != isOpen)
                adapter_.model()->toggle().press();
        });
        adapter_.follow([this](const KRDragViewWithToggle& shown) {
            toggle_->setChecked(shown.isOpen());
            toggle_->setArrowType(shown.isOpen() ? Qt::DownArrow : Qt::RightArrow);
            body_->setVisible(shown.isOpen());
            showCommonParts(*this, shown);
        });
    }

private:
    static void add(toolkit::View& part, std::size_t place, QHBoxLayout* line, QFormLayout* form)
    {
        QWidget* widget = makeWidget(part);
        if (place == kFirstLine)
            line->addWidget(widget, 1);
        else if (hasLabel(part))
            form->addRow(toQt(part.accessibleName()), widget);
        else if (dynamic_cast<const toolkit::Button*>(&part))
            form->addRow(QString(), alone(widget));
        else
            form->addRow(widget);
    }

    QToolButton* toggle_;
    QWidget* body_;
};

} // namespace

QWidget* makeToggledForm(KRDragViewWithToggle& view)
{
    return new ToggledForm(view);
}
