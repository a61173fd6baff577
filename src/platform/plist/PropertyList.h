#pragma once

#include "platform/plist/Value.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

// Property lists in their three forms: XML (read and written), binary (read) and the old-style text form
// (read). Nothing in a file, however it is made, may crash, recurse without bound or allocate out of
// proportion: nesting beyond 512 and content beyond 4 million values is refused, and so is a document type
// that defines entities. What isn't a number, a date or data where one is told makes the whole file
// unreadable, for a wrong value would be written back some day. Any thread.
namespace propertylist {

struct ReadResult {
    enum class Status { Read, Missing, Unreadable };
    Status status = Status::Missing;
    Value value;
    std::string reason; // For Unreadable: what is wrong, with the path, for a person.
};

// Reads a file of any of the three forms.
ReadResult readFile(const std::string& path);
// Parses bytes of any of the three forms; a text alone is no property list here. The status is never Missing.
ReadResult parse(std::string_view bytes);
// The old-style form: dictionaries, arrays, quoted and bare strings, data, comments; pairs without braces (a
// file of strings) make a dictionary. UTF-8, or UTF-16 with a byte order mark. Every leaf is a text or data.
ReadResult parseOldStyle(std::string_view text);

// Reals read back exactly; dates are cut to whole seconds. A character that XML can't carry (most control
// characters, a byte that isn't UTF-8) becomes U+FFFD, so that the file can be read in any case. A null is
// left out of a dictionary and becomes an empty text in an array.
std::string toXml(const Value&);
// Writes XML to a temporary name beside the file and moves it into place. On failure the file is as it was.
// An existing file keeps its permissions. A null value can't be written.
bool writeAtomically(const Value&, const std::string& path, std::uint32_t permissions = 0666);

} // namespace propertylist
} // namespace platform
