#pragma once

#include <optional>
#include <string>
#include <vector>

// The verbs of the console front end. Each answers the exit status of the program. Their defaults stand here,
// and the command line tells their meaning.

struct RunOptions {
    std::string wrapper;
    std::optional<int> concurrency;
    bool json = false;
};
int runVerb(const RunOptions& options);

struct WrapperOptions {
    std::string wrapper;
    bool json = false;
};
int statusVerb(const WrapperOptions& options);
int prepareVerb(const WrapperOptions& options);

struct TaskOptions {
    std::string wrapper;
    int number = 0; // As shown, from 1.
    bool json = false;
    bool follow = false;
};
int filesVerb(const TaskOptions& options);
int outputVerb(const TaskOptions& options);

struct VariablesOptions {
    std::vector<std::string> places; // A file; or a wrapper, a number and a file's name.
    bool json = false;
};
int variablesVerb(const VariablesOptions& options);

struct ClearOptions {
    std::string wrapper;
    bool aborted = false;
    std::vector<int> numbers;
};
int clearVerb(const ClearOptions& options);
