#pragma once

#include "platform/Result.h"

#include <string>

// Whether a file can be run on this machine; else why not, as a sentence for a user. The script of a run
// would only say so in the output of each task. Any thread.
platform::Status checkExecutable(const std::string& path);

// Whether something can be written into a folder. Makes a file in it and removes it. Any thread.
platform::Status checkWritable(const std::string& folder);
