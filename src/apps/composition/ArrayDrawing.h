#pragma once

#include "storage/KRDataFile.h"
#include "task/single/PlottedValue.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What is drawn of a value that is stored as one array.
namespace drawing {

// Whether values of a type are stored so.
bool isOneArray(std::string_view type);

// Adds what is drawn of the value at a place of the file: nothing where it can't be read. `range` is that of
// its numbers where it is known: a field that stays in its file tells its own by samples alone.
void showArray(const KRDataFile::Pointer& file, std::string_view type, const std::string& place,
    const std::optional<toolkit::PlotRange>& range, const PlottedValue::Choice& choice, PlottedValue& value);

// All numbers of an array; none where it can't be read.
std::vector<double> numbersAt(const KRDataFile::Pointer& file, const std::string& place);

} // namespace drawing
