#pragma once

#include "examples/taskserver/OutputLines.h"
#include "platform/Result.h"
#include "platform/process/Process.h"

#include <cstdint>
#include <memory>
#include <string>

// One task of a client: its folder, its program and its process.
class ServedTask {
public:
    struct Job {
        std::int64_t project = 0;
        std::int64_t number = 0;
        std::string wrapperName; // As the client names it.
        std::string folder;
        std::string executable; // Path.
        std::string arguments; // Shell text.
    };
    explicit ServedTask(Job job) : job_(std::move(job)), output_(job_.folder + "/runOutput") { }
    ~ServedTask(); // Ends the process.
    ServedTask(const ServedTask&) = delete;
    ServedTask& operator=(const ServedTask&) = delete;

    const Job& job() const { return job_; }
    // Leaves the markers that give a task its state: started, exit status, completed.
    platform::Status start();
    bool isStarted() const { return process_ != nullptr; }
    bool hasEnded() const { return process_ && !process_->isRunning(); }
    void abort(); // A task that hasn't started never will.
    bool isAborted() const { return isAborted_; }
    OutputLines& output() { return output_; }

    bool isOver = false; // The client has been told of its end.
    bool isReported = false; // Its output, to the client.
    std::int64_t linesReported = 0;

private:
    Job job_;
    OutputLines output_;
    std::shared_ptr<platform::Process> process_;
    bool isAborted_ = false;
};
