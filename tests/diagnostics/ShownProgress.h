#pragma once

#include "diagnostics/KRProgressEntry.h"
#include "platform/loop/MainLoop.h"
#include "platform/loop/Pace.h"
#include "toolkit/ViewList.h"

#include <functional>
#include <memory>
#include <string>

// A list of progress on display, with timers that run a hundred times faster, for tests of work that reports
// to it. Main thread.
class ShownProgress {
public:
    explicit ShownProgress(std::shared_ptr<KRProgressController> ofWork = KRProgressController::create())
        : controller(std::move(ofWork))
    {
        platform::MainLoop::main();
        platform::Pace::setFactor(0.01);
        controller->setProgressView(&list_);
    }
    ~ShownProgress()
    {
        controller->setProgressView(nullptr);
        platform::Pace::setFactor(1);
    }

    static bool within(const std::function<bool()>& condition)
    {
        return platform::MainLoop::main().runUntil(condition, 20);
    }
    // An entry that has come into view; `line` is its line then.
    std::shared_ptr<KRProgressEntry> addEntry()
    {
        auto entry = KRProgressEntry::createWithDescription(std::string("work"), controller);
        if (within([&] { return !controller->visibleEntries().empty(); }))
            line = controller->visibleEntries().front();
        return entry;
    }
    bool reaches(float fraction) const
    {
        return within([&] { return line->currentFraction() == fraction; });
    }

    std::shared_ptr<KRProgressController> controller;
    std::shared_ptr<KRProgressEntryController> line;

private:
    toolkit::ViewList list_;
};
