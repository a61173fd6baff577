#pragma once

#include "diagnostics/KRMessageCenter.h"
#include "platform/loop/MainLoop.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>

// One job: what runs on a worker and what runs on the main thread with its result. It keeps the owner and the
// argument alive until the second has run.
class KRCT_Storage {
public:
    using MainMessage = std::function<std::shared_ptr<void>()>;
    using EndMessage = std::function<void(std::shared_ptr<void>)>;
    using CenterOfOwner = std::function<std::shared_ptr<KRMessageCenter>()>;

    static std::shared_ptr<KRCT_Storage> create(
        MainMessage mainMessage, EndMessage endMessage, CenterOfOwner messageController)
    {
        return std::make_shared<KRCT_Storage>(
            KRCT_Storage{std::move(mainMessage), std::move(endMessage), std::move(messageController)});
    }

    MainMessage mainMessage;
    EndMessage endMessage;
    CenterOfOwner messageController;
};

// An object whose jobs report to a message center of its own.
class KRMessageCenterOwner {
public:
    virtual ~KRMessageCenterOwner() = default;
    virtual std::shared_ptr<KRMessageCenter> messageController()
        const = 0; // Null for the shared one. Any thread.
};

// Runs a message on a worker thread and then a second one, with the first one's result, on the main thread.
// Workers form a pool of at most 20 threads that are made on demand and never end; further jobs wait in order
// of arrival.
//
// Messages that a job adds go to its owner's message center: that of its variableBin() when it has one, else
// its messageController(), else the shared one. An exception ends a job with a null result and is reported.
class KRComputationalThread {
public:
    static constexpr int MostThreads = 20;

    // Main thread for the first call, any thread afterwards. The result of the main message is a shared
    // pointer, which the ending message is given; both are members of the object.
    template <class Object, class Owner, class Result, class Argument, class GivenArgument>
    static void forObject(std::shared_ptr<Object> object,
        std::shared_ptr<Result> (Owner::*mainMessage)(std::shared_ptr<Argument>),
        std::shared_ptr<GivenArgument> withArgument, void (Owner::*endingMessage)(std::shared_ptr<Result>))
    {
        shared().startForObject(KRCT_Storage::create(
            [object, mainMessage, argument = std::shared_ptr<Argument>(std::move(withArgument))] {
                return std::shared_ptr<void>(((*object).*mainMessage)(argument));
            },
            [object, endingMessage](std::shared_ptr<void> result) {
                ((*object).*endingMessage)(std::static_pointer_cast<Result>(std::move(result)));
            },
            [object] { return centerOf(*object); }));
    }

    static KRComputationalThread& shared();
    void startForObject(std::shared_ptr<KRCT_Storage> job);
    // An earlier form of the start, which nothing calls: a free worker, or a new one at once, without list
    // and limit.
    void startForObjectOld(std::shared_ptr<KRCT_Storage> job);

    int howManyThreadsRunning() const;
    int howManyThreadsExist() const; // Busy, idle and starting workers.

private:
    class KRCT_Instance;
    using Number = std::int64_t;
    using Workers = std::map<Number, std::shared_ptr<KRCT_Instance>>;
    using Jobs = std::map<Number, std::shared_ptr<KRCT_Storage>>;

    template <class Object>
    static std::shared_ptr<KRMessageCenter> centerOf(Object& object)
    {
        // By its dynamic type: a job may be given by a base class.
        if constexpr (std::is_polymorphic_v<Object>)
            if (auto* owner = dynamic_cast<KRMessageCenterOwner*>(&object))
                return owner->messageController();
        if constexpr (requires { object.variableBin()->messageController(); }) {
            const auto bin = object.variableBin();
            return bin ? bin->messageController() : nullptr;
        } else if constexpr (requires { object.messageController(); }) {
            return object.messageController();
        } else {
            return nullptr;
        }
    }

    void launchAThread();
    void tryAgainLater();
    void connectWithPorts(Number number);
    void serverHasStarted(const std::shared_ptr<KRCT_Instance>& worker, Number forSerialNumber);
    void finishExecution(Number serial, const std::shared_ptr<void>& output);

    mutable std::mutex accessLock_; // Held for the bookkeeping alone, never while a message runs.
    Workers availableThreads_;
    Workers runningThreads_;
    std::deque<std::shared_ptr<KRCT_Storage>> tasksWaitingForExecution_;
    int howManyThreadsRunning_ = 0;
    Jobs storageWhileStarting_;
    Jobs storageWhileRunning_;
    std::unique_ptr<platform::Timer> nextAttempt_; // Main thread.
};
