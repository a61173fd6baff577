#pragma once

#include <cstdio>
#include <string>

// Opens a file in the mode "rb", "r+b" or "w+b" of fopen(). For "w+b" an old file is removed first. Null on
// failure.
//
// Anything but a regular file is refused: opening a pipe, for example, could wait forever for a writer. A new
// file doesn't replace a folder, a device or a pipe either.
std::FILE* SVOpenRegularFile(const std::string& name, const char* mode);

// Replaces the content of a file as a whole: the bytes go to a new file in the same folder, which is renamed
// when it is on the disk. On failure it returns false and leaves the old file as it was.
bool SVReplaceFile(const std::string& name, const std::string& bytes);
