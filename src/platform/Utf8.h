#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform::utf8 {

// The text's first invalid byte, or nothing when all of it is valid (no surrogates, no overlong forms).
std::optional<std::size_t> firstInvalidByte(std::string_view text);
// Appends the character; one that UTF-8 can't carry (a surrogate) becomes U+FFFD.
void append(std::string& text, char32_t character);

// Nothing when it is torn in the middle of a character; a lone half of a pair becomes U+FFFD.
std::optional<std::string> fromUtf16(std::string_view bytes, bool bigEndian);
// Turns bytes with a byte order mark of UTF-16 into UTF-8 and strips the mark of UTF-8; bytes without a mark
// are given back as they are. Nothing when UTF-16 is torn in the middle of a character.
std::optional<std::string> fromMarkedText(std::string_view bytes);

} // namespace platform::utf8
