#pragma once

#include <functional>
#include <optional>
#include <string>

namespace storage {

// The name at the end of a chain of texts, each of them the name of the next variable. `textUnder` gives the
// text of a name, and nothing for what is no text. Nothing for a circle of any length, which is reported.
std::optional<std::string> endOfRedirections(const std::string& name,
    const std::function<std::optional<std::string>(const std::string& name)>& textUnder);

} // namespace storage
