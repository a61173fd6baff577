#include "diagnostics/KRComputationalThread.h"
#include "diagnostics/KRSerialNumber.h"

#include "OnThreads.h"
#include "platform/AnotherProcess.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <sys/resource.h>

namespace {

struct Number {
    int value = 0;
};

// Works when it is told to, and remembers what it was given at the end.
class Worker : public std::enable_shared_from_this<Worker> {
public:
    std::shared_ptr<Number> twice(std::shared_ptr<Number> argument)
    {
        ++started;
        workThread = std::this_thread::get_id();
        while (!mayEnd)
            std::this_thread::yield();
        return std::make_shared<Number>(Number{2 * argument->value});
    }
    std::shared_ptr<Number> fail(std::shared_ptr<Number>) { throw std::runtime_error("no luck"); }
    std::shared_ptr<Number> report(std::shared_ptr<Number>)
    {
        KRMessageCenter::addMessage("from the worker");
        return nullptr;
    }
    void end(std::shared_ptr<Number> result)
    {
        endThread = std::this_thread::get_id();
        results.push_back(result ? result->value : -1);
    }
    void endBadly(std::shared_ptr<Number>)
    {
        results.push_back(0);
        throw std::runtime_error("at the end");
    }
    std::shared_ptr<KRMessageCenter> messageController() const { return center; }

    std::atomic<int> started = 0;
    std::atomic<bool> mayEnd = true;
    std::atomic<std::thread::id> workThread;
    std::thread::id endThread;
    std::vector<int> results;
    std::shared_ptr<KRMessageCenter> center = KRMessageCenter::create();
};

struct Bin {
    std::shared_ptr<KRMessageCenter> messageController() const { return center; }
    std::shared_ptr<KRMessageCenter> center = KRMessageCenter::create();
};

// An owner whose list of variables counts before its own center.
class WorkerInBin : public Worker {
public:
    std::shared_ptr<Bin> variableBin() const { return bin; }
    std::shared_ptr<Bin> bin = std::make_shared<Bin>();
};

bool served(const std::function<bool()>& condition)
{
    return platform::MainLoop::main().runUntil(condition, 20);
}

using Work = std::shared_ptr<Number> (Worker::*)(std::shared_ptr<Number>);

void start(const std::shared_ptr<Worker>& worker, Work work, int number = 0)
{
    KRComputationalThread::forObject(worker, work, std::make_shared<Number>(Number{number}), &Worker::end);
}

// In a process of its own, whose user may have no more threads for a while. The first test, since a copy of
// this process has none of the threads that the pool believes in.
TEST(ComputationalThread, AJobWaitsForAMachineThatGivesNoThread)
{
    const int status = inAnotherProcess(AsUser::Nobody, "", [] {
        const auto center = KRMessageCenter::create();
        KRMessageCenter::setSharedCenter(center);
        rlimit limit{};
        ::getrlimit(RLIMIT_NPROC, &limit);
        const rlimit none{0, limit.rlim_max};
        ::setrlimit(RLIMIT_NPROC, &none);
        const auto worker = std::make_shared<Worker>();
        start(worker, &Worker::twice, 4);
        const bool isTold = served([&] { return !center->messages().empty(); });
        ::setrlimit(RLIMIT_NPROC, &limit);
        return isTold && worker->results.empty() && served([&] { return worker->results == std::vector{8}; });
    });
    EXPECT_EQ(status, 0);
}

TEST(ComputationalThread, JobsWorkElsewhereAndTheTwentyFirstWaitsForAThreadThatIsUsedAgain)
{
    const auto worker = std::make_shared<Worker>();
    worker->mayEnd = false;
    for (int i = 0; i < 30; ++i)
        start(worker, &Worker::twice, i);
    ASSERT_TRUE(served([&] { return worker->started == 20; }));
    auto& pool = KRComputationalThread::shared();
    EXPECT_TRUE(pool.howManyThreadsRunning() == 20 && pool.howManyThreadsExist() == 20);
    worker->mayEnd = true;
    ASSERT_TRUE(served([&] { return worker->results.size() == 30; }));
    EXPECT_TRUE(pool.howManyThreadsRunning() == 0 && pool.howManyThreadsExist() == 20);
    const std::set<int> results(worker->results.begin(), worker->results.end());
    EXPECT_TRUE(results.size() == 30 && *results.begin() == 0 && *results.rbegin() == 58);
    EXPECT_NE(worker->workThread.load(), std::this_thread::get_id());
    EXPECT_EQ(worker->endThread, std::this_thread::get_id());
}

TEST(ComputationalThread, AnExceptionEndsTheJobWithNullAndInTheEndingMessageDisturbsNobody)
{
    const auto worker = std::make_shared<Worker>();
    start(worker, &Worker::fail);
    ASSERT_TRUE(served([&] { return !worker->results.empty() && !worker->center->messages().empty(); }));
    EXPECT_EQ(worker->results, std::vector{-1});
    EXPECT_EQ(worker->center->messages()[0]->shortDescription(), "Thread error: std::runtime_error :no luck");

    const auto shared = KRMessageCenter::create();
    KRMessageCenter::setSharedCenter(shared);
    const auto other = std::make_shared<Worker>();
    KRComputationalThread::forObject(other, &Worker::twice, std::make_shared<Number>(), &Worker::endBadly);
    ASSERT_TRUE(served([&] { return !shared->messages().empty(); }));
    EXPECT_EQ(shared->messages()[0]->shortDescription(),
        "Thread error (finishing up): std::runtime_error :at the end");
    start(other, &Worker::twice);
    EXPECT_TRUE(served([&] { return other->results.size() == 2; }));
}

// Known to the pool by its base class alone, which has no center.
struct Reporter {
    virtual ~Reporter() = default;
    std::shared_ptr<Number> report(std::shared_ptr<Number>)
    {
        KRMessageCenter::addMessage("from the worker");
        return nullptr;
    }
    void end(std::shared_ptr<Number>) { }
};
struct ReporterWithCenter : Reporter, KRMessageCenterOwner {
    std::shared_ptr<KRMessageCenter> messageController() const override { return center; }
    std::shared_ptr<KRMessageCenter> center = KRMessageCenter::create();
};

TEST(ComputationalThread, MessagesGoToTheCenterOfTheOwnersBinOrOfItsBaseClass)
{
    const auto owner = std::make_shared<ReporterWithCenter>();
    KRComputationalThread::forObject(
        std::shared_ptr<Reporter>(owner), &Reporter::report, std::make_shared<Number>(), &Reporter::end);
    EXPECT_TRUE(served([&] { return !owner->center->messages().empty(); }));

    const auto plain = std::make_shared<Worker>();
    const auto inBin = std::make_shared<WorkerInBin>();
    start(plain, &Worker::report);
    KRComputationalThread::forObject(inBin, &WorkerInBin::report, std::make_shared<Number>(), &Worker::end);
    ASSERT_TRUE(served(
        [&] { return !plain->center->messages().empty() && !inBin->bin->center->messages().empty(); }));
    EXPECT_TRUE(inBin->center->messages().empty());
}

TEST(ComputationalThread, TheEarlierFormKnowsNoLimit)
{
    std::atomic<int> started = 0;
    int ended = 0;
    auto& pool = KRComputationalThread::shared();
    const int before = pool.howManyThreadsRunning();
    for (int i = 0; i < 25; ++i)
        pool.startForObjectOld(KRCT_Storage::create(
            [&]() -> std::shared_ptr<void> {
                ++started;
                return nullptr;
            },
            [&](const std::shared_ptr<void>&) { ++ended; },
            []() -> std::shared_ptr<KRMessageCenter> { throw std::runtime_error("an owner that fails"); }));
    EXPECT_EQ(pool.howManyThreadsRunning(), before + 25);
    EXPECT_TRUE(served([&] { return ended == 25; }));
    EXPECT_EQ(started, 0) << "their owner's center could not be had";
}

TEST(SerialNumber, CountsFromOneAndNeverRepeatsAcrossThreads)
{
    KRSerialNumber source;
    EXPECT_EQ(source.uniqueInteger(), 1);
    std::set<std::int64_t> all;
    std::mutex lock;
    onThreads(4, [&](int) {
        for (int i = 0; i < 1000; ++i) {
            const auto number = source.uniqueNumber();
            const std::lock_guard guard(lock);
            all.insert(number);
        }
    });
    EXPECT_EQ(all.size(), 4000U);
    EXPECT_EQ(*all.rbegin(), 4001);
}

} // namespace
