#pragma once

#include "platform/Result.h"
#include "platform/plist/Value.h"

#include <string_view>

namespace platform::propertylist {

// UTF-8 is for a text that has been converted already, whatever its own declaration says.
enum class Encoding { AsDeclared, Utf8 };
Result<Value> parseXml(std::string_view text, Encoding);

} // namespace platform::propertylist
