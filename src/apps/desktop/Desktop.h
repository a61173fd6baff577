#pragma once

#include "task/application/MainMenu.h"
#include "toolkit/Window.h"

#include <QPointer>
#include <vector>

class WindowWidget;

// Shows the windows of the program on the desktop as they come and go, and offers what the desktop can do to
// the program. Main thread.
class Desktop {
public:
    explicit Desktop(MainMenu& menus); // Must outlive this.
    ~Desktop();
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;

private:
    void fillWorkspace();
    void showWindows();
    WindowWidget* widgetFor(const toolkit::Window& window) const;

    MainMenu& menus_;
    std::vector<QPointer<WindowWidget>> widgets_;
    toolkit::Window* frontmost_ = nullptr; // As last brought to the front; never followed.
    toolkit::Model::Observation observation_;
};
