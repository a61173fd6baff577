#pragma once

#include "apps/console/BatchProgress.h"
#include "apps/console/LiveDisplay.h"
#include "apps/console/OpenWrapper.h"
#include "platform/loop/Pace.h"
#include "task/TaskState.h"

#include <string>
#include <vector>

// Shows a batch while it runs: a live table on a terminal, otherwise a line for each change of a task's
// state; nothing while the output is to be JSON.
class BatchDisplay {
public:
    BatchDisplay(OpenWrapper& wrapper, bool json); // The wrapper must outlive this.
    ~BatchDisplay();
    BatchDisplay(const BatchDisplay&) = delete;
    BatchDisplay& operator=(const BatchDisplay&) = delete;

    void update();
    void say(const std::string& sentence);
    // The batch goes on without being watched, unless the words go to a file or another program.
    void terminalHasGone();
    void finish();

private:
    double seconds() const { return platform::monotonicSeconds() - start_; }
    void writeChanges();

    OpenWrapper& wrapper_;
    BatchProgress progress_;
    LiveDisplay live_;
    std::vector<TaskState> states_; // As last written.
    double start_ = platform::monotonicSeconds();
    bool silent_;
};
