#pragma once

#include <string>
#include <string_view>

namespace ssh {

bool canConvert(const std::string& charset); // Whether texts can be taken to and from this charset.

// Characters that can't be read or written become "?"; an unknown charset leaves the text as it is.
std::string convertText(std::string_view text, const std::string& from, const std::string& to);

} // namespace ssh
