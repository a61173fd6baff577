#pragma once

#include "storage/KRDataFile.h"
#include "task/single/PlottedValue.h"
#include "variables/scan/KRVariableInformation.h"

#include <memory>

// Reads what a plot shows of a variable: a number over its times, an array of one dimension over its indices,
// of two as an image and of three as one of its slices, points, paths and regions in the plane. Without a
// file or a record, and for other types, there is a note. Any thread; may take long.
PlottedValue readPlottedValue(const KRDataFile::Pointer& file,
    const std::shared_ptr<const KRVariableRecord>& record, const PlottedValue::Choice& choice);
