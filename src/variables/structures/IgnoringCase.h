#pragma once

#include <algorithm>
#include <string_view>

namespace variables {

// The order of names in lists for people: without regard to the case of ASCII letters, and then by bytes, so
// that the order is always the same.
inline bool lessIgnoringCase(std::string_view a, std::string_view b)
{
    const auto lower = [](char c) {
        return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
    };
    const auto [inA, inB] = std::mismatch(
        a.begin(), a.end(), b.begin(), b.end(), [&](char x, char y) { return lower(x) == lower(y); });
    if (inA == a.end() || inB == b.end())
        return a.size() != b.size() ? a.size() < b.size() : a < b;
    return lower(*inA) < lower(*inB);
}

} // namespace variables
