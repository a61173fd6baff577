#include "platform/process/ProcessWarden.h"

#include "platform/loop/Pace.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <poll.h>
#include <set>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace platform {

namespace {

constexpr double kPatience = 3.0; // Seconds from SIGTERM to SIGKILL.
constexpr double kFirstLook = 0.01;
constexpr double kLongestLookInterval = 0.2;
// Kernels before 5.3 can't tell the end of a process through a descriptor.
constexpr double kLookWithoutDescriptor = 0.02;
constexpr double kLongWait = 3600;

int statusFrom(const siginfo_t& info)
{
    return info.si_code == CLD_EXITED ? info.si_status : 128 + info.si_status;
}

void reap(pid_t process)
{
    siginfo_t info{};
    retryInterrupted([&] { return ::waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOHANG); });
}

} // namespace

Child::Child(pid_t process, std::string itsMark)
    : leader(process), mark(std::move(itsMark)),
      startTime(ProcessTable::find(process).value_or(ProcessTable::Entry()).startTime),
      leaderDescriptor(openProcess(process))
{ }

ProcessWarden* ProcessWarden::instance()
{
    static ProcessWarden* const warden = []() -> ProcessWarden* {
        auto* made = new ProcessWarden; // Its thread runs until the process ends.
        try {
            std::thread([made] { made->serve(); }).detach();
        } catch (const std::system_error&) {
            delete made;
            return nullptr;
        }
        return made;
    }();
    return warden;
}

ProcessWarden::ProcessWarden() : wakeEvent_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) { }

void ProcessWarden::wake()
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(wakeEvent_.get(), &one, sizeof one);
}

void ProcessWarden::add(const std::shared_ptr<Child>& child)
{
    {
        const std::lock_guard lock(mutex_);
        running_.push_back(child);
    }
    wake();
}

bool ProcessWarden::waitUntilExit(const Child& child, double limitInSeconds)
{
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::duration<double>(std::clamp(limitInSeconds, 0.0, 1e9)),
        [&] { return child.ended.load(); });
}

void ProcessWarden::serve()
{
    for (;;) {
        waitForEvents();
        const std::lock_guard lock(mutex_);
        noteEnded();
        followUp(false);
    }
}

void ProcessWarden::waitForEvents()
{
    double wait = kLongWait;
    std::vector<pollfd> polled = {{wakeEvent_.get(), POLLIN, 0}};
    {
        const std::lock_guard lock(mutex_);
        for (const auto& child : running_) {
            // Only this thread closes the descriptor, so it stays open while it is polled.
            if (child->leaderDescriptor)
                polled.push_back({child->leaderDescriptor.get(), POLLIN, 0});
            else
                wait = std::min(wait, kLookWithoutDescriptor);
        }
        const double now = monotonicSeconds();
        for (const Termination& termination : terminations_)
            wait = std::clamp(termination.lookAt - now, 0.0, wait);
    }
    // Rounded up: the loop would spin through the last part of a millisecond.
    const int milliseconds = static_cast<int>(wait * 1000) + 1;
    if (::poll(polled.data(), polled.size(), milliseconds) > 0 && polled[0].revents != 0) {
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t taken = ::read(wakeEvent_.get(), &count, sizeof count);
    }
}

void ProcessWarden::noteEnded()
{
    for (auto place = running_.begin(); place != running_.end();) {
        Child& child = **place;
        siginfo_t info{};
        const int result = retryInterrupted([&] {
            return ::waitid(P_PID, static_cast<id_t>(child.leader), &info, WEXITED | WNOHANG | WNOWAIT);
        });
        if (result == 0 && info.si_pid == 0) {
            ++place;
            continue;
        }
        // On an error another part of this process has already waited for the child.
        child.status = result == 0 ? statusFrom(info) : -1;
        noteEnd(child);
        place = running_.erase(place);
        changed_.notify_all();
    }
}

void ProcessWarden::noteEnd(Child& child)
{
    if (child.isTerminating) {
        for (Termination& termination : terminations_)
            if (termination.child.get() == &child)
                termination.lookAt = 0;
    } else {
        reap(child.leader);
        child.isReaped = true;
        // A number isn't given out again before all others have been, so a group that has members a moment
        // after its leader has gone is still the child's.
        if (::kill(-child.leader, 0) == 0)
            if (const auto table = ProcessTable::read())
                noteSurvivors(child, *table);
    }
    child.leaderDescriptor.reset();
    child.ended = true;
}

void ProcessWarden::noteSurvivors(Child& child, const ProcessTable& table)
{
    child.survivors.clear();
    for (const auto& member : table.membersOf(child.leader))
        if (auto known = KnownProcess::find(member))
            child.survivors.push_back(std::move(*known));
}

bool ProcessWarden::ownsGroup(Child& child, const ProcessTable* table)
{
    if (!child.isReaped)
        return true;
    const bool owns =
        std::any_of(child.survivors.begin(), child.survivors.end(), [&](const KnownProcess& survivor) {
            return survivor.isAlive() && ::getpgid(survivor.number()) == child.leader;
        });
    if (owns && table)
        noteSurvivors(child, *table); // They may have started others that will outlive them.
    return owns;
}

bool ProcessWarden::gatherStrays(Termination& termination, const ProcessTable* table)
{
    if (!table)
        return false;
    Child& child = *termination.child;
    std::set<pid_t> known;
    for (const KnownProcess& stray : termination.strays)
        if (stray.isAlive())
            known.insert(stray.number());
    const std::size_t before = termination.strays.size();
    const auto add = [&](const std::vector<ProcessTable::Entry>& entries) {
        for (const auto& entry : entries) {
            if (!known.insert(entry.process).second)
                continue;
            if (auto stray = KnownProcess::find(entry))
                termination.strays.push_back(std::move(*stray));
        }
    };
    const pid_t group = ownsGroup(child, table) ? child.leader : 0;
    add(table->markedOutside(group, child.startTime, child.mark));
    add(table->descendantsOutside(group, {known.begin(), known.end()}));
    return termination.strays.size() > before;
}

void ProcessWarden::askToEnd(Termination& termination)
{
    const bool owns = ownsGroup(*termination.child, nullptr);
    // A stopped process handles SIGTERM only after SIGCONT.
    for (const int signalNumber : {SIGTERM, SIGCONT}) {
        if (owns)
            ::kill(-termination.child->leader, signalNumber);
        for (const KnownProcess& stray : termination.strays)
            stray.signal(signalNumber);
    }
}

void ProcessWarden::terminate(const std::shared_ptr<Child>& child)
{
    const std::lock_guard lock(mutex_);
    if (child->isTerminating)
        return;
    const auto table = ProcessTable::read();
    const double now = monotonicSeconds();
    Termination termination{child, {}, now + Pace::of(kPatience).count(), now + kFirstLook, kFirstLook};
    // Looked for before any signal is sent: once its parent has ended, only the mark identifies a stray.
    const bool hasStrays = gatherStrays(termination, table ? &*table : nullptr);
    if (!hasStrays && !ownsGroup(*child, nullptr))
        return; // Nothing of it is left.
    child->isTerminating = true;
    askToEnd(termination);
    terminations_.push_back(std::move(termination));
    wake();
}

bool ProcessWarden::settle(Termination& termination, const ProcessTable* table, bool atOnce)
{
    Child& child = *termination.child;
    const double now = monotonicSeconds();
    const bool overdue = atOnce || now >= termination.killAt;
    const bool owns = ownsGroup(child, table);
    const bool straysLeft = std::any_of(termination.strays.begin(), termination.strays.end(),
        [](const KnownProcess& stray) { return stray.isAlive(); });
    // The members can't be listed here, so the group is killed in any case.
    const bool membersLeft =
        !child.ended || (owns && (table ? !table->membersOf(child.leader).empty() : !overdue));
    if (overdue) {
        // Again at every look until nothing is left: a member may have started others meanwhile.
        gatherStrays(termination, table);
        if (owns)
            ::kill(-child.leader, SIGKILL);
        for (const KnownProcess& stray : termination.strays)
            stray.signal(SIGKILL);
    }
    if (!membersLeft && !straysLeft) {
        // The last act of a process may have been to start another one.
        if (!gatherStrays(termination, table))
            return true;
        askToEnd(termination);
    }
    // The leader's end brings the next look by itself.
    termination.lookInterval = std::min(termination.lookInterval * 2, kLongestLookInterval);
    const double nextLook = child.ended || overdue ? now + termination.lookInterval : termination.killAt;
    termination.lookAt = overdue ? nextLook : std::min(nextLook, termination.killAt);
    return false;
}

void ProcessWarden::followUp(bool atOnce)
{
    const double now = monotonicSeconds();
    const auto isDue = [&](const Termination& termination) { return atOnce || termination.lookAt <= now; };
    if (std::none_of(terminations_.begin(), terminations_.end(), isDue))
        return;
    const auto table = ProcessTable::read();
    for (auto place = terminations_.begin(); place != terminations_.end();) {
        if (!isDue(*place) || !settle(*place, table ? &*table : nullptr, atOnce)) {
            ++place;
            continue;
        }
        Child& child = *place->child;
        if (!child.isReaped)
            reap(child.leader);
        child.isReaped = true;
        child.survivors.clear();
        place = terminations_.erase(place);
        changed_.notify_all();
    }
}

bool ProcessWarden::finishTerminations(double limitInSeconds)
{
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::duration<double>(std::clamp(limitInSeconds, 0.0, 1e9)),
        [&] { return terminations_.empty(); });
}

void ProcessWarden::killTerminating()
{
    {
        const std::lock_guard lock(mutex_);
        for (Termination& termination : terminations_)
            termination.killAt = 0;
        followUp(true);
    }
    wake();
}

} // namespace platform
