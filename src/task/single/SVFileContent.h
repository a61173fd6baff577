#pragma once

#include "task/single/PlottedValue.h"
#include "toolkit/Table.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

// The variables of one data file, as tables show them. The file is read on a worker, so that there are no
// rows at first. Main thread. Destroying the object drops a reading that hasn't ended.
class SVFileContent {
public:
    virtual ~SVFileContent() = default;

    virtual bool isBeingRead() const = 0; // Anew, or for what is new.
    virtual bool hasBeenRead() const = 0; // Once at least.
    virtual std::size_t count() const = 0;
    // The column "Type" shows the type, "Information" the number of time values or a single number itself,
    // and any other column the name. Rows are sorted without regard to case. Empty beyond the last row.
    virtual std::string cell(std::string_view column, std::size_t row) const = 0;
    // Looks for what has been appended to the file since, and reads a file anew that was replaced. During a
    // reading it is done afterwards.
    virtual void update() = 0;

    // Reads what a plot shows of a variable, on a worker. `read` is called once on the main thread, never
    // from inside the call and also after the object has gone. A variable that isn't there, that can't be
    // read or has nothing to draw gives a note. Of a number that was read before only what is new is read.
    // After a request to stop the value may be an empty one.
    using PlotRead = std::function<void(const PlottedValue&)>;
    virtual void readForPlot(const std::string& variable, const PlottedValue::Choice& choice,
        const std::stop_token& stop, PlotRead read) const = 0;

    // The columns of a table of variables.
    static std::vector<toolkit::Column> columns();
    // Whether a name has the extension of a data file, in upper or lower case.
    static bool isDataFile(const std::string& name);

    using Changed = std::function<void()>;
    // Starts reading the data file at a path; null where there is no file. `changed` is called on the main
    // thread whenever the rows have changed, never from inside the call. apps/composition sets it at
    // start-up; without it data files show no variables.
    using Scanner = std::function<std::shared_ptr<SVFileContent>(const std::string& path, Changed changed)>;
    static Scanner& scanner();
};
