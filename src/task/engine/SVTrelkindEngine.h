#pragma once

#include "toolkit/View.h"

#include <memory>

class SVTaskController;

// Executes the tasks of one open wrapper. The constructor of a derived engine attaches to the controller and
// starts nothing. After disconnectFromTaskController() the engine never uses the controller again. Main
// thread.
class SVTrelkindEngine : public std::enable_shared_from_this<SVTrelkindEngine> {
public:
    explicit SVTrelkindEngine(SVTaskController* withTask) : taskController_(withTask) { }
    virtual ~SVTrelkindEngine() = default;

    virtual void start() { }
    // The panel that the controller adds to the window while the engine is attached; null for no panel.
    virtual toolkit::View* settingsView() { return nullptr; }
    // Stops the work, because the user ends all tasks. The controller drops the engine afterwards.
    virtual void disconnect() { }
    // Clears the controller, because the window closes. The work may go on.
    virtual void disconnectFromTaskController() { }
    // Whether work is in progress.
    virtual bool isRunning() { return false; }
    // Whether a run of the task with this number is queued or has begun, and its end has not been reported.
    virtual bool isAtWork(int) const { return false; }
    virtual void updateStatus() { }

protected:
    SVTaskController* taskController_; // Borrowed.
};
