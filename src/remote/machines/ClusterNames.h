#pragma once

#include "platform/Result.h"

#include <optional>
#include <string>

// Names that stand unquoted in the scripts on the cluster. What refuses one answers with a sentence for the
// user.
namespace clusternames {

// The name that a wrapper's executable has on the cluster: without blanks. Empty without an executable.
std::string program(std::optional<std::string> executable);

platform::Status checkWorkFolder(const std::string& path);
platform::Status checkProgram(const std::string& name);
bool isUuid(const std::string& text); // In upper case.

} // namespace clusternames
