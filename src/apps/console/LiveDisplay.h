#pragma once

#include "apps/console/Terminal.h"

#include <string>
#include <vector>

// A block of lines at the end of the terminal that is written over in place: one write a frame, so that
// nothing flickers, and no more lines than the window has, so that nothing scrolls away.
class LiveDisplay {
public:
    explicit LiveDisplay(const terminal::Output& output) : output_(output) { }
    ~LiveDisplay() { finish(); }
    LiveDisplay(const LiveDisplay&) = delete;
    LiveDisplay& operator=(const LiveDisplay&) = delete;

    // Each line is at most as wide as the window, and there are fewer of them than the window has.
    void show(const std::vector<std::string>& lines, const std::vector<int>& columnsOfLines);
    // Takes the block away, so that something else can be written above its next frame.
    void clear();
    // Leaves the block where it is for good.
    void finish();

private:
    std::string toTheTop() const;

    const terminal::Output& output_;
    std::vector<int> shown_; // Columns of each line on display.
};
