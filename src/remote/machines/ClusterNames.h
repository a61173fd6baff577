#pragma once

#include "platform/Result.h"

#include <string>

// Names that stand unquoted in the scripts on the cluster. Each answers with a sentence for the user.
namespace clusternames {

platform::Status checkWorkFolder(const std::string& path);
platform::Status checkProgram(const std::string& name);
bool isUuid(const std::string& text); // In upper case.

} // namespace clusternames
