#pragma once

#include "platform/plist/Value.h"
#include "storage/KRDataFileEntry.h"

#include <cstdint>
#include <optional>

// The dictionary of an entry, in which the content of a file travels as a property list: "O" the offset of
// the data, "m", "n" and "o" the dimensions, "F" the type and flags, "V" the number or text that is kept.
namespace storage {

struct EntryParts {
    std::uint64_t offset = 0;
    KRDataFileEntry::Shape shape;
    std::uint8_t type = 0; // "F" modulo 32.
    bool isAString = false; // 32 of "F".
    bool isSparse = false; // 64 of "F".
};

platform::Value entryDictionary(const KRDataFileEntry& entry, bool hasThirdDimension);
// Nothing unless all keys are there and their values are in range.
std::optional<EntryParts> partsOfEntryDictionary(const platform::Value& dictionary, bool hasThirdDimension);
// "V", for an array of a single element.
void takeCachedNumber(const platform::Value& dictionary, KRDataFileEntry& entry);
// A number of a dictionary that must lie between 0 and a limit.
std::optional<std::int64_t> numberInRange(
    const platform::Value& dictionary, std::string_view key, std::int64_t most);

} // namespace storage
