#pragma once

#include "platform/Value.h"

#include <string>
#include <string_view>

namespace platform {

// Property lists in their three forms: XML (read and written), binary (read) and the old-style text form
// (read). Nothing in a file, however it is made, may crash, recurse without bound or allocate out of
// proportion: nesting beyond 512 and content beyond 64 million values is refused. Any thread.
namespace propertylist {

struct ReadResult {
    enum class Status { Read, Missing, Unreadable };
    Status status = Status::Missing;
    Value value;
    std::string reason; // For Unreadable: what is wrong, with the path, for a person.
};

// Reads a file of any of the three forms.
ReadResult readFile(const std::string& path);
// Parses bytes of any of the three forms. The status is never Missing.
ReadResult parse(std::string_view bytes);
// The old-style form: dictionaries, arrays, quoted and bare strings, data, comments. Every leaf is a text or
// data.
ReadResult parseOldStyle(std::string_view text);

std::string toXml(const Value&);
// Writes XML to a temporary name beside the file and moves it into place. On failure the file is as it was.
bool writeAtomically(const Value&, const std::string& path);

} // namespace propertylist
} // namespace platform
