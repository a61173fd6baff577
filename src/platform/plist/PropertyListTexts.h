#pragma once

#include "platform/plist/Value.h"

#include <optional>
#include <string>
#include <string_view>

namespace platform::propertylist {

// Single values as the XML form writes them. Reading gives nothing when the text is no such value. Integers
// beyond 64 bits with sign become reals as long as they fit 64 bits without one.
std::optional<Value> integerFromText(std::string_view);
std::optional<Value> realFromText(std::string_view);
std::optional<Value> dateFromText(std::string_view);
std::optional<Value> dataFromText(std::string_view);
std::string realToText(double);
std::string dateToText(Value::Date); // Whole seconds of the years 1 to 9999.
std::string dataToText(const Value::Data&);

} // namespace platform::propertylist
