#pragma once

#include "storage/values/KRAnyArray.h"
#include "storage/values/StorageNumber.h"

#include <nlohmann/json_fwd.hpp>
#include <string>

// Numbers for programs and for people, the same in every locale. What isn't finite is "NaN", "Infinity" or
// "-Infinity".

// An element of an array, by its place in column order.
StorageNumber elementOf(const KRAnyArray& array, long index);

// Text that reads back, as a double, to the same bits.
std::string exactText(const StorageNumber& number);
// For people: with 15 significant digits, or as many as a float has.
std::string shortText(const StorageNumber& number);
// An integer, a real, or the word for what isn't finite.
nlohmann::ordered_json jsonNumber(const StorageNumber& number);
