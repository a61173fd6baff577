#include "diagnostics/KRMessageCenter.h"
#include "diagnostics/KRProgressCPP.h"
#include "diagnostics/SVTaskAddition.h"
#include "toolkit/Noted.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

// A controller of its own with its list and count field; time passes a hundred times faster.
struct Progress : testing::Test {
    Progress()
    {
        platform::MainLoop::main(); // Belongs to this thread, not to the first worker that posts.
        platform::Pace::setFactor(0.05);
        controller->setProgressView(&list);
        controller->setHowManyProcesses(&count);
    }
    ~Progress() override { platform::Pace::setFactor(1); }

    bool served(const std::function<bool()>& condition)
    {
        return platform::MainLoop::main().runUntil(condition, 10);
    }
    std::shared_ptr<KRProgressEntry> entry(const char* text)
    {
        return KRProgressEntry::createWithDescription(std::string(text), controller);
    }
    // An entry of a variable of the table so numbered.
    std::shared_ptr<KRProgressEntry> entryOf(int bin, const char* text,
        const std::shared_ptr<KRProgressDelegate>& delegate = {}, const std::any& info = {})
    {
        return KRProgressEntry::createForVariable({"T", bin}, std::string(text), delegate, info, controller);
    }
    bool shows(std::size_t lines)
    {
        return served([&] { return list.views().size() == lines; });
    }
    auto line(std::size_t number) const { return controller->visibleEntries().at(number); }

    std::shared_ptr<KRProgressController> controller = KRProgressController::create();
    toolkit::ViewList list;
    toolkit::TextField count;
};

TEST_F(Progress, WorkThatEndsSoonNeverShowsAndTheTimerStopsAfterIt)
{
    const toolkit::Noted changes(list);
    auto brief = entry("brief");
    controller->updateViewIfNeccesary();
    EXPECT_TRUE(list.views().empty()) << "too early";
    ASSERT_TRUE(served([&] { return controller->timerIsRunning(); }));
    brief.reset();
    EXPECT_TRUE(served([&] { return !controller->timerIsRunning(); }));
    EXPECT_FALSE(changes.all.structure);
    const auto next = entry("next");
    EXPECT_TRUE(shows(1)) << "the timer starts again";
}

TEST_F(Progress, LinesComeAndGoAndAreCounted)
{
    struct Updates : KRProgressControllerDelegate {
        void progressViewUpdated(KRProgressController&) override { ++count; }
        int count = 0;
    } updates;
    controller->setDelegate(&updates);
    auto first = entry("first");
    auto second = entry("second");
    second->setIndeterminate(true);
    ASSERT_TRUE(shows(2));
    EXPECT_GT(updates.count, 0);
    controller->setDelegate(nullptr);
    const auto* const bar = line(1)->progressPole();
    EXPECT_TRUE(bar->isIndeterminate() && bar->minimum() == 0 && bar->maximum() == 1);
    EXPECT_EQ(count.stringValue(), "2 tasks");
    EXPECT_EQ(list.views().at(0)->layout(), "KRProgressEntryController");
    EXPECT_EQ(list.spaceToTheLeft(), 2.0);
    EXPECT_FALSE(controller->windowShouldClose());
    first.reset();
    ASSERT_TRUE(shows(1));
    EXPECT_EQ(count.stringValue(), "1 task");
    second.reset();
    ASSERT_TRUE(shows(0));
    EXPECT_EQ(count.stringValue(), "");
    EXPECT_TRUE(controller->windowShouldClose());
}

TEST_F(Progress, FractionsAreHeldToTheirRangeUnlessTheyAreAdded)
{
    const auto working = entry("working");
    ASSERT_TRUE(shows(1));
    const auto reaches = [&](float wanted) {
        return served([&] { return line(0)->currentFraction() == wanted; });
    };
    working->updatePercentage(1.5F);
    EXPECT_TRUE(reaches(1.0F));
    working->updatePercentage(-1.0F);
    EXPECT_TRUE(reaches(0.0F));
    working->increasePercentage(1.25F);
    EXPECT_TRUE(reaches(1.25F));
    EXPECT_EQ(line(0)->progressPole()->doubleValue(), 1.25);
    EXPECT_EQ(controller->getPercentages(), std::vector{1.25F});

    const KRProgressCPP part(working, 0.5F, 1.0F);
    part.UpdatePercentage(0.5F);
    EXPECT_TRUE(reaches(0.75F));
    const KRProgressCPP nobody;
    nobody.UpdatePercentage(0.5F);
    EXPECT_FALSE(nobody.UserHasAborted());
}

struct AbortListener : KRProgressDelegate {
    void abortButtonHit(KRProgressEntryController& line) override
    {
        if (++hits < 3)
            line.abortButtonHit();
    }
    int hits = 0;
};

struct CallerListener : KRProgressDelegate {
    bool respondsToProgressHitAbort() const override { return true; }
    void progressHitAbort(void* first, const std::any& info) override
    {
        EXPECT_EQ(first, nullptr);
        caller = std::any_cast<int>(info);
    }
    int caller = 0;
};

TEST_F(Progress, AbortIsSeenByTheWorkerAndToldOnce)
{
    const auto listener = std::make_shared<AbortListener>();
    const auto caller = std::make_shared<CallerListener>();
    const auto work = entry("work");
    work->setDelegate(listener);
    const auto named = entryOf(5, "%@", caller, 42);
    ASSERT_TRUE(shows(2));
    EXPECT_FALSE(work->userHasAborted());
    for (const auto& shown : controller->visibleEntries()) {
        shown->abortButtonHit();
        shown->abortButtonHit();
        EXPECT_FALSE(shown->abortButton()->isEnabled());
    }
    EXPECT_EQ(listener->hits, 1);
    EXPECT_EQ(caller->caller, 42);
    EXPECT_TRUE(KRProgressCPP(work).UserHasAborted());
}

TEST_F(Progress, ARenamedVariableChangesTheTextInItsOwnListAlone)
{
    const auto here = entryOf(5, "Reading %@");
    const auto there = entryOf(6, "Saving %@");
    ASSERT_TRUE(shows(2));
    EXPECT_TRUE(here->variableNameSpecified());
    platform::NotificationCenter::defaultCenter().post(KRProgressController::kVariableNameChanged, nullptr,
        platform::Value::Dictionary{{"Old", "T"}, {"New", "p"}, {"VariableBin", 5}});
    const auto text = [this](std::size_t number) { return line(number)->description()->stringValue(); };
    EXPECT_EQ(text(0) + text(1), "Reading pSaving T");
    here->updateDescription("Sorting 5 %% of %@ (%@)");
    EXPECT_TRUE(served([&] { return text(0) == "Sorting 5 % of p (%@)"; }));
    here->setIndeterminate(true);
    EXPECT_TRUE(line(0)->progressPole()->isAnimating()) << "at once";
}

// The program's own list brings its window to the front, and needs none.
TEST_F(Progress, TheSharedListShowsItsWindowWithTheFirstLine)
{
    const auto shared = KRProgressController::sharedController();
    const auto showsALine = [&](toolkit::ViewList& lines) {
        shared->setProgressView(&lines);
        const auto work = KRProgressEntry::createWithDescription(std::string("work"));
        const bool shows = served([&] { return lines.views().size() == 1; });
        shared->setProgressView(nullptr);
        return shows;
    };
    toolkit::ViewList alone;
    EXPECT_TRUE(showsALine(alone));
    toolkit::Window window;
    toolkit::ViewList inWindow;
    window.setContent(&inWindow);
    EXPECT_TRUE(showsALine(inWindow) && window.isVisible());
}

struct FractionSource : KRProgressDelegate {
    bool respondsToProgressFraction() const override { return true; }
    float progressFraction() override
    {
        if (const auto held = line.lock())
            fraction = held->currentFraction() + 0.25F;
        return fraction;
    }
    std::weak_ptr<KRProgressEntryController> line;
    float fraction = 0.5F;
};

TEST_F(Progress, ADelegateMayGiveTheFractionAndLeavesOneBehindWhenItGoes)
{
    auto source = std::make_shared<FractionSource>();
    const auto work = entry("work");
    work->setDelegate(source);
    ASSERT_TRUE(shows(1));
    EXPECT_TRUE(served([&] { return line(0)->currentFraction() == 0.5F; }));
    source->line = line(0);
    EXPECT_TRUE(served([&] { return source->fraction > 1; })) << "it looks at its own line while it is asked";
    source.reset();
    EXPECT_TRUE(served([&] { return line(0)->currentFraction() == 1.0F; }));
}

TEST_F(Progress, ManyWorkersReportAtOnceAndNothingIsLost)
{
    std::vector<std::thread> workers;
    for (int i = 0; i < 8; ++i)
        workers.emplace_back([this] {
            for (int round = 0; round < 200; ++round) {
                const auto work = entry("work");
                work->updatePercentage(0.5F);
                work->increasePercentage(0.1F);
                work->setIndeterminate(true);
            }
        });
    served([&] { return controller->timerIsRunning(); });
    for (auto& worker : workers)
        worker.join();
    EXPECT_TRUE(served([&] { return !controller->timerIsRunning(); }));
    EXPECT_TRUE(controller->getPercentages().empty());
}

TEST_F(Progress, ADescriptionThatIsNoTextIsReported)
{
    const auto center = KRMessageCenter::create();
    KRMessageCenter::setSharedCenter(center);
    const auto odd = KRProgressEntry::createWithDescription(42, controller);
    ASSERT_TRUE(served([&] { return !center->messages().empty(); }));
    EXPECT_EQ(center->messages()[0]->shortDescription(),
        "Internal error: Illegal description rule (has to be a string).");
}

TEST(TaskAddition, ABarGrowsAndATextIsReplaced)
{
    toolkit::ProgressBar bar;
    SVTaskAdditionToProgressBar onBar(bar);
    onBar.updateSVProgress(30);
    onBar.updateSVProgress(12.5);
    EXPECT_EQ(bar.doubleValue(), 42.5);
    toolkit::TextView view;
    SVTaskAdditionToTextView onView(view);
    onView.updateSVProgress("copying");
    EXPECT_EQ(view.string(), "copying");
}

} // namespace
