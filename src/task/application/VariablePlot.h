#pragma once

#include "task/single/SVFileContent.h"
#include "toolkit/Plot.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

// Shows one variable of the data files of one or more tasks in a plot: their curves together; single numbers
// over the times of the tasks; of images one at a time, with a slider to choose the task. Further sliders
// choose the time step, which stays at the last one while the file grows, the slice, and the member of a
// group. Files are read on workers, each by one reading at a time, and what was shown stays until then.
// Readings of a file that is no longer shown are stopped. Main thread. The plot is borrowed.
class VariablePlot {
public:
    struct Source {
        std::string task;
        double taskTime = 0;
        std::shared_ptr<SVFileContent> content;
    };

    explicit VariablePlot(toolkit::Plot& plot);
    ~VariablePlot();
    // Reads again what is shown already, too: the files may have grown.
    void show(const std::string& variable, std::vector<Source> sources);
    void clear();

private:
    struct State;
    std::shared_ptr<State> state_;
};
