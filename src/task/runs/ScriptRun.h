#pragma once

#include <functional>
#include <string>

// The file names that one run of a script uses in its work directory.
struct RunMarkers {
    const char* script;
    const char* started;
    const char* completed;
    const char* recorder; // A resource that bash reads first to record the exit status; null for none.
};

// The first set gives a task its state on disk. The second set belongs to the older generation of engines,
// which report the state by callbacks alone.
inline constexpr RunMarkers kTaskMarkers{
    "VTask_runThis", "VTask_runStarted", "VTask_runCompleted", "record-exit-status.bash"};
inline constexpr RunMarkers kOlderMarkers{"runThis", "runStarted", "runCompleted", nullptr};

// Runs one program in its work directory through a small shell script and supervises it by polling. A process
// that lives for 4 seconds without touching the started marker is replaced by a new one, at most 40 times.
// The output does not pass through this process. Blocks its thread until the run has ended, so call it on a
// worker thread.
struct ScriptRun {
    std::string executable; // Path of the program.
    std::string workDirectory; // Ends with a slash.
    std::string argument; // Shell text after the program's path, inserted unchanged.
    RunMarkers markers;
    std::function<bool()> abortRequested;
    std::function<void(double seconds)> sleep;

    // The text of the script.
    std::string scriptText() const;

    enum class End { ByItself, Aborted };
    // A failed launch is reported as a message and returns ByItself. The script is not removed.
    End run() const;
};
