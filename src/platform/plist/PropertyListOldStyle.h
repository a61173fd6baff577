#pragma once

#include "platform/Result.h"
#include "platform/plist/Value.h"

#include <string_view>

namespace platform::propertylist {

// The old-style form: dictionaries, arrays, quoted and bare strings, data, comments; pairs without braces (a
// file of strings) make a dictionary. UTF-8, or UTF-16 with a byte order mark. Every leaf is a text or data.
Result<Value> parseOldStyle(std::string_view text);

} // namespace platform::propertylist
