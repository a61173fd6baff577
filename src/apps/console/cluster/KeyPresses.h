#pragma once

#include "platform/loop/MainLoop.h"

#include <functional>
#include <memory>
#include <termios.h>

// Single keys of the terminal on standard input, without a line end, while this exists. Main thread.
class KeyPresses {
public:
    explicit KeyPresses(std::function<void(char)> pressed);
    ~KeyPresses();
    KeyPresses(const KeyPresses&) = delete;
    KeyPresses& operator=(const KeyPresses&) = delete;

    bool areRead() const { return watch_ != nullptr; } // There is a terminal, and it is this program's.
    // Calls `work`, which reads whole lines from the terminal itself.
    void withLines(const std::function<void()>& work);

private:
    termios before_{};
    termios single_{};
    std::unique_ptr<platform::MainLoop::Watch> watch_;
};
