#pragma once

#include "storage/KRDataFile.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace variables {

// Where the parts of a stored composite value lie: in a storage, or in a file whose structure is known, so
// that it is opened without a scan. A storage comes before a file. Immutable but for the name that a caller
// gives it.
struct StoredParts {
    std::shared_ptr<KRDataStorage> storage; // Null for a file.
    KRDataFile::FileName file;
    platform::Value structureOfFile;
    std::optional<std::string> base; // The name of the composite value; nothing at the top of a file.

    explicit operator bool() const { return storage || file; }
    // What reads the parts. With a file it is a new reader at each call, which only its caller uses.
    std::shared_ptr<KRDataStorage> reader() const;
    // The name of a part in the file.
    std::string nameOf(std::string_view part) const;
    StoredParts within(std::string_view part) const; // The parts of a part.
};

} // namespace variables
