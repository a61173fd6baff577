#pragma once

#include <functional>
#include <string>

// The names that one run of a script uses in its work directory.
struct RunMarkers {
    const char* script;
    const char* started;
    const char* completed;
    const char* recorder; // A resource that bash reads first, to record the exit status; null for none.
};

// The markers of record, which a task's disk state is read from, and those of the older generation of
// engines, whose state is carried by callbacks alone.
inline constexpr RunMarkers kTaskMarkers{
    "VTask_runThis", "VTask_runStarted", "VTask_runCompleted", "record-exit-status.bash"};
inline constexpr RunMarkers kOlderMarkers{"runThis", "runStarted", "runCompleted", nullptr};

// Runs one program in its work directory through a small shell script, and supervises it by polling: a
// process that stays alive for 4 seconds without having touched the started marker is replaced by a new one,
// 40 times at most. Nothing of the output passes through this process. To be called on a worker thread, which
// it keeps until the end.
struct ScriptRun {
    std::string executable; // Path of the program.
    std::string workDirectory; // With a slash at its end.
    std::string argument; // Shell text behind the program's path, inserted as it stands.
    RunMarkers markers;
    std::function<bool()> abortRequested;
    std::function<void(double seconds)> sleep;

    // What the script says.
    std::string scriptText() const;

    enum class End { ByItself, Aborted };
    // A launch that fails is reported and counts as an end by itself. The script is left in place.
    End run() const;
};
