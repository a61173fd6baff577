#pragma once

#include "platform/loop/MainLoop.h"
#include "toolkit/Model.h"

namespace toolkit {

// What a model has told its observers, and how often.
struct Noted {
    explicit Noted(Model& model)
        : observation(model.observe(
            [this](const Change& change) {
                ++times;
                all |= change;
            },
            [this] { ended = true; }))
    { }

    // Whether there has been a notice of reloaded data since the last call.
    bool takeReload()
    {
        platform::MainLoop::main().runPending();
        const bool reloaded = all.data;
        all = {};
        return reloaded;
    }

    int times = 0;
    Change all;
    bool ended = false;
    Model::Observation observation;
};

} // namespace toolkit
