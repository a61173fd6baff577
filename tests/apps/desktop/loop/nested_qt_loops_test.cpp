// Dialogs, menus and the application itself run loops of Qt's own: the main loop is served in all of them.

#include "platform/files/Descriptor.h"
#include "platform/loop/MainLoop.h"

#include <QApplication>
#include <QDialog>
#include <QMenu>
#include <QPushButton>
#include <QTimer>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using platform::MainLoop;
using platform::Timer;
using Words = std::vector<std::string>;

struct NestedQtLoopsTest : testing::Test {
    // A click that Qt delivers, as an event of its own, once a loop runs.
    void click(std::function<void()> action)
    {
        QObject::connect(&button, &QPushButton::clicked, [action = std::move(action)] { action(); });
        QTimer::singleShot(0, &button, &QPushButton::click);
    }
    // A click that opens a dialog, does this before the dialog's loop runs, and closes the dialog in it.
    void clickForDialog(std::function<void()> before)
    {
        click([this, before = std::move(before)] {
            QDialog dialog;
            before();
            loop.post([&] { dialog.close(); });
            dialog.exec();
            note("closed");
        });
    }
    void note(const char* word) { story.emplace_back(word); }

    MainLoop& loop = MainLoop::main();
    QPushButton button;
    Words story;
};

TEST_F(NestedQtLoopsTest, ADialogAndAMenuServeWorkTimersAndDescriptors)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK | O_CLOEXEC), 0);
    const platform::Descriptor readEnd(ends[0]);
    const platform::Descriptor writeEnd(ends[1]);
    for (const bool isMenu : {false, true}) {
        SCOPED_TRACE(isMenu);
        QDialog dialog;
        QMenu menu;
        menu.addAction("one");
        std::unique_ptr<Timer> timer;
        const auto watch = loop.watchReadable(readEnd.get(), [&] {
            char byte = 0;
            EXPECT_EQ(read(readEnd.get(), &byte, 1), 1);
            note("descriptor");
            loop.post([&] {
                note("work");
                timer = Timer::schedule(0.01, Timer::Repeats::No, [&] {
                    note("timer");
                    dialog.close();
                    menu.close();
                });
            });
        });
        story.clear();
        bool returned = false;
        const auto show = [&] {
            ASSERT_EQ(write(writeEnd.get(), "x", 1), 1);
            if (isMenu)
                menu.exec(QPoint(0, 0));
            else
                dialog.exec();
            note("returned");
            returned = true;
        };
        if (isMenu)
            loop.post(show); // Inside an event of ours,
        else
            QTimer::singleShot(0, &button, show); // and inside one of Qt's.
        EXPECT_TRUE(loop.runUntil([&] { return returned; }, 20));
        EXPECT_EQ(story, (Words{"descriptor", "work", "timer", "returned"}));
    }
}

TEST_F(NestedQtLoopsTest, WorkAfterAClickWaitsForTheDialogThatTheClickOpens)
{
    for (const bool inRun : {false, true}) {
        SCOPED_TRACE(inRun);
        story.clear();
        button.disconnect();
        clickForDialog([&] {
            loop.afterThisEvent([&] {
                note("after");
                loop.stop();
            });
            loop.post([&] {
                note("inside");
                loop.afterThisEvent([&] { note("after, asked inside"); });
            });
        });
        if (inRun)
            loop.run();
        else
            EXPECT_TRUE(loop.runUntil([&] { return story.size() == 4; }, 20));
        loop.runPending();
        EXPECT_EQ(story, (Words{"inside", "closed", "after", "after, asked inside"}));
        if (!inRun)
            loop.run(); // Takes the stop.
    }
}

TEST_F(NestedQtLoopsTest, AnExceptionLeavesOnceTheDialogHasClosed)
{
    for (const bool inRun : {false, true}) {
        SCOPED_TRACE(inRun);
        story.clear();
        button.disconnect();
        clickForDialog([&] {
            loop.post([] { throw std::runtime_error("inside the dialog"); });
            loop.post([&] { note("still served"); });
        });
        EXPECT_THROW(inRun ? loop.run() : void(loop.runUntil([] { return false; }, 20)), std::runtime_error);
        EXPECT_EQ(story, (Words{"still served", "closed"}));
    }
}

TEST_F(NestedQtLoopsTest, RunEndsWhenTheOutermostLoopIsReached)
{
    clickForDialog([&] {
        loop.stop();
        loop.post([&] { note("served"); });
    });
    loop.run();
    EXPECT_EQ(story, (Words{"served", "closed"}));

    loop.post([&] {
        loop.post([&] { loop.stop(); });
        loop.run(); // Takes the stop itself.
        note("inner");
        loop.post([] { QApplication::quit(); });
    });
    loop.run();
    EXPECT_EQ(story.back(), "inner");
}

// A window must stay alive however much work there is.
TEST_F(NestedQtLoopsTest, EndlessWorkLeavesRoomForEventsOfQt)
{
    std::function<void()> again = [&] { loop.post(again); };
    loop.post(again);
    int left = 5;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] {
        if (--left == 0)
            loop.stop();
    });
    timer.start(1);
    loop.run();
    EXPECT_EQ(left, 0);
    EXPECT_TRUE(loop.runUntil([&] { return left < -5; }, 20));
    again = [] {};
    loop.runPending();
}

} // namespace
