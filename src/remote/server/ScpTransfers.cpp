#include "remote/server/ScpTransfers.h"

#include "diagnostics/KRCountLimiter.h"
#include "diagnostics/KRMessageCenter.h"
#include "diagnostics/KRSerialNumber.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/files/Places.h"
#include "platform/loop/MainLoop.h"
#include "platform/loop/Pace.h"
#include "remote/server/ServerPlaces.h"
#include "task/single/SVSingleTask.h"

#include <fmt/format.h>
#include <functional>
#include <tuple>
#include <unistd.h>

namespace {

namespace files = platform::files;
namespace paths = platform::paths;
using platform::Process;
using platform::Status;

constexpr int kMostStarts = 15;
constexpr int kLooksAtStart = 20;
constexpr double kSecondsBetweenLooksAtStart = 0.1;
constexpr double kSecondsBetweenLooks = 1.0;

// Two programs of a user share the folder of the scripts.
std::int64_t numberOfScript()
{
    static KRSerialNumber sshNumber;
    return (static_cast<std::int64_t>(::getpid()) << 32) + sshNumber.uniqueNumber();
}

// Tells the task which process copies its files. Posted, because the task belongs to the main thread.
void tell(const std::shared_ptr<SVSingleTask>& task, std::function<void(SVSingleTask&)> news)
{
    if (task)
        platform::MainLoop::main().post([task, news = std::move(news)] { news(*task); });
}

} // namespace

Status ScpRequest::check() const
{
    const std::string& local = direction == Direction::ToServer ? from : to;
    const std::string& remote = direction == Direction::ToServer ? to : from;
    for (const Status& status : {serverplaces::checkPlainName("user", userName),
             serverplaces::checkPlainName("host", hostName), serverplaces::checkRemotePath(remote)})
        if (!status)
            return status;
    return arrivesInFolder() ? Status() : serverplaces::checkLocalName(paths::lastComponent(local));
}

bool ScpRequest::arrivesInFolder() const
{
    return direction == Direction::FromServer && files::isDirectory(to);
}

std::string ScpRequest::scriptText(const std::string& marker) const
{
    const std::string start = fmt::format("#!/bin/sh\n\ntouch {}\nscp -rBpq ", marker);
    if (direction == Direction::ToServer)
        return start + fmt::format("\"{}\" {}@{}:\"{}\"", paths::lastComponent(from), userName, hostName, to);
    const std::string source = fmt::format("{}@{}:\"{}\" ", userName, hostName, from);
    return start + source + (arrivesInFolder() ? "." : fmt::format("\"{}\"", paths::lastComponent(to)));
}

std::string ScpRequest::workDirectory() const
{
    if (arrivesInFolder())
        return to;
    return paths::deletingLastComponent(direction == Direction::ToServer ? from : to);
}

// The marker and the script of one copy, gone with this object.
struct ScpTransfers::Files {
    Files()
        : marker(fmt::format("{}/runStarted{}", platform::Places::scratch(), number)),
          script(fmt::format("{}/scpJob{}", platform::Places::scratch(), number))
    { }
    ~Files()
    {
        std::ignore = files::remove(marker);
        std::ignore = files::remove(script);
    }
    Files(const Files&) = delete;
    Files& operator=(const Files&) = delete;

    const std::int64_t number = numberOfScript();
    const std::string marker;
    const std::string script;
};

ScpTransfers::Access::Access(KRCountLimiter* gate) : gate_(gate)
{
    if (gate_)
        gate_->requestAccess();
}

ScpTransfers::Access::~Access()
{
    if (gate_)
        gate_->returnAccess();
}

std::mutex& ScpTransfers::launchLock()
{
    static std::mutex lock;
    return lock;
}

bool ScpTransfers::run(const ScpRequest& request)
{
    const Files names;
    Status status = request.check();
    // The folder's name holds this machine's login, which may be anything.
    for (std::string_view rest = names.marker; status.ok() && !rest.empty();) {
        const auto end = std::min(rest.find('/'), rest.size());
        if (end > 0)
            status = serverplaces::checkPlainName("folder of a script", rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    if (!status) {
        KRMessageCenter::addMessage("A copy was refused.", status.error().text);
        return false;
    }
    const Access access(gate_.get());
    return runScript(request, names);
}

bool ScpTransfers::runScript(const ScpRequest& request, const Files& names)
{
    auto written = files::writeFileAtomically(
        names.script, request.scriptText(names.marker), files::kOwnersFolder, files::Flush::No);
    if (written)
        written = files::setPermissions(names.script, files::kOwnersFolder);
    std::ignore = files::remove(names.marker);
    if (!written) {
        reportFailure(request, "NotWritten", written.error().text);
        return false;
    }
    std::unique_lock own(lockForSCP_, std::defer_lock);
    std::shared_ptr<Process> process;
    Start start = Start::IsReplaced;
    for (int attempt = 0; attempt < kMostStarts && start == Start::IsReplaced; ++attempt) {
        process = launch(request, names, own);
        if (!process)
            return false;
        start = watchStart(request, names, *process);
        if (start == Start::IsReplaced)
            process->terminate();
    }
    while (start != Start::IsReplaced && process->isRunning()) {
        if (endIfWanted(request, *process))
            start = Start::IsEnded;
        process->waitUntilExit(platform::Pace::of(kSecondsBetweenLooks).count());
    }
    tell(request.delegate, [process](SVSingleTask& task) { task.stoppedSCPTask(process); });
    timeOfLastSCP_ = platform::monotonicSeconds();
    return start == Start::Counts && process->terminationStatus() == 0;
}

std::shared_ptr<Process> ScpTransfers::launch(
    const ScpRequest& request, const Files& names, std::unique_lock<std::mutex>& own)
{
    std::unique_lock global(launchLock(), std::defer_lock);
    if (own)
        global.lock();
    else
        std::lock(global, own);
    auto launched = Process::launch({names.script, {}, request.workDirectory()});
    global.unlock();
    if (!launched) {
        reportFailure(request, launched.error().name, launched.error().reason);
        return nullptr;
    }
    tell(request.delegate, [process = *launched](SVSingleTask& task) { task.setSCPTask(process); });
    return *launched;
}

ScpTransfers::Start ScpTransfers::watchStart(
    const ScpRequest& request, const Files& names, Process& process) const
{
    for (int look = 0; look < kLooksAtStart && process.isRunning(); ++look) {
        process.waitUntilExit(platform::Pace::of(kSecondsBetweenLooksAtStart).count());
        if (endIfWanted(request, process))
            return Start::IsEnded;
    }
    return !process.isRunning() || files::exists(names.marker) ? Start::Counts : Start::IsReplaced;
}

bool ScpTransfers::endIfWanted(const ScpRequest& request, Process& process) const
{
    if (!isStopped_ && !(request.delegate && request.delegate->shouldAbort()))
        return false;
    process.terminate();
    return true;
}

void ScpTransfers::reportFailure(
    const ScpRequest& request, const std::string& name, const std::string& reason) const
{
    const bool toServer = request.direction == ScpRequest::Direction::ToServer;
    const int number = request.delegate ? request.delegate->numberInProject() : 0;
    std::string text = toServer
        ? fmt::format("Could not run scp task (local->remote) for task# {} on host {} ({}-{}).", number,
            request.hostName, name, reason)
        : fmt::format("Could not run scp task (remote->local) for task #{} ({}-{}).", number, name, reason);
    if (const double last = timeOfLastSCP_; last > 0)
        text += fmt::format(" {:g} seconds since last scp call.", platform::monotonicSeconds() - last);
    KRMessageCenter::addMessage(
        toServer ? "Could not run scp task (local->remote)" : "Could not run task", text);
}
