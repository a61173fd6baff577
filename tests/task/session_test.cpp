// The end of the program and its next start: what becomes of runs, and which wrappers are open again.

#include "platform/loop/Pace.h"
#include "platform/process/Process.h"
#include "task/WrapperOnDisk.h"
#include "task/application/KRTrelkindApplication.h"
#include "task/application/MainMenu.h"
#include "task/application/OpenWrappers.h"
#include "task/engine/SVTrelkindEngineLocal.h"
#include "task/wrapper/WrapperPath.h"
#include "toolkit/Workspace.h"

#include <gmock/gmock.h>

#include <optional>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Two runs that last until a file is there, and one that waits for its turn.
struct Quitting : testing::Test {
    Quitting()
    {
        platform::Pace::setFactor(0.05);
        wrapper.tasks({"", "", ""}).executable("#!/bin/sh\nwhile [ ! -e ../go ]; do sleep 0.02; done\n");
        menus.whenQuitting = [this](MainMenu::Ending how) { ended = how; };
        menus.whenStaying = [this] { ++stays; };
        toolkit::Workspace::shared().showAlert = [this](const toolkit::Alert& alert) { asked = alert; };
        toolkit::Workspace::shared().notify = [this](const std::string& title, const std::string& text) {
            notes += title + ": " + text + "\n";
        };
        controller = app.openTaskWithName(wrapper.path());
        controller->startLocalTask();
        engine = std::static_pointer_cast<SVTrelkindEngineLocal>(controller->engine()->shared_from_this());
        engine->panel().concurrency.commit("2");
        engine->panel().startButton.press();
        EXPECT_TRUE(within(
            [this] { return wrapper.has("0/VTask_runStarted") && wrapper.has("1/VTask_runStarted"); }));
    }
    ~Quitting() override
    {
        toolkit::Workspace::shared() = {};
        wrapper.write("go");
        engine->endTasks();
        EXPECT_TRUE(within([this] { return !engine->isRunning(); }));
        EXPECT_TRUE(platform::Process::finishTerminations(20));
        platform::Pace::setFactor(1);
    }
    static bool within(const std::function<bool()>& condition)
    {
        return platform::MainLoop::main().runUntil(condition, 20);
    }

    WrapperOnDisk wrapper;
    KRTrelkindApplication app;
    MainMenu menus{app};
    std::shared_ptr<KRTrelkindController> controller;
    std::shared_ptr<SVTrelkindEngineLocal> engine;
    std::optional<MainMenu::Ending> ended;
    std::optional<toolkit::Alert> asked;
    std::string notes;
    int stays = 0;
};

TEST_F(Quitting, AsksWhatBecomesOfRunsAlsoOfAClosedWindow)
{
    EXPECT_TRUE(controller->window()->userCloses());
    controller.reset();
    menus.quit();
    menus.quit();
    ASSERT_TRUE(asked);
    EXPECT_EQ(asked->message, "2 tasks are still running on this computer.");
    EXPECT_THAT(asked->informative, HasSubstr(" 1 task has not been started; it stays waiting."));
    asked->answered(2);
    EXPECT_EQ(stays, 1);
    EXPECT_FALSE(ended);

    menus.quit();
    asked->answered(0);
    EXPECT_EQ(ended, MainMenu::Ending::LeavingRuns);
    wrapper.write("go");
    EXPECT_TRUE(within([] { return SVTrelkindEngineLocal::allWork().running == 0; }));
    EXPECT_TRUE(wrapper.has("0/VTask_runCompleted") && wrapper.has("1/VTask_runCompleted"));
    EXPECT_FALSE(wrapper.has("2/VTask_runStarted"));
    asked.reset();
    menus.quit();
    EXPECT_FALSE(asked);
    EXPECT_EQ(ended, MainMenu::Ending::WithAll);
}

TEST_F(Quitting, EndsTheRunsFirstWhenTheUserWantsThat)
{
    menus.quit();
    asked->answered(1);
    EXPECT_FALSE(ended) << "the programs still have to end";
    EXPECT_TRUE(within([this] { return ended.has_value(); }));
    EXPECT_EQ(ended, MainMenu::Ending::WithAll);
    EXPECT_TRUE(wrapper.has("0/VTask_aborted") && wrapper.has("1/VTask_aborted"));
    EXPECT_THAT(notes, HasSubstr("Batch.vtask: 0 of 3 done"));
}

TEST(Session, TheNextStartOpensWhatWasOpenWhenThisOneEnded)
{
    WrapperOnDisk wrapper("First.vtask");
    wrapper.tasks({"a"});
    const std::string second = wrapper.folder() / "Second.vtask";
    std::filesystem::copy(wrapper.path(), second, std::filesystem::copy_options::recursive);
    KRTrelkindApplication app;
    const OpenWrappers kept(app);
    EXPECT_THAT(OpenWrappers::ofLastSession(), IsEmpty());
    app.openTaskWithName(wrapper.path());
    app.openTaskWithName(second);
    EXPECT_THAT(OpenWrappers::ofLastSession(), ElementsAre(wrapper.path(), second));
    app.frontController()->window()->userCloses();
    EXPECT_THAT(OpenWrappers::ofLastSession(), ElementsAre(wrapper.path()));
    std::filesystem::remove_all(wrapper.path());
    EXPECT_THAT(OpenWrappers::ofLastSession(), IsEmpty()) << "it isn't there any more";
    EXPECT_TRUE(
        platform::files::writeFile(platform::Places::library() + "/Open Wrappers.plist", "broken").ok());
    EXPECT_THAT(OpenWrappers::ofLastSession(), IsEmpty());
}

TEST(Session, APathInsideAWrapperMeansTheWrapper)
{
    WrapperOnDisk wrapper;
    wrapper.tasks({"a"}).executable("#!/bin/sh\n");
    for (const char* inside : {"", "/0/input", "/0", "/Info.plist", "/0/not there"})
        EXPECT_EQ(wrapperContaining(wrapper.path() + inside), wrapper.path()) << inside;
    const std::string renamed = wrapper.folder() / "renamed";
    std::filesystem::rename(wrapper.path(), renamed);
    EXPECT_EQ(wrapperContaining(renamed + "/0/input"), renamed);
    EXPECT_EQ(wrapperContaining("/nowhere/at/all"), "/nowhere/at/all");
}

} // namespace
