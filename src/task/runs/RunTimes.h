#pragma once

#include <optional>
#include <string>

// The times of one run, taken from the modification times of its markers.
struct RunTimes {
    std::optional<double> started; // Seconds since 1970; nothing before the run has started.
    std::optional<double> ended; // Seconds since 1970, when it was completed or aborted.

    // The duration of the run in seconds, until now when it hasn't ended.
    std::optional<double> seconds() const;
};

// How the program of a run ended, as the shell reports it.
struct RunExit {
    int status = 0; // 128 plus the signal's number when a signal ended the program.

    bool isFailure() const { return status != 0; }
    // For example "SIGSEGV"; nothing when no signal ended the program.
    std::optional<std::string> signal() const;
    std::string text() const; // The signal's name, else the number.

    // Reads the exit status that a run has recorded in its folder; nothing when there is no valid one.
    static std::optional<RunExit> ofRun(const std::string& folder);
    static constexpr const char* kFileName = "VTask_exitStatus";
};

// Formats a duration: "0:07", "12:34", "3:04:05".
std::string elapsedText(double seconds);
// Formats a moment in local time: "14:05:33", with the date before it unless it is today.
std::string momentText(double secondsSince1970);
