#pragma once

#include "toolkit/KRDragViewWithToggle.h"

class QWidget;

// A form that can be collapsed to its first line, a text beside the button that opens the rest.
QWidget* makeToggledForm(KRDragViewWithToggle& view);
