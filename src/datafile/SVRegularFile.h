#pragma once

#include "datafile/SVFile.h"

// Opens a file as SVFile does, by its open type; null when that can't be done.
//
// What is no regular file is refused: a folder, a device, or a pipe, at which a reader would wait for a
// writer that may never come. A new file doesn't take the place of such a thing either.
std::FILE* SVOpenRegularFile(const std::string& name, SVFile::OpenType type);
