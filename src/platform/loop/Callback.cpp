#include "platform/loop/Callback.h"

namespace platform {

void Callback::call()
{
    if (!isReady() || !work)
        return;
    isBeingCalled = true;
    const AtEndOfScope done([this] {
        isBeingCalled = false;
        if (ended)
            work = nullptr;
    });
    work();
}

void Callback::end()
{
    ended = true;
    if (!isBeingCalled)
        work = nullptr;
}

} // namespace platform
