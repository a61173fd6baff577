#pragma once

#include "storage/KRDataStorage.h"

#include <optional>
#include <string>

namespace variables {

// The text under a name; nothing for a missing name and for numbers. A text may have become an array of
// bytes when its file was indexed: it still counts.
std::optional<std::string> wordUnder(KRDataStorage& storage, const std::string& name);

// What an announcement ("Seq_" + name) says: the type name, or the number of a type code, perhaps with a time
// step behind it.
struct Announcement {
    std::optional<std::string> word; // Nothing for a code.
    double code = 0;
    double timeStep = -1; // -1 for none.
};
Announcement readAnnouncement(KRDataStorage& storage, const std::string& name);

} // namespace variables
