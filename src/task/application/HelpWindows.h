#pragma once

#include "toolkit/Controls.h"
#include "toolkit/Window.h"

#include <array>

class KRTrelkindApplication;

// The pages of the help, each with a window of its own. Main thread.
class HelpWindows {
public:
    static constexpr std::size_t kPages = 4;
    explicit HelpWindows(KRTrelkindApplication& application); // Must outlive this.

    const std::string& title(std::size_t page) const { return windows_.at(page).title(); }
    void show(std::size_t page) { windows_.at(page).orderFront(); }

private:
    std::array<toolkit::Window, kPages> windows_;
};
