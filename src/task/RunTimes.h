#pragma once

#include <optional>
#include <string>

// What the disk knows of one run beside its state. Times are those of the markers.
struct RunTimes {
    std::optional<double> started; // Seconds since 1970; nothing for a run that hasn't begun.
    std::optional<double> ended; // When it completed or was aborted.

    // How long the run took, or has taken by now, in seconds.
    std::optional<double> seconds() const;
};

// How the program of a run ended, as the shell saw it.
struct RunExit {
    int status = 0; // 128 plus the signal's number for a program that a signal ended.

    bool isFailure() const { return status != 0; }
    // "SIGSEGV" and so on; nothing for a program that ended by itself.
    std::optional<std::string> signal() const;
    std::string text() const; // The signal's name, else the number.

    // What a run has left in its folder; nothing where none was recorded.
    static std::optional<RunExit> ofRun(const std::string& folder);
    static constexpr const char* kFileName = "VTask_exitStatus";
};

// A duration as people write it: "0:07", "12:34", "3:04:05".
std::string elapsedText(double seconds);
// A moment as people write it in this place: "14:05:33", with the date before it unless it is today.
std::string momentText(double secondsSince1970);
