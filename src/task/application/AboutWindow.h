#pragma once

#include "toolkit/Controls.h"
#include "toolkit/Window.h"

#include <string>
#include <vector>

// Tells the program's version and licence, and those of the libraries it uses. Main thread.
class AboutWindow {
public:
    struct Library {
        std::string name;
        std::string version;
        std::string licence; // By its SPDX identifier.
    };
    AboutWindow(const std::string& version, const std::vector<Library>& libraries);

    void show() { window_.orderFront(); }

private:
    toolkit::TextView text_;
    toolkit::Window window_;
};
