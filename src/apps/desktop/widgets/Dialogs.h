#pragma once

#include "toolkit/Dialogs.h"

// Shows a question in front of the active window and returns at once. The answer comes by the question's
// callback; the dialog ends with it.
void showAlert(const toolkit::Alert& alert);
void askForText(const toolkit::TextQuestion& question);
void showFilePanel(const toolkit::FilePanel& panel);
