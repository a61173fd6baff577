#pragma once

#include "platform/Result.h"
#include "platform/process/Process.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

class KRCountLimiter;
class SVSingleTask;

// One copy between this machine and a server, recursive and with modes and dates.
struct ScpRequest {
    enum class Direction { ToServer, FromServer };
    Direction direction = Direction::ToServer;
    std::string userName;
    std::string hostName;
    std::string from; // A path here or there, by the direction.
    std::string to; // A folder that exists here gets the source into it.
    std::shared_ptr<SVSingleTask> delegate; // Its abort ends the copy; may be null.

    // Why this must not stand in a script; a sentence for the user.
    platform::Status check() const;
    // The script and the folder that it runs in. The marker is touched before scp starts.
    std::string scriptText(const std::string& marker) const;
    std::string workDirectory() const;

private:
    bool arrivesInFolder() const;
};

// Runs the copies of one engine, one at a time, each through a small shell script. The name of a script is
// unique among all programs of this user. Worker threads, which wait.
//
// Locks: the launch of a process takes one lock of the process, so that one is forked at a time, and the
// engine's lock, which is kept until the copy has ended. Neither is held while the other is waited for.
class ScpTransfers {
public:
    // The gate bounds the copies of all engines; null for none.
    explicit ScpTransfers(std::shared_ptr<KRCountLimiter> gate) : gate_(std::move(gate)) { }

    // Whether all of it was copied. A program that can't be launched is reported; scp's own words are lost.
    bool run(const ScpRequest& request);
    // Ends the copy that is under way, and refuses further ones. Any thread.
    void stop() { isStopped_ = true; }

    // Holds one access of a gate, which may be null.
    class Access {
    public:
        explicit Access(KRCountLimiter* gate);
        ~Access();
        Access(const Access&) = delete;
        Access& operator=(const Access&) = delete;

    private:
        KRCountLimiter* gate_;
    };
    static std::mutex& launchLock(); // VTaskSSHLock
    const std::shared_ptr<KRCountLimiter>& gate() const { return gate_; }

private:
    struct Files;
    enum class Start { Counts, IsReplaced, IsEnded };
    bool runScript(const ScpRequest& request, const Files& files);
    std::shared_ptr<platform::Process> launch(
        const ScpRequest& request, const Files& files, std::unique_lock<std::mutex>& own);
    // A start counts when the process has touched the marker, or has ended.
    Start watchStart(const ScpRequest& request, const Files& files, platform::Process& process) const;
    bool endIfWanted(const ScpRequest& request, platform::Process& process) const;
    void reportFailure(const ScpRequest& request, const std::string& name, const std::string& reason) const;

    std::shared_ptr<KRCountLimiter> gate_;
    std::mutex lockForSCP_;
    std::atomic<double> timeOfLastSCP_ = 0; // Monotonic seconds; 0 before the first.
    std::atomic<bool> isStopped_ = false;
};
