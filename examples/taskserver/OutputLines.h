#pragma once

#include "platform/files/Descriptor.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The lines of a file that a program is writing. A line that has no end yet counts as well.
class OutputLines {
public:
    explicit OutputLines(std::string path) : path_(std::move(path)) { }

    // Reads what has come, at most some megabytes, and returns the number of lines so far.
    std::int64_t update();
    // A line by its number, from 0, without its end; at most 64 KiB of it. Nothing when there is none.
    std::optional<std::string> line(std::int64_t number) const;

private:
    std::int64_t count() const;

    std::string path_;
    platform::Descriptor file_;
    std::int64_t size_ = 0; // Read so far.
    std::vector<std::int64_t> ends_; // Offsets of the line feeds.
};
