// What a task server's engine does on worker threads: copies with scp, and the start of a server with ssh.

#include "diagnostics/KRCountLimiter.h"
#include "diagnostics/KRMessageCenter.h"
#include "platform/loop/Pace.h"
#include "remote/server/SVRemoteEngineController.h"

#include <fmt/format.h>

namespace {

struct Wait {
    int count;
    double seconds;
};
// A server that starts well detaches at once.
constexpr Wait kWaitsForDetaching[] = {{20, 0.3}, {5, 1.0}};

} // namespace

ScpRequest SVRemoteEngineController::request(
    ScpRequest::Direction direction, std::string from, std::string to, Task task) const
{
    return {direction, userName_, hostName_, std::move(from), std::move(to), std::move(task)};
}

bool SVRemoteEngineController::scpFromToOnMachine(const std::string& from, const std::string& to,
    const std::string& onMachine, const std::shared_ptr<SVSingleTask>& delegate)
{
    return transfers_.run({ScpRequest::Direction::ToServer, userName_, onMachine, from, to, delegate});
}

bool SVRemoteEngineController::scpFromOnMachineTo(const std::string& from, const std::string& onMachine,
    const std::string& to, const std::shared_ptr<SVSingleTask>& delegate)
{
    return transfers_.run({ScpRequest::Direction::FromServer, userName_, onMachine, from, to, delegate});
}

std::string& SVRemoteEngineController::sshProgram()
{
    static std::string path = "/usr/bin/ssh";
    return path;
}

std::shared_ptr<platform::Value> SVRemoteEngineController::launchServerThroughSSH(
    std::shared_ptr<platform::Value> dictionary)
{
    const std::string server = dictionary->textFor("ServerPath").value_or("");
    const auto fail = [&](const std::string& name, const std::string& reason) {
        KRMessageCenter::addMessage(
            "Could not run task", fmt::format("Could not run the task ({}-{}).", name, reason));
        dictionary->mutableDictionary()["Status"] = "Failed";
        return dictionary;
    };
    for (const platform::Status& status : {serverplaces::checkPlainName("user", userName_),
             serverplaces::checkPlainName("host", hostName_), serverplaces::checkRemotePath(server)})
        if (!status)
            return fail("Refused", status.error().text);
    const ScpTransfers::Access access(transfers_.gate().get());
    std::unique_lock global(ScpTransfers::launchLock());
    const auto launched =
        platform::Process::launch({sshProgram(), {fmt::format("{}@{}", userName_, hostName_), server}, ""});
    global.unlock();
    if (!launched)
        return fail(launched.error().name, launched.error().reason);
    platform::Process& process = **launched;
    for (const Wait& wait : kWaitsForDetaching)
        for (int i = 0; i < wait.count && process.isRunning(); ++i)
            process.waitUntilExit(platform::Pace::of(wait.seconds).count());
    if (process.isRunning())
        dictionary->mutableDictionary()["Status"] = "Failed";
    return dictionary;
}
