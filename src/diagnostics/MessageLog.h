#pragma once

#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace diagnostics {

// A date as the log and the reports write it, "11/3 at 09:05:07": local time, the day without a leading zero.
std::string logDate(double secondsSince1970);
// A time of day, "09:05:07".
std::string timeOfDay(double secondsSince1970);

// The log file of a process: one record a message, flushed at once, so that a crash loses nothing. Records of
// different threads never mix. Any thread.
class MessageLog {
public:
    // Truncates what a previous run left and writes the record "Started". Without a file, add() does nothing.
    void open(const std::string& path);
    bool isOpen() const;
    // A text that isn't UTF-8 is left out.
    void add(double secondsSince1970, const std::string& text, const std::optional<std::string>& longVersion);

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    mutable std::mutex lock_; // Taken alone, with no other lock of the message center held.
    std::unique_ptr<std::FILE, Close> file_;
};

} // namespace diagnostics
