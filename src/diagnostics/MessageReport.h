#pragma once

#include "diagnostics/KRMessageCenter_Entry.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace diagnostics {

using MessageList = std::vector<std::shared_ptr<const KRMessageCenter_Entry>>;

// The support address of this deployment, fixed when the program is built.
const char* supportAddress();

// The messages as an XML property list: an array of dictionaries with "Short", "Long" and "Date".
std::string messagesAsPropertyList(const MessageList&);

// The messages' property list between two lines, with a description of the program when there is one.
std::string framedReport(const MessageList&, const std::optional<std::string>& descriptionOfApp);

// The whole text with its percent escapes, for use in a URL; nothing when it isn't UTF-8.
std::optional<std::string> percentEscaped(const std::string& text);

} // namespace diagnostics
