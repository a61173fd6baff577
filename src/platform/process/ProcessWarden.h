#pragma once

#include "platform/files/Descriptor.h"
#include "platform/process/ProcessTable.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <vector>

namespace platform {

// One launched process, leader of a group whose number is its own.
struct Child {
    Child(pid_t process, std::string mark);

    const pid_t leader;
    const std::string mark; // In the environment of all that it starts.
    std::atomic<bool> ended = false;
    std::atomic<int> status = -1; // Set before ended.

private:
    friend class ProcessWarden;
    // The members below are guarded by the warden's mutex.
    const std::uint64_t startTime; // 0 if unknown. Older processes can't be the child's.
    Descriptor leaderDescriptor; // Readable when the leader has ended; empty where the kernel has none.
    bool isTerminating = false;
    // While the leader isn't reaped its number can't pass to another process, and so its group can be
    // signalled. Afterwards the number is safe as long as one of these is alive and in the group.
    bool isReaped = false;
    std::vector<KnownProcess> survivors;
};

// Waits for the launched processes on a thread of its own, so that none stays a zombie, and kills those that
// don't end when asked. Lives as long as this process. Any thread.
class ProcessWarden {
public:
    static ProcessWarden* instance(); // Null when the machine gives no thread for it.

    void add(const std::shared_ptr<Child>&);
    bool waitUntilExit(const Child&, double limitInSeconds);
    void terminate(const std::shared_ptr<Child>&);
    bool finishTerminations(double limitInSeconds);
    void killTerminating();

private:
    struct Termination {
        std::shared_ptr<Child> child;
        std::vector<KnownProcess> strays; // Outside of the group, and started by its members.
        double killAt = 0;
        double lookAt = 0;
        double lookInterval = 0;
    };

    ProcessWarden();
    void serve();
    void wake();
    void waitForEvents();
    // All below are called with the mutex held. The table is null where there is none.
    void noteEnded();
    void noteEnd(Child&);
    static void noteSurvivors(Child&, const ProcessTable&);
    static bool ownsGroup(Child&, const ProcessTable*);
    // Adds the strays that aren't known yet and tells whether there were any.
    static bool gatherStrays(Termination&, const ProcessTable*);
    static void askToEnd(Termination&);
    void followUp(bool atOnce);
    // Kills the overdue processes. True when none is left, neither in the group nor outside.
    static bool settle(Termination&, const ProcessTable*, bool atOnce);

    std::mutex mutex_;
    std::condition_variable changed_;
    std::list<std::shared_ptr<Child>> running_;
    std::list<Termination> terminations_;
    Descriptor wakeEvent_;
};

} // namespace platform
