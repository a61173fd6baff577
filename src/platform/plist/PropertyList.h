#pragma once

#include "platform/Result.h"
#include "platform/plist/PropertyListOldStyle.h"
#include "platform/plist/PropertyListWriter.h"
#include "platform/plist/Value.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

// Property lists in their three forms: XML (read and written), binary (read) and the old-style text form
// (read). Nothing in a file, however it is made, may crash, recurse without bound or allocate out of
// proportion: nesting beyond 512 and content beyond 4 million values is refused, and so is a document type
// that defines entities. An invalid number, date or data makes the whole file unreadable: a wrong value would
// be written back some day. Any thread.
namespace propertylist {

// Reads a file of any of the three forms. A null value when there is no such file; an error, with the path,
// when there is one that can't be read.
Result<Value> readFile(const std::string& path);
// Parses bytes of any of the three forms; a text alone is no property list here.
Result<Value> parse(std::string_view bytes);
// Writes XML to a temporary name beside the file and moves it into place. On failure the file is as it was.
// An existing file keeps its permissions. A null value can't be written.
Status writeAtomically(const Value&, const std::string& path, std::uint32_t permissions = 0666);

} // namespace propertylist
} // namespace platform
