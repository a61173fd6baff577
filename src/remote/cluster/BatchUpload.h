#pragma once

#include "platform/plist/Value.h"

#include <string>
#include <vector>

// The action lists of the two uploads of a batch. They read local files: made on the thread that uploads.
namespace batchupload {

// A batch has job scripts and keeps its program in the login's cache; a set-up has neither.
enum class Kind { Batch, SetUp };

// The run folders with their input; in a batch the job scripts, and the script that submits them.
platform::Value::Array input(Kind kind, const std::string& wrapper, const std::string& workDirectory,
    const std::string& batch, const std::string& program, const std::vector<int>& runs);

// The project's files, what make needs, and the script that compiles them.
platform::Value::Array sources(Kind kind, const std::string& projectPath, const std::string& batchFolder,
    const std::string& program, const std::string& md5);

} // namespace batchupload
