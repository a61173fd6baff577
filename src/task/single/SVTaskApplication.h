#pragma once

#include "task/single/KRTrelkindMachine.h"

#include <memory>
#include <vector>

class KRCountLimiter;
class SVSingleTask;
class SVTaskController;

// The application object as tasks, engines and controllers see it. There is at most one. Without one, for
// example in a test of a single class, callers skip what they would send to it. Main thread.
class SVTaskApplication {
public:
    SVTaskApplication();
    virtual ~SVTaskApplication();
    SVTaskApplication(const SVTaskApplication&) = delete;
    SVTaskApplication& operator=(const SVTaskApplication&) = delete;

    static SVTaskApplication* app();

    // Notifies the companion that these tasks' folders have changed; the notification may be delayed.
    virtual void sendSorvantaChangeNotification(SVSingleTask& task) = 0;
    virtual void sendSorvantaChangeNotificationMultiple(
        const std::vector<std::shared_ptr<SVSingleTask>>& tasks) = 0;
    virtual void removeController(SVTaskController& controller) = 0;
    // Objects to quitting.
    virtual void shouldNotQuit() = 0;
    virtual std::vector<std::shared_ptr<KRTrelkindMachine>> remoteMachines() = 0;
    // Whether an opened wrapper goes on with the batch that it has on a machine.
    virtual bool goesOnWithBatches() const { return true; }
    // Limits concurrent slow activities. Shared, because an activity may outlive the application.
    virtual const std::shared_ptr<KRCountLimiter>& countLimiter() const = 0;
};
