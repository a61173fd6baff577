#pragma once

#include "diagnostics/KRMessageCenter.h"
#include "toolkit/Controls.h"
#include "toolkit/Table.h"
#include "toolkit/Window.h"

// The window of the shared message center: the messages, the selected one at length, and how many there are.
// Main thread.
struct MessageWindow {
    MessageWindow();
    ~MessageWindow();
    MessageWindow(const MessageWindow&) = delete;
    MessageWindow& operator=(const MessageWindow&) = delete;

    toolkit::Window window;
    toolkit::Stack content{toolkit::Direction::Down};
    toolkit::Split messages{toolkit::Direction::Down};
    toolkit::Table table;
    toolkit::TextView detail;
    toolkit::Stack foot{toolkit::Direction::Across};
    toolkit::Label count;
    toolkit::Button copy;
    toolkit::Button clear;

private:
    std::shared_ptr<KRMessageCenter> center_ = KRMessageCenter::sharedMessageCenter();
};
