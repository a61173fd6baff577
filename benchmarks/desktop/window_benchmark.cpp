// What the window of a wrapper costs: its start and memory, beside a window with nothing in it; opening,
// scrolling and sorting of many tasks; and how long the main loop is held up while tasks run.

#include "BenchmarkMain.h"
#include "ProcessFacts.h"
#include "desktop/Screen.h"

#include "apps/composition/Composition.h"
#include "apps/desktop/Desktop.h"
#include "apps/desktop/loop/QtMainLoop.h"
#include "platform/files/FileManager.h"
#include "platform/files/Places.h"
#include "platform/loop/Pace.h"
#include "platform/plist/PropertyList.h"
#include "task/application/KRTrelkindApplication.h"
#include "task/engine/SVTrelkindEngineLocal.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QScrollBar>
#include <QTableView>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <tuple>

namespace {

namespace files = platform::files;
using platform::monotonicSeconds;
using platform::Value;

constexpr int kManyTasks = 10000;
constexpr int kRunningTasks = 32;
constexpr double kSecondsFollowed = 15;

// A wrapper whose tasks do what a script says. The first half of them has been run.
class Batch {
public:
    Batch(int tasks, const std::string& program, bool isHalfDone)
    {
        char name[] = "/tmp/trelkind-bench-XXXXXX";
        root_ = mkdtemp(name);
        platform::Places::setRoot(root_ + "/places");
        std::ignore = files::createDirectories(path() + "/MacOSX");
        std::ignore = files::writeFile(path() + "/MacOSX/program", program);
        std::ignore = files::setPermissions(path() + "/MacOSX/program", 0755);
        Value::Array entries;
        for (int i = 0; i < tasks; ++i) {
            const std::string folder = path() + "/" + std::to_string(i);
            std::ignore = files::createDirectory(folder);
            if (isHalfDone && i < tasks / 2)
                for (const char* marker : {"/VTask_runStarted", "/VTask_runCompleted"})
                    std::ignore = files::writeFile(folder + marker, "");
            entries.emplace_back(Value::Dictionary{{"Time Value", 0.1 * i},
                {"Argument", "--seed " + std::to_string(i * 7919 % tasks)}, {"Description", "one of many"}});
        }
        plist("Executable.plist", Value::Dictionary{{"Executable", "program"}});
        plist("Info.plist", Value::Dictionary{{"Entry Description", std::move(entries)}});
    }
    ~Batch() { std::ignore = files::remove(root_); }
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;
    std::string path() const { return root_ + "/Batch.vtask"; }

private:
    void plist(const char* name, Value value) const
    {
        std::ignore = platform::propertylist::writeAtomically(std::move(value), path() + "/" + name);
    }
    std::string root_;
};

// Megabytes of a process: its share of what it has in common with others counts in part.
double shareOfMemory(pid_t process)
{
    return factOf("/proc/" + std::to_string(process) + "/smaps_rollup", "Pss") / 1024;
}

void startProgram(benchmark::State& state, const std::vector<std::string>& command)
{
    ::unsetenv("QT_QPA_PLATFORM");
    double memory = 0;
    for (auto _ : state) {
        Screen screen;
        const double start = monotonicSeconds();
        const Child program(command);
        if (!screen.waitForWindow())
            state.SkipWithError("no window came");
        state.SetIterationTime(monotonicSeconds() - start);
        platform::sleepFor(0.5); // What is made just after the first picture counts, too.
        memory = std::max(memory, shareOfMemory(program.id()));
    }
    state.counters["own_MB"] = memory;
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
}

void startAnEmptyWindow(benchmark::State& state)
{
    startProgram(state, {EMPTY_WINDOW});
}
BENCHMARK(startAnEmptyWindow)->Iterations(5)->UseManualTime()->Unit(benchmark::kMillisecond);

void startWith100Tasks(benchmark::State& state)
{
    const Batch batch(100, "#!/bin/sh\n", true);
    ::setenv("XDG_DATA_HOME", (batch.path() + "/../data").c_str(), 1);
    startProgram(state, {TRELKIND_DESKTOP, batch.path()});
    ::unsetenv("XDG_DATA_HOME");
}
BENCHMARK(startWith100Tasks)->Iterations(5)->UseManualTime()->Unit(benchmark::kMillisecond);

// The program inside this one.
class Inside {
public:
    Inside() : menus_(application_), desktop_(menus_) { }
    ~Inside()
    {
        for (const auto& controller : std::vector(application_.listOfControllers()))
            controller->window()->userCloses();
        platform::MainLoop::main().runPending();
    }

    KRTrelkindController& open(const std::string& wrapper)
    {
        const auto controller = application_.openTaskWithName(wrapper);
        platform::MainLoop::main().runUntil([this] { return table() != nullptr; }, 20);
        table()->viewport()->repaint();
        return *controller;
    }
    static QTableView* table() // The widget of the tasks.
    {
        for (QWidget* window : QApplication::topLevelWidgets())
            for (auto* found : window->findChildren<QTableView*>())
                if (found->accessibleName() == QLatin1String("Tasks"))
                    return found;
        return nullptr;
    }

private:
    KRTrelkindApplication application_;
    MainMenu menus_;
    Desktop desktop_;
};

void openManyTasks(benchmark::State& state)
{
    const Batch batch(kManyTasks, "#!/bin/sh\n", true);
    for (auto _ : state) {
        Inside inside;
        const double start = monotonicSeconds();
        inside.open(batch.path());
        state.SetIterationTime(monotonicSeconds() - start);
    }
}
BENCHMARK(openManyTasks)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

void scrollManyTasks(benchmark::State& state)
{
    const Batch batch(kManyTasks, "#!/bin/sh\n", true);
    Inside inside;
    inside.open(batch.path());
    QTableView& table = *Inside::table();
    double longest = 0;
    int row = 0;
    for (auto _ : state) {
        const double start = monotonicSeconds();
        table.verticalScrollBar()->setValue(row = (row + 37) % kManyTasks);
        platform::MainLoop::main().runPending();
        table.viewport()->repaint();
        longest = std::max(longest, monotonicSeconds() - start);
    }
    state.counters["longest_ms"] = longest * 1e3;
}
BENCHMARK(scrollManyTasks)->Iterations(1000)->Unit(benchmark::kMillisecond);

void sortManyTasks(benchmark::State& state)
{
    const Batch batch(kManyTasks, "#!/bin/sh\n", true);
    Inside inside;
    auto& tasks = inside.open(batch.path()).views()->taskList;
    for (auto _ : state) {
        tasks.sortBy("Argument");
        platform::MainLoop::main().runPending();
        Inside::table()->viewport()->repaint();
    }
}
BENCHMARK(sortManyTasks)->Iterations(50)->Unit(benchmark::kMillisecond);

// How long the main loop is away from waiting.
class LoopWatch {
public:
    LoopWatch()
    {
        auto* dispatcher = QAbstractEventDispatcher::instance();
        QObject::connect(
            dispatcher, &QAbstractEventDispatcher::awake, &context_, [this] { began_ = monotonicSeconds(); });
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, &context_, [this] {
            if (began_ > 0)
                longest_ = std::max(longest_, monotonicSeconds() - std::exchange(began_, 0));
        });
    }
    double longest() const { return longest_; }

private:
    QObject context_;
    double began_ = 0;
    double longest_ = 0;
};

// The first task prints 10 MB a second; the others a little. "rows" is how much of its output is on display.
void followRunningTasks(benchmark::State& state)
{
    const std::string writer = std::filesystem::read_symlink("/proc/self/exe").string();
    const Batch batch(kManyTasks,
        "#!/bin/sh\ncase $PWD in */0) exec '" + writer + "' --write 10000000;; *) exec '" + writer
            + "' --write 10000;; esac\n",
        false);
    for (auto _ : state) {
        Inside inside;
        KRTrelkindController& controller = inside.open(batch.path());
        controller.views()->taskList.selectRows({0});
        if (state.range(0) != 0)
            controller.views()->taskList.sortBy("Duration");
        controller.startLocalTask();
        const auto held = controller.engine()->shared_from_this();
        auto& engine = static_cast<SVTrelkindEngineLocal&>(*held);
        engine.panel().concurrency.commit(std::to_string(kRunningTasks));
        engine.panel().startButton.press();
        auto& loop = platform::MainLoop::main();
        loop.runUntil([&] { return engine.whichTasksAreRunning().size() == kRunningTasks; }, 20);
        const double start = monotonicSeconds();
        const double before = ownProcessorSeconds();
        const LoopWatch watch;
        loop.runUntil([] { return false; }, kSecondsFollowed);
        state.counters["longest_turn_ms"] = watch.longest() * 1e3;
        state.counters["share_of_a_core"] = (ownProcessorSeconds() - before) / (monotonicSeconds() - start);
        state.counters["rows"] = controller.views()->outputFromProgram.numberOfRows();
        engine.endTasks();
        loop.runUntil([&] { return !engine.isRunning(); }, 20);
    }
}
BENCHMARK(followRunningTasks)->ArgName("sorted")->Arg(0)->Arg(1)->Iterations(1)->Unit(benchmark::kSecond);

// A task: so many bytes a second, in lines of 80, ten times a second.
int write(int bytesInASecond)
{
    std::string lines;
    for (int i = 0; i < bytesInASecond / 10 / 80; ++i)
        lines += std::string(79, static_cast<char>('a' + i % 26)) + "\n";
    while (std::fwrite(lines.data(), 1, lines.size(), stdout) == lines.size() && std::fflush(stdout) == 0)
        platform::sleepFor(0.1);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 3 && std::string(argv[1]) == "--write")
        return write(std::atoi(argv[2]));
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    ::setenv("QT_NO_GLIB", "1", 1); // The other dispatcher doesn't tell when it waits.
    QApplication application(argc, argv);
    QtMainLoop::install();
    platform::MainLoop::main();
    const Program program;
    return runBenchmarks(argc, argv);
}
