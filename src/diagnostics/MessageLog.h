#pragma once

#include <cstdio>
#include <functional>
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
    // Opens the file that the function names, once it is needed: by begin() or by the first record. Records
    // that are added while the function runs, by itself as well, are written behind "Started".
    void openAtFirstUse(std::function<std::string()> path);
    void begin();
    // A text that isn't UTF-8 is left out.
    void add(double secondsSince1970, const std::string& text, const std::optional<std::string>& longVersion);

private:
    void write(const std::string& records); // With the lock held.

    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::mutex lock_; // Taken alone, with no other lock of the message center held.
    std::unique_ptr<std::FILE, Close> file_;
    std::function<std::string()> pathAtFirstUse_;
    bool isOpening_ = false;
    std::string waiting_; // Records that came while the file was being opened.
};

} // namespace diagnostics
