#pragma once

#include "toolkit/ViewList.h"

class QWidget;

// A list of views below each other, in a frame that scrolls. Rows are selected with the mouse, alone,
// together with Control and Shift, or by a rubber band that begins beside the rows, and with the keys: Up and
// Down, Space, Shift. Where the list allows it, rows are dragged or moved with Alt+Up and Alt+Down to another
// place, and removed with Delete.
QWidget* makeList(toolkit::ViewList& list);
