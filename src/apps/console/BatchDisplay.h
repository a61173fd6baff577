#pragma once

#include "apps/console/BatchProgress.h"
#include "apps/console/LiveDisplay.h"
#include "apps/console/OpenWrapper.h"
#include "platform/loop/Pace.h"
#include "task/single/TaskState.h"

#include <functional>
#include <string>
#include <vector>

// Shows a batch while it runs: a live table on a terminal, otherwise a line for each change of a task's
// state. A silent display shows nothing.
class BatchDisplay {
public:
    enum class Kind { Shown, Silent };
    // The wrapper must outlive this. `concurrency` returns how many tasks run at a time; `above` the lines
    // above the tasks, of which only those that have changed are printed where there is no live table.
    BatchDisplay(OpenWrapper& wrapper, Kind kind, std::function<int()> concurrency,
        std::function<std::vector<std::string>()> above = nullptr);
    ~BatchDisplay();
    BatchDisplay(const BatchDisplay&) = delete;
    BatchDisplay& operator=(const BatchDisplay&) = delete;

    void update();
    void say(const std::string& sentence);
    // Writes lines to standard output, each with its end.
    void show(const std::string& lines);
    // Restores the terminal, because the user suspends the program.
    void leave() { live_.leave(); }
    // Stops the display, unless standard output goes to a file or another program.
    void terminalHasGone();
    // Prints the final table and the line of totals.
    void finish();

private:
    double seconds() const { return platform::monotonicSeconds() - start_; }
    void writeChanges();
    void writeChangesAbove();
    void write(const std::string& text);

    OpenWrapper& wrapper_;
    BatchProgress progress_;
    LiveDisplay live_;
    std::function<int()> concurrency_;
    std::function<std::vector<std::string>()> above_;
    std::vector<std::string> lastAbove_; // As last printed.
    std::vector<TaskState> states_; // As last printed.
    std::vector<std::string> notices_; // Sentences printed while the live table is shown.
    double start_ = platform::monotonicSeconds();
    bool isSilent_;
    bool isLive_;
};
