#pragma once

#include "storage/KRDataStorage.h"

#include <string>
#include <vector>

// A parameter that is stored with a value: its kind, such as "Point2D" or "Real Number", its name, and the
// name of the entry that holds it.
struct ExtraParameter {
    std::string kind;
    std::string name;
    std::string entry;
};

// The parameters stored with the value of a name, in their order; one that is missing, or without kind or
// name, is left out.
std::vector<ExtraParameter> extraParametersOf(const std::string& name, KRDataStorage& inside);
