#pragma once

#include "apps/console/Terminal.h"

#include <string>
#include <vector>

// Draws on the terminal's alternate screen, so that the main screen stays unchanged even if the window is
// resized. Each frame is a single write, to avoid flicker.
class LiveDisplay {
public:
    LiveDisplay() = default;
    ~LiveDisplay() { leave(); }
    LiveDisplay(const LiveDisplay&) = delete;
    LiveDisplay& operator=(const LiveDisplay&) = delete;

    // The lines must fit the window in length and number.
    void show(const std::vector<std::string>& lines);
    // Returns to the main screen, so that text can be written there. The next frame enters the alternate
    // screen again.
    void leave();

private:
    bool isShown_ = false;
};
