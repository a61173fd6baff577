#pragma once

#include "task/wrapper/NewWrapper.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The verbs of the console front end. Each returns the exit status of the program. main.cpp describes the
// options.

int newVerb(const NewWrapper& wanted);

struct RunOptions {
    std::string wrapper;
    std::vector<std::string> tasks; // Numbers and ranges; empty for all tasks.
    std::optional<int> concurrency;
    bool failed = false;
    bool halt = false;
    bool dryRun = false;
    bool quiet = false;
    bool json = false;
    // On a cluster.
    std::optional<std::string> on; // USER@HOST, or USER@HOST:QUEUE.
    std::optional<std::string> workFolder;
    std::optional<double> minutes; // Between looks.
    bool detach = false;
    bool withoutArguments = false;
    bool acceptNewHostKey = false;
    // Through a task server.
    std::optional<std::string> server; // USER@HOST
    std::optional<int> watch; // The task whose output is shown, from 1.
    bool allowServerWithoutSecret = false;
};
int runVerb(const RunOptions& options);

// The same for a wrapper whose batch is on a cluster, or goes there.
int clusterRunVerb(const RunOptions& options);
bool hasBatchOnCluster(const std::string& wrapper);

// The same through a task server on another machine.
int serverRunVerb(const RunOptions& options);

struct CheckOptions {
    std::string wrapper;
    bool json = false;
};
int checkVerb(const CheckOptions& options);

struct EndOptions {
    std::string wrapper;
    bool cancelJobs = false;
    bool remove = false;
    bool yes = false;
};
int endVerb(const EndOptions& options);

struct MachinesOptions {
    enum class Action { List, Add, Remove, Password, Check, Files };
    Action action = Action::List;
    std::string machine; // USER@HOST
    std::optional<std::string> queue; // Separated by commas.
    std::optional<std::string> key;
    std::optional<int> port;
    std::optional<std::string> through;
    bool allowWeak = false;
    bool acceptNewHostKey = false;
    std::optional<int> passwordDescriptor;
    std::optional<std::string> workFolder;
    bool yes = false;
    bool json = false;
};
int machinesVerb(const MachinesOptions& options);

struct StatusOptions {
    std::string wrapper;
    bool failed = false;
    bool running = false;
    bool waiting = false;
    bool json = false;
};
int statusVerb(const StatusOptions& options);

struct PrepareOptions {
    std::string wrapper;
};
int prepareVerb(const PrepareOptions& options);

struct TaskOptions {
    std::string wrapper;
    int number = 0; // As in the task table, from 1.
    bool json = false;
    bool follow = false;
};
int filesVerb(const TaskOptions& options);
int outputVerb(const TaskOptions& options);

struct VariablesOptions {
    std::vector<std::string> places; // A file; or a wrapper, a number and a file name.
    bool json = false;
    bool follow = false;
};
int variablesVerb(const VariablesOptions& options);

struct ValueOptions {
    std::vector<std::string> places; // FILE NAME, or WRAPPER NUMBER FILE NAME.
    std::optional<double> time;
    std::optional<std::int64_t> step;
    bool json = false;
    bool csv = false;
};
int valueVerb(const ValueOptions& options);

struct ClearOptions {
    std::string wrapper;
    bool aborted = false;
    bool yes = false;
    std::vector<std::string> tasks; // Numbers and ranges.
};
int clearVerb(const ClearOptions& options);
