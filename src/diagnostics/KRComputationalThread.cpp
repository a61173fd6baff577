#include "diagnostics/KRComputationalThread.h"

#include "diagnostics/Exception.h"
#include "diagnostics/KRSerialNumber.h"
#include "platform/ProcessInfo.h"
#include "platform/loop/MainLoop.h"

#include <fmt/format.h>

#include <condition_variable>
#include <system_error>
#include <thread>

namespace {

constexpr double kSecondsBeforeNextAttempt = 1.0;
constexpr const char* kInternalErrorIn = "Internal error in KRComputationalThread.";
constexpr const char* kInternalErrorFor = "Internal error for KRComputationalThread.";

// Removes an entry from a map and returns it; a missing one is reported.
template <class Map>
typename Map::mapped_type takeOut(Map& map, std::int64_t number)
{
    auto node = map.extract(number);
    if (node)
        return std::move(node.mapped());
    KRMessageCenter::addMessage(kInternalErrorIn);
    return {};
}

template <class Map>
void putIn(Map& map, std::int64_t number, typename Map::mapped_type entry, const char* whenThere)
{
    if (!map.insert_or_assign(number, std::move(entry)).second)
        KRMessageCenter::addMessage(whenThere);
}

} // namespace

// The worker's side: a thread waits here for the next job that is meant for it.
class KRComputationalThread::KRCT_Instance {
public:
    explicit KRCT_Instance(Number number) : sNumber(number) { }

    // One way: does not wait for the job.
    void runWithDictionary(std::shared_ptr<KRCT_Storage> job)
    {
        {
            const std::lock_guard guard(lock_);
            job_ = std::move(job);
        }
        jobHasCome_.notify_one();
    }

    std::shared_ptr<KRCT_Storage> waitForJob()
    {
        std::unique_lock guard(lock_);
        jobHasCome_.wait(guard, [this] { return job_ != nullptr; });
        return std::move(job_);
    }

    const Number sNumber;

private:
    std::mutex lock_;
    std::condition_variable jobHasCome_;
    std::shared_ptr<KRCT_Storage> job_;
};

// Never destroyed: its workers never end.
KRComputationalThread& KRComputationalThread::shared()
{
    static auto* instance = [] {
        platform::MainLoop::main(); // Belongs to the first caller's thread before any worker asks for it.
        return new KRComputationalThread;
    }();
    return *instance;
}

int KRComputationalThread::howManyThreadsRunning() const
{
    const std::lock_guard guard(accessLock_);
    return howManyThreadsRunning_;
}

int KRComputationalThread::howManyThreadsExist() const
{
    const std::lock_guard guard(accessLock_);
    return static_cast<int>(availableThreads_.size() + runningThreads_.size() + storageWhileStarting_.size());
}

void KRComputationalThread::startForObject(std::shared_ptr<KRCT_Storage> job)
{
    const std::lock_guard guard(accessLock_);
    tasksWaitingForExecution_.push_back(std::move(job));
    if (howManyThreadsRunning_ < MostThreads)
        launchAThread();
}

void KRComputationalThread::startForObjectOld(std::shared_ptr<KRCT_Storage> job)
{
    const std::lock_guard guard(accessLock_);
    tasksWaitingForExecution_.push_front(std::move(job));
    launchAThread();
}

// accessLock is held.
void KRComputationalThread::launchAThread()
{
    auto job = std::move(tasksWaitingForExecution_.front());
    tasksWaitingForExecution_.pop_front();
    if (!availableThreads_.empty()) {
        const Number number = availableThreads_.rbegin()->first;
        auto worker = takeOut(availableThreads_, number);
        putIn(runningThreads_, number, worker, kInternalErrorIn);
        putIn(storageWhileRunning_, number, job, kInternalErrorIn);
        worker->runWithDictionary(std::move(job));
    } else {
        const Number number = KRSerialNumber::createNew();
        putIn(storageWhileStarting_, number, std::move(job), kInternalErrorIn);
        try {
            std::thread([this, number] { connectWithPorts(number); }).detach();
        } catch (const std::system_error& refused) {
            // The system refuses another thread: the job waits until a worker is free, or for the next
            // attempt.
            tasksWaitingForExecution_.push_front(takeOut(storageWhileStarting_, number));
            KRMessageCenter::addMessage(fmt::format("Thread error: {}", refused.what()));
            if (runningThreads_.empty() && storageWhileStarting_.empty())
                tryAgainLater();
            return;
        }
    }
    ++howManyThreadsRunning_;
}

void KRComputationalThread::tryAgainLater()
{
    platform::MainLoop::main().post([this] {
        nextAttempt_ =
            platform::Timer::schedule(kSecondsBeforeNextAttempt, platform::Timer::Repeats::No, [this] {
                const std::lock_guard guard(accessLock_);
                if (!tasksWaitingForExecution_.empty() && howManyThreadsRunning_ < MostThreads)
                    launchAThread();
            });
    });
}

void KRComputationalThread::serverHasStarted(
    const std::shared_ptr<KRCT_Instance>& worker, Number forSerialNumber)
{
    std::shared_ptr<KRCT_Storage> job;
    {
        const std::lock_guard guard(accessLock_);
        job = takeOut(storageWhileStarting_, forSerialNumber);
        putIn(storageWhileRunning_, forSerialNumber, job, kInternalErrorIn);
        putIn(runningThreads_, forSerialNumber, worker, kInternalErrorFor);
    }
    worker->runWithDictionary(std::move(job));
}

void KRComputationalThread::connectWithPorts(Number number)
{
    const auto worker = std::make_shared<KRCT_Instance>(number);
    serverHasStarted(worker, number);
    while (true) {
        auto job = worker->waitForJob();
        std::shared_ptr<void> result;
        try {
            KRMessageCenter::setCenterOfThread(job->messageController());
            result = job->mainMessage();
        } catch (...) {
            const auto thrown = diagnostics::currentException();
            KRMessageCenter::addMessage(fmt::format("Thread error: {} :{}", thrown.name, thrown.reason));
        }
        KRMessageCenter::setCenterOfThread(nullptr);
        job.reset();
        // The main thread never waits for a worker, so that a worker may wait for it.
        platform::MainLoop::main().postAndWait(
            [this, number, output = std::move(result)] { finishExecution(number, output); });
    }
}

void KRComputationalThread::finishExecution(Number serial, const std::shared_ptr<void>& output)
{
    std::shared_ptr<KRCT_Storage> job;
    {
        const std::lock_guard guard(accessLock_);
        putIn(availableThreads_, serial, takeOut(runningThreads_, serial), kInternalErrorIn);
        job = takeOut(storageWhileRunning_, serial);
        --howManyThreadsRunning_;
        if (!tasksWaitingForExecution_.empty())
            launchAThread();
    }
    if (!job)
        return;
    try {
        job->endMessage(output);
    } catch (...) {
        const auto thrown = diagnostics::currentException();
        const auto text = fmt::format("Thread error (finishing up): {} :{}", thrown.name, thrown.reason);
        KRMessageCenter::addMessage(text);
        platform::systemLog(text);
    }
}
