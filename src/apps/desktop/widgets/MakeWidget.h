#pragma once

class QWidget;

namespace toolkit {
class View;
} // namespace toolkit

// The widget for a view of any kind, with the widgets of what is in it, which come and go with the views. A
// widget and its view may go in either order; the caller owns the widget.
QWidget* makeWidget(toolkit::View& view);
