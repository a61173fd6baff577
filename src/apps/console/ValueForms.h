#pragma once

#include "apps/console/ShownValue.h"
#include "apps/console/Terminal.h"

#include <nlohmann/json_fwd.hpp>
#include <string>

// The forms in which the verb "value" prints a value.

nlohmann::ordered_json jsonOf(const ShownValue& value);
// Writes rows of columns to standard output; the layers of an array follow each other with an empty line
// between them. False when it can't be written.
bool writeAsCsv(const ShownValue& value);
// What the value is, and as many of its numbers as fit on a screen of that size.
std::string textOf(const ShownValue& value, terminal::Size screen);
