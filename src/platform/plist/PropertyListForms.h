#pragma once

// The three forms of property lists, for the files that make up the reader.

#include "platform/plist/PropertyList.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace platform::propertylist {

constexpr int kDeepestNesting = 512;
constexpr std::uint64_t kMostValues = 4'000'000;

inline ReadResult readValue(Value value)
{
    return {ReadResult::Status::Read, std::move(value), {}};
}
inline ReadResult unreadable(std::string reason)
{
    return {ReadResult::Status::Unreadable, {}, std::move(reason)};
}

constexpr std::string_view kBinaryMagic = "bplist";
ReadResult parseBinary(std::string_view bytes);

// UTF-8 whatever its declaration says when the encoding is settled already.
enum class Encoding { AsDeclared, Utf8 };
ReadResult parseXml(std::string_view text, Encoding);

// Texts of single values, as the XML form has them; nothing when they are none. Integers beyond 64 bits with
// sign become reals as long as they fit 64 bits without one.
std::optional<Value> integerFromText(std::string_view);
std::optional<Value> realFromText(std::string_view);
std::optional<Value> dateFromText(std::string_view);
std::optional<Value> dataFromText(std::string_view);
std::string realToText(double);
std::string dateToText(Value::Date); // Whole seconds of the years 1 to 9999.
std::string dataToText(const Value::Data&);

} // namespace platform::propertylist
