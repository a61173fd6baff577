#include "apps/desktop/widgets/Adapter.h"

#include "apps/desktop/widgets/Text.h"

void showCommonParts(QWidget& widget, const toolkit::View& view)
{
    if (!view.accessibleName().empty())
        widget.setAccessibleName(toQt(view.accessibleName()));
    widget.setVisible(!view.isHidden());
}
