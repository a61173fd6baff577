// The link to the companion, with a companion that is a process of its own.

#include "platform/ProcessInfo.h"
#include "platform/process/Process.h"
#include "task/KRTrelkindApplication.h"
#include "task/WrapperOnDisk.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <fmt/format.h>
#include <tuple>

namespace {

using testing::IsEmpty;
namespace files = platform::files;

// The listener of the examples, writing what it hears into a file.
class Listener {
public:
    explicit Listener(const WrapperOnDisk& wrapper) : heard_(wrapper.folder() / "heard")
    {
        std::ignore = files::remove(heard_);
        const std::string script = wrapper.folder() / "listen";
        EXPECT_TRUE(files::writeFile(script,
            fmt::format("#!/bin/sh\nTRELKIND_PLACES='{}' exec '{}' > '{}' 2>&1\n",
                wrapper.folder() / "places", LISTENER, heard_)));
        EXPECT_TRUE(files::setPermissions(script, 0755));
        const auto process = platform::Process::launch({script, {}, "/"});
        EXPECT_TRUE(process) << process.error().reason;
        process_ = *process;
        EXPECT_TRUE(served([this] { return heard().find("listening") != std::string::npos; }));
    }
    ~Listener() { kill(); }
    void kill()
    {
        ::kill(process_->processIdentifier(), SIGKILL);
        EXPECT_TRUE(process_->waitUntilExit(10));
    }
    void stop() const { ::kill(process_->processIdentifier(), SIGSTOP); }
    std::string heard() const { return files::readFile(heard_).value_or(""); }
    bool hears(const std::string& line)
    {
        return served([&] { return heard().find(line + "\n") != std::string::npos; }, 10);
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

    WrapperOnDisk wrapper;
    std::unique_ptr<KRTrelkindApplication> app;
    std::shared_ptr<KRTrelkindController> controller;
};

TEST_F(Companion, ChangesAreHeldMergedAndGoOutWhenOneIsFound)
{
    wrapper.write("1/VTask_runStarted");
    open();
    for (int i = 0; i < 10; ++i)
        change(2);
    EXPECT_EQ(app->sorvanta().combinedContent(), (SorvantaLink::Content{{wrapper.path(), {1, 2}}}));
    Listener listener(wrapper);
    EXPECT_FALSE(app->sorvanta().isConnected()) << "it is looked for when the user changes application";
    app->applicationDidBecomeActive();
    EXPECT_TRUE(served([&] { return app->sorvanta().isConnected(); }));
    EXPECT_TRUE(listener.hears(wrapper.path() + ": 1 2"));
    EXPECT_THAT(app->sorvanta().combinedContent(), IsEmpty());
}

TEST_F(Companion, WhatComesTooSoonWaitsForTheNextEventAndNotForTheClock)
{
    Listener listener(wrapper);
    open();
    ASSERT_TRUE(served([&] { return app->sorvanta().isConnected(); }));
    platform::Pace::setFactor(0.1);
    change(0);
    EXPECT_TRUE(listener.hears(wrapper.path() + ": 0"));
    change(1);
    change(2);
    EXPECT_FALSE(served([&] { return app->sorvanta().combinedContent().empty(); }, 1.0))
        << "three seconds at this pace have long passed";
    change(0);
    EXPECT_TRUE(listener.hears(wrapper.path() + ": 0 1 2"));
}

TEST_F(Companion, WhatIsHeldGoesOutBeforeTheEndAndAStoppedOneHoldsUpNothing)
{
    Listener listener(wrapper);
    open();
    ASSERT_TRUE(served([&] { return app->sorvanta().isConnected(); }));
    change(0);
    change(1);
    app->sorvanta().sendBeforeTheEnd();
    EXPECT_TRUE(listener.hears(wrapper.path() + ": 1"));
    app.reset();

    listener.stop();
    const double start = platform::monotonicSeconds();
    for (int i = 0; i < 20; ++i) {
        open();
        change(2);
        app->sorvanta().sendBeforeTheEnd();
    }
    EXPECT_LT(platform::monotonicSeconds() - start, 10) << "each is given a moment, none its whole limit";
}

TEST_F(Companion, ACompanionThatDiesBetweenTwoChangesIsNoticedAndFoundAgain)
{
    open();
    {
        Listener listener(wrapper);
        app->tryToConnectToSorvanta();
        ASSERT_TRUE(served([&] { return app->sorvanta().isConnected(); }));
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
    Listener next(wrapper);
    platform::Pace::setFactor(0);
    app->applicationDidResignActive();
    EXPECT_TRUE(next.hears(wrapper.path() + ": 1"));
    EXPECT_THAT(wrapper.messages(), IsEmpty());
}

TEST_F(Companion, AMessageThatCanNotBeSentIsLostAndToldOnce)
{
    Listener listener(wrapper);
    open();
    ASSERT_TRUE(served([&] { return app->sorvanta().isConnected(); }));
    listener.kill();
    platform::Pace::setFactor(0);
    change(0);
    EXPECT_TRUE(served([&] { return !app->sorvanta().isConnected() || !wrapper.messages().empty(); }, 10));
    EXPECT_THAT(app->sorvanta().combinedContent(), IsEmpty());
    for (const auto& message : wrapper.messages())
        EXPECT_EQ(message, "Error when connecting");
}

} // namespace
