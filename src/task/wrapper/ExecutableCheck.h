#pragma once

#include "platform/Result.h"

#include <string>

// Checks whether this machine can run a file; the error is a sentence for the user. Without this check the
// reason would only appear in the output of each task. Any thread.
platform::Status checkExecutable(const std::string& path);

// Checks whether a folder can be written by making a file in it and removing it. Any thread.
platform::Status checkWritable(const std::string& folder);
