// The task window as its user meets it: a real program on a display of its own, driven by keys, by the mouse
// and through the accessibility interface.

#include "apps/desktop/DesktopSession.h"
#include "platform/TemporaryFolder.h"
#include "platform/files/Descriptor.h"
#include "task/WrapperOnDisk.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;

constexpr int kStatusColumn = 3;
constexpr int kProgressColumn = 4;

struct TaskWindow : testing::Test {
    static void SetUpTestSuite() { desktop = std::make_unique<DesktopSession>(); }
    static void TearDownTestSuite() { desktop.reset(); }
    void TearDown() override { desktop->endPrograms(); }

    Accessible open()
    {
        desktop->launch({TRELKIND_DESKTOP, wrapper.path()});
        EXPECT_TRUE(waitFor([this] { return static_cast<bool>(object("table", "Tasks")); }))
            << desktop->log();
        return object("table", "Tasks");
    }
    Accessible object(const std::string& role, const std::string& name) const
    {
        return desktop->program("trelkind-desktop").find(role, name);
    }
    // Brings the panel of the local engine up.
    void attachEngine() const
    {
        // A key goes nowhere while the window manager is still showing the window.
        ASSERT_TRUE(waitFor([&] {
            desktop->key("ctrl+r");
            return object("push button", "Start").isShowing();
        }));
    }
    bool shows(const Accessible& table, int row, int column, const std::string& text) const
    {
        return waitFor([&] { return table.cell(row, column).name() == text; });
    }
    void start() const // The tasks, on this computer.
    {
        attachEngine();
        desktop->key("space"); // The button has the keys.
    }
    // By keys alone, from the first enabled item so many items down.
    static void chooseFromBatchMenu(int itemsDown)
    {
        desktop->key("alt+b");
        for (int i = 0; i < itemsDown; ++i)
            desktop->key("Down");
        desktop->key("Return");
    }

    WrapperOnDisk wrapper{"My Batch.vtask"};
    static inline std::unique_ptr<DesktopSession> desktop;
};

TEST_F(TaskWindow, RunsABatchByKeysAndShowsWhatItLeft)
{
    wrapper.tasks({"a", "b", "c"})
        .executable("#!/bin/sh\necho hello $1\nprintf 1234567890 > SVProgress\n"
                    "while [ ! -e ../go ]; do sleep 0.05; done\n");
    const Accessible tasks = open();
    EXPECT_EQ(tasks.rows(), 3);
    EXPECT_EQ(tasks.cell(2, 0).name(), "3");
    EXPECT_FALSE(object("push button", "Start")) << "there is no engine yet";

    attachEngine();
    EXPECT_FALSE(object("push button", "End").isShowing());
    const Accessible limit = object("text", "Tasks at a time");
    EXPECT_EQ(limit.text(), "4");
    desktop->click(limit);
    desktop->key("ctrl+a");
    desktop->type("2");
    desktop->key("Return");
    EXPECT_TRUE(object("push button", "Start").press() && shows(tasks, 0, kStatusColumn, "Running"));
    EXPECT_TRUE(shows(tasks, 1, kProgressColumn, "10%"));
    EXPECT_EQ(tasks.cell(2, kStatusColumn).name(), "") << "two at a time";
    EXPECT_TRUE(object("push button", "End").isShowing());

    desktop->click(tasks.cell(0, 0));
    const Accessible files = object("table", "Files");
    EXPECT_TRUE(waitFor([&] { return files.rows() == 2; }));
    // Kept beside the build for people to look at, where that can be written.
    const TemporaryFolder elsewhere;
    const bool isKept = ::access(TRELKIND_SCREENSHOTS, W_OK) == 0;
    const std::string picture = (isKept ? TRELKIND_SCREENSHOTS : elsewhere.path()) + "/task-window.png";
    ASSERT_TRUE(desktop->screenshot(picture));
    EXPECT_GT(platform::files::size(picture), 5000U) << "more than a blank screen";

    wrapper.write("go");
    for (int row = 0; row < 3; ++row)
        EXPECT_TRUE(shows(tasks, row, kStatusColumn, "Done"));
    EXPECT_TRUE(waitFor([&] { return !object("push button", "End").isShowing(); })) << "the panel has gone";
    EXPECT_EQ(wrapper.read("2/runOutput"), "hello c\n");

    desktop->key("ctrl+q");
    EXPECT_TRUE(waitFor([this] { return !desktop->program("trelkind-desktop"); }));
    EXPECT_EQ(desktop->log(), "") << "nothing is complained of";
}

// A real program writes a step for each line that it is sent.
TEST_F(TaskWindow, ShowsTheVariablesThatARunningTaskWrites)
{
    const std::string steps = wrapper.folder() / "steps";
    ASSERT_EQ(::mkfifo(steps.c_str(), 0600), 0);
    platform::Descriptor pipe(::open(steps.c_str(), O_RDWR | O_CLOEXEC)); // Never waits for a reader.
    wrapper.tasks({"a"}).executable("#!/bin/sh\nexec '" VARIABLE_WRITER "' r.svbin < '" + steps + "'\n");
    const Accessible tasks = open();
    start();
    EXPECT_TRUE(shows(tasks, 0, kStatusColumn, "Running"));
    ASSERT_TRUE(waitFor([this] { return wrapper.has("0/r.svbin"); }));
    desktop->click(tasks.cell(0, 0));
    const Accessible files = object("table", "Files");
    ASSERT_TRUE(shows(files, 0, 0, "r.svbin"));
    desktop->click(files.cell(0, 0));
    const Accessible variables = object("table", "Variables");
    for (const char* information : {"0", "2 time values", "3 time values"}) {
        EXPECT_EQ(::write(pipe.get(), "\n", 1), 1);
        EXPECT_TRUE(shows(variables, 0, 2, information));
    }
    EXPECT_EQ(variables.cell(0, 0).name(), "v");
    pipe.reset(); // The program ends with its input.
    EXPECT_TRUE(shows(tasks, 0, kStatusColumn, "Done"));
    EXPECT_EQ(variables.rows(), 1);
    EXPECT_EQ(desktop->log(), "");
}

TEST_F(TaskWindow, EndsTheTasksAndClearsThem)
{
    wrapper.tasks({"a", "b"}).executable("#!/bin/sh\nsleep 60\n");
    const Accessible tasks = open();
    start();
    EXPECT_TRUE(shows(tasks, 1, kStatusColumn, "Running"));
    desktop->click(object("push button", "End"));
    EXPECT_TRUE(shows(tasks, 0, kStatusColumn, "Aborted") && shows(tasks, 1, kStatusColumn, "Aborted"));
    EXPECT_TRUE(waitFor([&] { return object("push button", "Start").isShowing(); }));
    chooseFromBatchMenu(2); // Run on cluster, End all tasks, Clear aborted tasks.
    EXPECT_TRUE(shows(tasks, 0, kStatusColumn, ""));
    EXPECT_FALSE(wrapper.has("0/VTask_aborted"));
}

TEST_F(TaskWindow, TwoFrontEndsNeverStartATaskTwice)
{
    wrapper.tasks({"a", "b"})
        .executable("#!/bin/sh\necho x >> ../../started\nwhile [ ! -e ../go ]; do sleep 0.05; done\n");
    const std::string console = std::string("'") + TRELKIND + "' run '" + wrapper.path() + "'";
    const Accessible tasks = open();
    start();
    ASSERT_TRUE(shows(tasks, 1, kStatusColumn, "Running"));
    const std::string words = wrapper.folder() / "words";
    EXPECT_EQ(WEXITSTATUS(std::system((console + " 2>'" + words + "' >&2").c_str())), 1);
    EXPECT_THAT(
        platform::files::readFile(words).value(), HasSubstr("is being run, or cleared, by another trelkind"));
    wrapper.write("go");
    EXPECT_TRUE(shows(tasks, 0, kStatusColumn, "Done") && shows(tasks, 1, kStatusColumn, "Done"));
    EXPECT_EQ(platform::files::readFile(wrapper.folder() / "started"), "x\nx\n");

    // The other way round: the console runs, and the window is told in a message.
    for (const char* task : {"0", "1"})
        std::ignore = platform::files::remove(wrapper / std::string(task) + "/VTask_runStarted");
    std::ignore = platform::files::remove(wrapper / "go");
    desktop->launch({"sh", "-c", console});
    ASSERT_TRUE(
        waitFor([&] { return wrapper.has("0/VTask_runStarted") && wrapper.has("1/VTask_runStarted"); }));
    start();
    EXPECT_TRUE(waitFor([&] { return object("table", "Messages").rows() == 1; }));
    EXPECT_EQ(object("table", "Messages").cell(0, 1).name(), "The tasks can not be run.");
    wrapper.write("go");
    EXPECT_TRUE(
        waitFor([&] { return platform::files::readFile(wrapper.folder() / "started") == "x\nx\nx\nx\n"; }));
}

// Another call hands its wrapper over; runs may be left alone; the next start shows what became of them.
TEST_F(TaskWindow, QuittingLeavesRunsAndTheNextStartOpensTheirWrapper)
{
    wrapper.tasks({"", "", "", "", ""}).executable("#!/bin/sh\nwhile [ ! -e ../go ]; do sleep 0.05; done\n");
    open();
    start();
    ASSERT_TRUE(waitFor([&] { return wrapper.has("3/VTask_runStarted"); }));
    const WrapperOnDisk other("Other.vtask");
    desktop->launch({TRELKIND_DESKTOP, other / "0/input"});
    const std::string title = "Other.vtask \u2013 " + other.folder().path();
    EXPECT_TRUE(waitFor([&] { return static_cast<bool>(object("frame", title)); })) << desktop->log();

    desktop->key("ctrl+q");
    ASSERT_TRUE(waitFor([&] { return object("push button", "Leave Running").isShowing(); }));
    EXPECT_TRUE(object("push button", "Leave Running").press());
    EXPECT_TRUE(waitFor([] { return !desktop->program("trelkind-desktop"); })) << desktop->log();
    wrapper.write("go");
    EXPECT_TRUE(waitFor([&] { return wrapper.has("3/VTask_runCompleted"); }));
    EXPECT_FALSE(wrapper.has("4/VTask_runStarted"));

    desktop->launch({TRELKIND_DESKTOP});
    EXPECT_TRUE(waitFor([&] {
        return object("frame", title) && object("frame", "My Batch.vtask \u2013 " + wrapper.folder().path());
    }));
}

TEST_F(TaskWindow, WithoutAWrapperItOffersTheLastOnesAndAnother)
{
    desktop->launch({TRELKIND_DESKTOP});
    EXPECT_TRUE(waitFor([this] { return object("table", "Recent wrappers").isShowing(); })) << desktop->log();
    EXPECT_TRUE(object("push button", "Open Another\u2026").press());
    EXPECT_TRUE(waitFor([this] { return object("dialog", "Open a task wrapper").isShowing(); }))
        << desktop->log();
}

TEST_F(TaskWindow, TellsItsVersionAndLicences)
{
    open();
    ASSERT_TRUE(waitFor([this] {
        desktop->key("alt+h");
        desktop->key("Up"); // The last item.
        desktop->key("Return");
        return object("text", "Versions and licences").isShowing();
    }));
    EXPECT_THAT(object("text", "Versions and licences").text(),
        testing::ContainsRegex("Trelkind [0-9.]+\n(.*\n)+.*GPL-3.0-or-later(.*\n)+Qt 6[0-9.]+, LGPL"));
}

TEST_F(TaskWindow, StartedByTheDesktopItOpensOnlyWhatIsAsked)
{
    desktop->launch({TRELKIND_DESKTOP, "--service"});
    ASSERT_TRUE(waitFor([this] { return static_cast<bool>(desktop->program("trelkind-desktop")); }));
    open();
    EXPECT_FALSE(object("table", "Recent wrappers"));
}

TEST_F(TaskWindow, WithoutASessionBusItRunsTasksWhichOutliveTheDisplay)
{
    wrapper.tasks({""}).executable("#!/bin/sh\nwhile [ ! -e ../go ]; do sleep 0.05; done\n");
    desktop->launch(
        {"env", "DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent", TRELKIND_DESKTOP, wrapper.path()});
    ASSERT_TRUE(waitFor([&] {
        desktop->key("ctrl+r");
        desktop->key("space");
        return wrapper.has("0/VTask_runStarted");
    })) << desktop->log();
    desktop->takeDisplayFrom("My Batch.vtask");
    EXPECT_TRUE(waitFor([] { return desktop->log().find("connection broke") != std::string::npos; }))
        << desktop->log();
    EXPECT_FALSE(wrapper.has("0/VTask_runCompleted"));
    wrapper.write("go");
    EXPECT_TRUE(waitFor([&] { return wrapper.has("0/VTask_runCompleted"); }));
}

TEST_F(TaskWindow, MachinesAreAddedInAWindowOfTheirOwn)
{
    open();
    desktop->key("alt+w");
    desktop->key("Return");
    EXPECT_TRUE(waitFor([this] { return object("push button", "Add machine").isShowing(); }))
        << desktop->log();
    EXPECT_FALSE(object("push button", "Remove").isEnabled());
    EXPECT_TRUE(object("push button", "Add machine").press());
    EXPECT_TRUE(waitFor([this] { return object("text", "Machine name").isShowing(); }));
    EXPECT_TRUE(object("check box", "Details").press());
    EXPECT_TRUE(waitFor([this] { return !object("text", "Machine name").isShowing(); }));
}

// The desktop's library takes the user's locale over; numbers keep their decimal point.
TEST_F(TaskWindow, NumbersHaveAPointInACountryOfCommas)
{
    const TemporaryFolder locales;
    ASSERT_EQ(std::system(("localedef -i de_DE -f UTF-8 '" + locales / "de_DE.UTF-8" + "'").c_str()), 0);
    wrapper.tasks({"a", "b"}).executable("#!/bin/sh\nexit 0\n");
    desktop->launch(
        {"env", "LOCPATH=" + locales.path(), "LC_ALL=de_DE.UTF-8", TRELKIND_DESKTOP, wrapper.path()});
    ASSERT_TRUE(waitFor([this] { return static_cast<bool>(object("table", "Tasks")); })) << desktop->log();
    EXPECT_EQ(object("table", "Tasks").cell(1, 1).name(), "0.5");
    desktop->click(object("text", "Project"));
    desktop->type("/tmp/p.xcodeproj");
    desktop->key("Return");
    const auto stored = [this] { return wrapper.read("Info.plist"); };
    ASSERT_TRUE(waitFor([&] { return stored().find("p.xcodeproj") != std::string::npos; }));
    EXPECT_THAT(stored(), HasSubstr("<real>0.5</real>"));
}

TEST(DesktopCommandLine, TellsWhatIsWrongInASentence)
{
    const TemporaryFolder folder;
    const auto words = [&](const std::string& line, int status) {
        const std::string out = folder / "out";
        const int ended = std::system(("env -u DISPLAY -u WAYLAND_DISPLAY '" TRELKIND_DESKTOP "' " + line
            + " >'" + out + "' 2>&1 </dev/null")
                                          .c_str());
        EXPECT_EQ(WEXITSTATUS(ended), status) << line;
        return platform::files::readFile(out).value_or("");
    };
    EXPECT_THAT(words("x.vtask", 1), HasSubstr("There is no display"));
    EXPECT_THAT(words("--dance", 2), HasSubstr("trelkind-desktop: Unknown option 'dance'"));
    EXPECT_THAT(words("--help", 0), HasSubstr("Usage: trelkind-desktop [options] [WRAPPER...]"));
    EXPECT_THAT(words("--version", 0), HasSubstr("trelkind-desktop 0."));
}

} // namespace
