#pragma once

#include "toolkit/Controls.h"
#include "toolkit/KRDraggableViewsController.h"
#include "toolkit/Window.h"

// The window of the machine list: the definitions, which the user moves and removes, and what adds one. Main
// thread.
struct MachineWindow {
    explicit MachineWindow(KRDraggableViewsController& machines); // Borrowed.
    MachineWindow(const MachineWindow&) = delete;
    MachineWindow& operator=(const MachineWindow&) = delete;

    toolkit::Window window;
    toolkit::Stack content{toolkit::Direction::Down};
    toolkit::Stack foot{toolkit::Direction::Across};
    toolkit::Button add;
    toolkit::Button remove; // The selected ones.
};
