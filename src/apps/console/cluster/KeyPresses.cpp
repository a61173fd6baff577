#include "apps/console/cluster/KeyPresses.h"

#include <unistd.h>

KeyPresses::KeyPresses(std::function<void(char)> pressed)
{
    // A program in the background would be stopped for changing the terminal.
    if (::isatty(STDIN_FILENO) != 1 || ::isatty(STDOUT_FILENO) != 1
        || ::tcgetpgrp(STDIN_FILENO) != ::getpgrp() || ::tcgetattr(STDIN_FILENO, &before_) != 0)
        return;
    single_ = before_;
    single_.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    if (::tcsetattr(STDIN_FILENO, TCSANOW, &single_) != 0)
        return;
    watch_ = platform::MainLoop::main().watchReadable(STDIN_FILENO, [this, pressed = std::move(pressed)] {
        char key = 0;
        if (::read(STDIN_FILENO, &key, 1) == 1)
            pressed(key);
        else
            watch_.reset(); // The terminal has gone.
    });
}

void KeyPresses::withLines(const std::function<void()>& work)
{
    ::tcsetattr(STDIN_FILENO, TCSANOW, &before_);
    work();
    ::tcsetattr(STDIN_FILENO, TCSANOW, &single_);
}

KeyPresses::~KeyPresses()
{
    ::tcsetattr(STDIN_FILENO, TCSANOW, &before_);
}
