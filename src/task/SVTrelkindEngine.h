#pragma once

#include "toolkit/View.h"

#include <memory>

class SVTaskController;

// What executes the tasks of one open wrapper. A derived engine attaches to the controller when it is made
// and starts nothing then; it never touches the controller again after disconnectFromTaskController().
// Main thread.
class SVTrelkindEngine : public std::enable_shared_from_this<SVTrelkindEngine> {
public:
    explicit SVTrelkindEngine(SVTaskController* withTask) : taskController_(withTask) { }
    virtual ~SVTrelkindEngine() = default;

    virtual void start() { }
    // The panel that the controller adds to the window while the engine is attached; null when it has none.
    virtual toolkit::View* settingsView() { return nullptr; }
    // The user ends all tasks: stop the work. The controller drops the engine afterwards.
    virtual void disconnect() { }
    // The window closes: the work may go on, but without the controller.
    virtual void disconnectFromTaskController() { }
    // Whether work is in progress.
    virtual bool isRunning() { return false; }
    // Whether a run of the task with this number has begun and its end has not been seen.
    virtual bool isAtWork(int) const { return false; }
    virtual void updateStatus() { }

protected:
    SVTaskController* taskController_; // Borrowed.
};
