#pragma once

#include "task/KRTrelkindMachine.h"

#include <memory>
#include <vector>

class KRCountLimiter;
class SVSingleTask;
class SVTaskController;

// The application object as tasks, engines and controllers see it. There is at most one; without one (in a
// test of a single class, say) what is sent to it goes nowhere. Main thread.
class SVTaskApplication {
public:
    SVTaskApplication();
    virtual ~SVTaskApplication();
    SVTaskApplication(const SVTaskApplication&) = delete;
    SVTaskApplication& operator=(const SVTaskApplication&) = delete;

    static SVTaskApplication* app();

    // Tells the companion, sooner or later, that something has changed in these tasks' folders.
    virtual void sendSorvantaChangeNotification(SVSingleTask& task) = 0;
    virtual void sendSorvantaChangeNotificationMultiple(
        const std::vector<std::shared_ptr<SVSingleTask>>& tasks) = 0;
    virtual void removeController(SVTaskController& controller) = 0;
    // An objection to quitting.
    virtual void shouldNotQuit() = 0;
    virtual std::vector<std::shared_ptr<KRTrelkindMachine>> remoteMachines() = 0;
    // The gate for slow outside activities, which outlives the application while an activity is inside.
    virtual const std::shared_ptr<KRCountLimiter>& countLimiter() const = 0;
};
