#pragma once

#include <string>
#include <string_view>

namespace ssh {

bool canConvert(const std::string& charset); // To and from UTF-8.

// Characters that can't be converted become "?". With an unknown charset, the text stays as it is.
std::string convertText(std::string_view text, const std::string& from, const std::string& to);

} // namespace ssh
