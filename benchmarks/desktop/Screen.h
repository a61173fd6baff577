#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

struct xcb_connection_t;

// A program that ends with this object.
class Child {
public:
    // The program inherits one descriptor, unless that is negative, besides the standard ones.
    explicit Child(const std::vector<std::string>& command, int inherited = -1);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    pid_t id() const { return id_; }

private:
    pid_t id_;
};

// A display without a window manager, which nobody looks at. It is $DISPLAY from then on.
class Screen {
public:
    Screen();
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    // Waits until a window is shown and something is drawn in it. False after some seconds.
    bool waitForWindow();

private:
    bool isDrawn(std::uint32_t window, int width, int height) const;

    std::unique_ptr<Child> server_;
    xcb_connection_t* connection_ = nullptr;
    std::uint32_t root_ = 0;
};
