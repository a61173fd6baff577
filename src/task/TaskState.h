#pragma once

class SVSingleTask;

// The state of a run by its markers, as every front end counts and names it. "Done" wins over "Aborted", and
// says that the program has ended, whatever it returned.
enum class TaskState { Waiting, Checking, Running, Done, Aborted };

TaskState stateOf(const SVSingleTask& task);
const char* wordFor(TaskState state); // "Waiting", "Running", ...
