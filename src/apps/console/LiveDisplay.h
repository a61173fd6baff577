#pragma once

#include "apps/console/Terminal.h"

#include <string>
#include <vector>

// Draws on the terminal's second screen: what the user had on the first one stays, whatever happens to the
// window's size meanwhile. One write a frame, so that nothing flickers.
class LiveDisplay {
public:
    LiveDisplay() = default;
    ~LiveDisplay() { leave(); }
    LiveDisplay(const LiveDisplay&) = delete;
    LiveDisplay& operator=(const LiveDisplay&) = delete;

    // Each line fits the window, and there are no more of them than the window has.
    void show(const std::vector<std::string>& lines);
    // Gives the first screen back, so that something can be written there. The next frame takes the second
    // one again.
    void leave();

private:
    bool isShown_ = false;
};
