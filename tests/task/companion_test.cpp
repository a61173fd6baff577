// The link to the companion, which is a process of its own here.

#include "platform/ProcessInfo.h"
#include "platform/process/Process.h"
#include "task/KRTrelkindApplication.h"
#include "task/WrapperOnDisk.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fmt/format.h>
#include <tuple>

namespace {

using testing::IsEmpty;
namespace files = platform::files;

// The listener of the examples; its output goes into a file.
class Listener {
public:
    explicit Listener(const WrapperOnDisk& wrapper) : heard_(wrapper.folder() / "heard")
    {
        std::ignore = files::remove(heard_);
        const auto process = platform::Process::launch({"/bin/bash",
            {"-c",
                fmt::format("TRELKIND_PLACES='{}' exec '{}' > '{}' 2>&1", wrapper.folder() / "places",
                    LISTENER, heard_)},
            "/"});
        EXPECT_TRUE(process);
        process_ = *process;
        EXPECT_TRUE(hears("listening"));
    }
    ~Listener() { kill(); }
    void kill() const
    {
        signal(SIGKILL);
        EXPECT_TRUE(process_->waitUntilExit(10));
    }
    void signal(int number) const { ::kill(process_->processIdentifier(), number); }
    bool hears(const std::string& line) const
    {
        return served(
            [&] { return files::readFile(heard_).value_or("").find(line + "\n") != std::string::npos; }, 10);
    }

private:
    std::string heard_;
    std::shared_ptr<platform::Process> process_;
};

class Companion : public testing::Test {
protected:
    Companion() { wrapper.tasks({"", "", ""}); }
    ~Companion() override { platform::Pace::setFactor(1); }

    void change(std::size_t number)
    {
        app->sendSorvantaChangeNotification(*controller->taskInformation()[number]);
    }
    void open()
    {
        app = std::make_unique<KRTrelkindApplication>();
        controller = app->openTaskWithName(wrapper.path());
    }
    bool isConnected()
    {
        return served([this] { return app->sorvanta().isConnected(); }, 10);
    }

    WrapperOnDisk wrapper;
    std::unique_ptr<KRTrelkindApplication> app;
    std::shared_ptr<KRTrelkindController> controller;
};

TEST_F(Companion, ChangesAreMergedUntilTheCompanionIsFound)
{
    wrapper.write("1/VTask_runStarted");
    open();
    for (int i = 0; i < 10; ++i)
        change(2);
    EXPECT_EQ(app->sorvanta().combinedContent(), (SorvantaLink::Content{{wrapper.path(), {1, 2}}}));
    const Listener listener(wrapper);
    EXPECT_FALSE(app->sorvanta().isConnected()) << "it is looked for when the user changes application";
    app->applicationDidBecomeActive();
    EXPECT_TRUE(isConnected());
    EXPECT_TRUE(listener.hears(wrapper.path() + ": 1 2"));
    EXPECT_THAT(app->sorvanta().combinedContent(), IsEmpty());
}

TEST_F(Companion, ChangesWithinThreeSecondsWaitForTheNextEvent)
{
    const Listener listener(wrapper);
    open();
    ASSERT_TRUE(isConnected());
    platform::Pace::setFactor(0.1);
    change(0);
    EXPECT_TRUE(listener.hears(wrapper.path() + ": 0"));
    for (const auto& [event, line] : {std::pair(std::function<void()>([this] { change(0); }), ": 0 1 2"),
             {[this] { app->applicationDidResignActive(); }, ": 1 2"}}) {
        change(1);
        app->sendSorvantaChangeNotificationMultiple({controller->taskInformation()[2]});
        EXPECT_FALSE(served([&] { return app->sorvanta().combinedContent().empty(); }, 0.5))
            << "three seconds at this pace have passed";
        event();
        EXPECT_TRUE(listener.hears(wrapper.path() + line));
    }
    // A message that can't be sent is lost and reported.
    platform::Pace::setFactor(0);
    app->sorvanta().add(std::string(65 << 20, 'x'), 1);
    change(0);
    EXPECT_THAT(wrapper.messages(), testing::ElementsAre("Error when connecting"));
    EXPECT_EQ(
        wrapper.lastLongMessage(), "Error when connecting (SendFailed,the companion takes no messages).");
    EXPECT_THAT(app->sorvanta().combinedContent(), IsEmpty());
}

TEST_F(Companion, AStoppedCompanionDoesNotDelayTheEnd)
{
    const Listener listener(wrapper);
    listener.signal(SIGSTOP);
    const double start = platform::monotonicSeconds();
    for (int i = 0; i < 20; ++i) {
        open();
        change(2);
        app->sorvanta().sendBeforeTheEnd();
    }
    EXPECT_LT(platform::monotonicSeconds() - start, 10) << "each waits for a moment, not for the time limit";
}

TEST_F(Companion, ACompanionThatDiesIsFoundAgain)
{
    open();
    {
        const Listener listener(wrapper);
        app->tryToConnectToSorvanta();
        ASSERT_TRUE(isConnected());
        change(0);
        EXPECT_TRUE(listener.hears(wrapper.path() + ": 0"));
        std::string logged;
        platform::setSystemLogReader([&](const std::string& line) { logged = line; });
        listener.kill();
        EXPECT_TRUE(served([&] { return !app->sorvanta().isConnected(); }, 10));
        EXPECT_EQ(logged, "Connection to Sorvanta closed down");
        platform::setSystemLogReader(nullptr);
    }
    change(1);
    EXPECT_EQ(app->sorvanta().combinedContent(), (SorvantaLink::Content{{wrapper.path(), {1}}}));
    const Listener next(wrapper);
    platform::Pace::setFactor(0);
    app->applicationDidResignActive();
    EXPECT_TRUE(next.hears(wrapper.path() + ": 1"));
    EXPECT_THAT(wrapper.messages(), IsEmpty());
}

} // namespace
