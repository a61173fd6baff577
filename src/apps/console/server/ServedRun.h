#pragma once

#include "apps/console/BatchDisplay.h"
#include "apps/console/OpenWrapper.h"
#include "apps/console/Verbs.h"
#include "apps/console/cluster/MachineName.h"
#include "remote/server/SVRemoteEngineController.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

// A batch on its way through a task server: hands tasks to the engine, a few at a time, and follows them
// until none is left, the connection has ended, or the user ends it.
class ServedRun {
public:
    using Tasks = std::vector<std::shared_ptr<SVSingleTask>>;
    // The wrapper and the options must outlive this.
    ServedRun(OpenWrapper& wrapper, const RunOptions& options, MachineName machine, Tasks tasks);
    ~ServedRun(); // Ends the connection.
    ServedRun(const ServedRun&) = delete;
    ServedRun& operator=(const ServedRun&) = delete;

    int run(); // The exit status.

private:
    using TransferState = SVRemoteEngineController::TransferState;
    SVRemoteEngineController* engine() const;
    bool isOver();
    void handOut();
    int countOf(TransferState state) const;
    void watchSignals();
    void interrupted();
    void pressed(char key);
    void connect();
    std::vector<std::string> linesAbove() const;
    void showNewOutput(int mostLines);
    int outcome();

    OpenWrapper& wrapper_;
    const RunOptions& options_;
    const MachineName machine_;
    const Tasks tasks_;
    std::shared_ptr<SVMachineDefinitionController> definition_;
    BatchDisplay display_;
    Tasks atServer_; // Handed to the engine, and not yet back.
    std::size_t next_ = 0; // The first task that wasn't handed out over this connection.
    int linesShown_ = 0; // Of the watched task.
    int interrupts_ = 0;
    bool waitsForKeys_ = false;
    bool hasToldOfKey_ = false;
    std::vector<std::unique_ptr<platform::MainLoop::Watch>> watches_;
};
