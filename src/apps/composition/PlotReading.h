#pragma once

#include "storage/KRDataFile.h"
#include "task/single/PlottedValue.h"
#include "variables/scan/KRVariableInformation.h"

#include <memory>
#include <optional>
#include <stop_token>

struct PlotRequest {
    PlottedValue::Choice choice;
    // What a reading of the same number has given before: it goes on from there, since files only grow.
    std::optional<toolkit::PlotCurve> earlier{};
    std::stop_token stop{}; // Then the value is an empty one.
};

// Reads what a plot shows of a variable: a number over its times, an array of one dimension over its indices,
// of two as an image and of three as one of its slices, points, paths and regions in the plane, the columns
// of a table over one of them, and one member of a group. A large field stays in the file, which is kept open
// by the content. Without a file or a record, and for other types, there is a note. Any thread; may take
// long.
PlottedValue readPlottedValue(const KRDataFile::Pointer& file,
    const std::shared_ptr<const KRVariableRecord>& record, const PlotRequest& request);
