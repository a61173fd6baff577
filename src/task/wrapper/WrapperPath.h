#pragma once

#include <string>

// The wrapper that a path names or lies in: the nearest folder on the way up whose name ends in ".vtask", or
// that holds what a wrapper holds. The path itself when there is none. Any thread.
std::string wrapperContaining(const std::string& path);
