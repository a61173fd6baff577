#pragma once

#include <cstdint>

namespace platform::propertylist {

// What no form of a property list may exceed.
constexpr int kDeepestNesting = 512;
constexpr std::uint64_t kMostValues = 4'000'000;

} // namespace platform::propertylist
