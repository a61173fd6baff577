#pragma once

#include "platform/loop/CommonLoop.h"

namespace platform {

// The main loop of programs without windows: it waits in a system call.
class PollLoop final : public CommonLoop {
private:
    void wait(double seconds) override;
};

} // namespace platform
