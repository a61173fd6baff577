#pragma once

#include <string>
#include <string_view>

namespace storage {

// The text of stored bytes, up to the first NUL: UTF-8, or Mac OS Roman where it isn't valid UTF-8.
std::string decodedText(std::string_view bytes);

} // namespace storage
