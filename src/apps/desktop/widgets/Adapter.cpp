#include "apps/desktop/widgets/Adapter.h"

#include "apps/desktop/widgets/Text.h"

#include <QMetaObject>
#include <QVariant>

namespace {
constexpr const char* kAnsweredRequests = "answeredFocusRequests";
} // namespace

void showCommonParts(QWidget& widget, const toolkit::View& view)
{
    if (!view.accessibleName().empty())
        widget.setAccessibleName(toQt(view.accessibleName()));
    widget.setVisible(!view.isHidden());
    if (widget.property(kAnsweredRequests).toInt() == view.focusRequests() || view.isHidden())
        return;
    widget.setProperty(kAnsweredRequests, view.focusRequests());
    // A widget that is being made has no window yet.
    QMetaObject::invokeMethod(
        &widget, [&widget] { widget.setFocus(); }, Qt::QueuedConnection);
}
