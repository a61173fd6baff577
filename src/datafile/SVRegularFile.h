#pragma once

#include <cstdio>
#include <string>

// Opens a file in one of the modes "rb", "r+b" and "w+b" as fopen() has them, the last by removing an old
// file first; null when that can't be done.
//
// What is no regular file is refused: a folder, a device, or a pipe, at which a reader would wait for a
// writer that may never come. A new file doesn't take the place of such a thing either.
std::FILE* SVOpenRegularFile(const std::string& name, const char* mode);

// Gives a file these bytes, all at once: they are written to a file of another name in the same folder, which
// takes the name when it is on the disk. False, and the old file as it was, when that can't be done.
bool SVReplaceFile(const std::string& name, const std::string& bytes);
