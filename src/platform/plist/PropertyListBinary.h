#pragma once

#include "platform/Result.h"
#include "platform/plist/Value.h"

#include <string_view>

namespace platform::propertylist {

constexpr std::string_view kBinaryMagic = "bplist"; // A file of this form begins so.
Result<Value> parseBinary(std::string_view bytes);

} // namespace platform::propertylist
