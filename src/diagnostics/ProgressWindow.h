#pragma once

#include "diagnostics/KRProgressController.h"
#include "toolkit/Controls.h"
#include "toolkit/Window.h"

// The window of the shared list of work in progress. It isn't closed while there is any. Main thread.
struct ProgressWindow {
    ProgressWindow();
    ~ProgressWindow();
    ProgressWindow(const ProgressWindow&) = delete;
    ProgressWindow& operator=(const ProgressWindow&) = delete;

    toolkit::Window window;
    toolkit::Stack content{toolkit::Direction::Down};
    toolkit::ViewList list;
    toolkit::Label count;

private:
    std::shared_ptr<KRProgressController> controller_ = KRProgressController::sharedController();
};
