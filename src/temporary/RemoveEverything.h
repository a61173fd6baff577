#pragma once

#include <cstdint>
#include <string>

namespace temporary {

// Removes a file, a link or a whole folder. Read-only folders inside are opened for their owner first. Goes
// on after a failure, so that as little as possible is left, and tells whether everything has gone; something
// that isn't there counts as gone. Links are removed, never followed. Any thread.
bool removeEverything(const std::string& path);

// The sum of the sizes below a folder, in bytes. Links are not followed; a folder that can't be listed counts
// as nothing. Any thread.
std::uint64_t sizeOfDirectory(const std::string& path);

} // namespace temporary
