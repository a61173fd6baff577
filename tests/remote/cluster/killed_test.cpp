// A batch whose program is killed goes on from where it was, whatever that was.
//
// TRELKIND_KILL_ALL=1 takes every step instead of a sample, TRELKIND_KILL_SEED another sample.
// TRELKIND_RANDOM_FAULTS=SECONDS lets everything go wrong at random for so long.

#include "remote/cluster/LoopbackCluster.h"
#include "remote/cluster/Relay.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <iostream>
#include <optional>
#include <random>
#include <sys/wait.h>

namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

constexpr int kKilled = 128 + SIGKILL;

std::mt19937 seeded()
{
    const char* given = std::getenv("TRELKIND_KILL_SEED");
    const auto seed = given ? static_cast<unsigned>(std::atol(given)) : std::random_device()();
    std::cout << "seed " << seed << "\n";
    return std::mt19937(seed);
}

class KilledBatch : public testing::Test {
protected:
    void SetUp() override
    {
        if (!cluster.works())
            GTEST_SKIP() << "A server with an account of its own needs to be root.";
        wrapper.executable("local", "my solver").tasks({"", ""});
        wrapper.information("Project Name", makeProject(wrapper.folder() / "project", R"(
#include <cstdio>
int main()
{
    std::printf("printed\n");
    std::fclose(std::fopen("results.txt", "w"));
}
)"));
        relay.emplace(cluster.port(), [this] { cluster.endConnections(); });
        ASSERT_EQ(shell(fmt::format("machines add {} --port {}", machine, relay->port())), 0);
        ASSERT_EQ(shell(fmt::format("machines password {} --password-fd 0 <<< secret", machine)), 0);
        ASSERT_EQ(shell(fmt::format("machines check {} --accept-new-host-key", machine)), 0);
    }
    // Runs the program with these words and variables; its exit status.
    int shell(const std::string& words, const std::string& variables = "")
    {
        const std::string line =
            fmt::format("export TRELKIND_PLACES='{0}/places'; {1} exec timeout -s KILL 60 "
                        "env {2} '{3}' {4} >> '{0}/out' 2>&1",
                wrapper.folder().path(), "", variables, TRELKIND, words);
        support::writeFile(wrapper.folder() / "line", line);
        const int status = std::system(("bash '" + wrapper.folder() / "line" + "'").c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    std::string said() const { return support::readFile(wrapper.folder() / "out"); }
    // What makes the program fail as the variables tell.
    static std::string failing(const std::string& variables)
    {
        return variables.empty()
            ? ""
            : fmt::format("ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD='{}' {}", KILL_AT, variables);
    }
    int runBatch(const std::string& variables = "", const std::string& options = "--minutes 0.002")
    {
        return shell(
            fmt::format("run '{}' --on {} {}", wrapper.path(), machine, options), failing(variables));
    }
    int check(const std::string& variables = "")
    {
        return shell(fmt::format("check '{}'", wrapper.path()), failing(variables));
    }
    // Begins a batch and leaves it when its jobs have ended.
    void runDetached()
    {
        ASSERT_EQ(runBatch("", "--detach"), 0) << said();
        ASSERT_TRUE(served([&] {
            const auto names = cluster.names("TrelkindWorkDirectory");
            return std::ranges::any_of(names, [&](const std::string& name) {
                return cluster.names("TrelkindWorkDirectory/" + name + "/Finished").size() == 2;
            });
        }));
    }
    void beginAnew()
    {
        relay->mend();
        for (const char* run : {"0", "1"}) {
            std::filesystem::remove_all(wrapper / run);
            wrapper.write(std::string(run) + "/input", "x");
        }
        for (const char* left : {"scheduler", "TrelkindWorkDirectory"})
            EXPECT_TRUE(served([&] { // A removal that was cut off may still be at work there.
                std::error_code error;
                std::filesystem::remove_all(cluster / left, error);
                return !error;
            }));
        support::writeFile(wrapper.folder() / "out", "");
        ASSERT_EQ(shell(fmt::format("machines check {} --accept-new-host-key", machine)), 0) << said();
    }
    // The submission may have happened although its flag hasn't reached the disk.
    bool mayHaveSubmitted() const
    {
        const std::string flags = wrapper.read("Remote Machine.plist");
        const auto has = [&](const char* flag) { return flags.find(flag) != flags.npos; };
        return has("Executable Exists") && has("Tasks have been copied") && !has("Runs have Started");
    }
    void expectWhole(int repeatedSubmissions)
    {
        for (const char* run : {"0", "1"}) {
            if (repeatedSubmissions == 0) { // Two jobs of a run write the same files.
                EXPECT_EQ(wrapper.read(std::string(run) + "/runOutput"), "printed\n");
            }
            EXPECT_THAT(platform::files::contentsOfDirectory(wrapper / run).value_or({}),
                UnorderedElementsAre(
                    "input", "results.txt", "runOutput", "VTask_runStarted", "VTask_runCompleted"));
        }
        EXPECT_FALSE(wrapper.has("Remote Machine.plist"));
        const auto jobs = std::ranges::count(cluster.read("scheduler/calls"), '\n');
        EXPECT_GE(jobs, 2);
        EXPECT_LE(jobs, 2 * (1 + repeatedSubmissions));
        // A removal that breaks off is told, and not repeated.
        if (repeatedSubmissions == 0 && said().find("Failed to remove the folder") == std::string::npos) {
            EXPECT_THAT(cluster.names("TrelkindWorkDirectory"), ElementsAre("CachedExecutables"));
        }
    }
    // Whether the program was killed before its batch had ended.
    bool killAndGoOn(int step)
    {
        SCOPED_TRACE(fmt::format("killed at step {}", step));
        beginAnew();
        const int status = runBatch(fmt::format("TRELKIND_KILL_AT={}", step));
        const int submitting = mayHaveSubmitted();
        if (status == kKilled)
            EXPECT_TRUE(runBatch() == 0) << said();
        else
            EXPECT_EQ(status, 0) << said();
        expectWhole(submitting);
        return status == kKilled;
    }

    WrapperOnDisk wrapper{"Killed.vtask"};
    LoopbackCluster cluster;
    std::optional<Relay> relay;
    const std::string machine = platform::loginName() + "@127.0.0.1";
};

TEST_F(KilledBatch, GoesOnFromAnyStep)
{
    if (std::getenv("TRELKIND_KILL_ALL")) {
        int step = 1;
        while (killAndGoOn(step) && !HasFailure())
            ++step;
        std::cout << step - 1 << " steps\n";
        return;
    }
    auto random = seeded();
    constexpr int kSamples = 6;
    constexpr int kSteps = 170; // About as many as there are.
    for (int i = 0; i < kSamples && !HasFailure(); ++i)
        killAndGoOn(1 + static_cast<int>(random() % kSteps));
}

// The server is ended, or the network swallows everything: the program goes on by itself, or when it is
// called again.
TEST_F(KilledBatch, GoesOnAfterBrokenConnections)
{
    auto random = seeded();
    beginAnew();
    const std::int64_t before = relay->bytes();
    ASSERT_EQ(runBatch(), 0) << said();
    const auto whole = static_cast<unsigned>(relay->bytes() - before);
    constexpr int kSamples = 4; // The last falls silent, which costs time.
    constexpr auto kSilence = std::chrono::seconds(3);
    for (int i = 0; i < kSamples && !HasFailure(); ++i) {
        beginAnew();
        const std::int64_t at = 1 + random() % whole;
        SCOPED_TRACE(fmt::format("broken at byte {} of {}", at, whole));
        relay->breakAt(at, i + 1 == kSamples ? Relay::Fault::FallsSilent : Relay::Fault::Ends, kSilence);
        int status = -1;
        int submitting = 0;
        for (int tries = 0; tries < 10 && status != 0; ++tries) {
            status = runBatch();
            submitting += mayHaveSubmitted();
        }
        EXPECT_EQ(status, 0) << said();
        expectWhole(submitting);
    }
}

// What can't be remembered isn't begun, and what can't be kept stays on the cluster.
TEST_F(KilledBatch, SurvivesAFullDisk)
{
    beginAnew();
    EXPECT_EQ(runBatch("TRELKIND_FULL_AT=1"), 1);
    EXPECT_THAT(said(), testing::HasSubstr("The batch can not be run on the cluster."));
    EXPECT_THAT(cluster.names("TrelkindWorkDirectory"), ElementsAre("CachedExecutables"));
    EXPECT_FALSE(wrapper.has("Remote Machine.plist"));
    runDetached();
    for (const int full : {1, 2, 3})
        check(fmt::format("TRELKIND_FULL_AT={}", full));
    EXPECT_EQ(runBatch(), 0) << said();
    expectWhole(0);
}

TEST_F(KilledBatch, SurvivesAReadOnlyWrapper)
{
    beginAnew();
    const std::string readOnly = fmt::format("TRELKIND_READ_ONLY='{}'", wrapper.path());
    EXPECT_EQ(runBatch(readOnly), 1);
    EXPECT_THAT(said(), testing::HasSubstr("The batch can not be run on the cluster."));
    EXPECT_THAT(cluster.names("TrelkindWorkDirectory"), ElementsAre("CachedExecutables"));
    EXPECT_FALSE(wrapper.has("Remote Machine.plist"));
    runDetached();
    check(readOnly);
    EXPECT_THAT(said(), testing::HasSubstr("Read-only file system"));
    EXPECT_EQ(runBatch(), 0) << said();
    expectWhole(0);
}

// The removal of the cluster's copy waits for a mark that a loss of power can't take.
TEST_F(KilledBatch, FetchesAMarkAgainThatDidNotReachTheDisk)
{
    beginAnew();
    runDetached();
    EXPECT_EQ(check("TRELKIND_FLUSH_FAILS=VTask_runCompleted"), 1);
    EXPECT_THAT(said(), testing::HasSubstr("Could not bring a file."));
    EXPECT_TRUE(wrapper.has("0/results.txt"));
    EXPECT_FALSE(wrapper.has("0/VTask_runCompleted"));
    EXPECT_TRUE(wrapper.has("Remote Machine.plist"));
    EXPECT_EQ(runBatch(), 0) << said();
    expectWhole(0);
}

TEST_F(KilledBatch, GoesOnWhenTheClockIsMoved)
{
    auto random = seeded();
    constexpr int kDay = 86400;
    for (const int seconds : {-2 * kDay, 400 * kDay}) {
        beginAnew();
        const std::string moved =
            fmt::format("TRELKIND_CLOCK_AT={} TRELKIND_CLOCK_BY={}", 1 + random() % 300, seconds);
        SCOPED_TRACE(moved);
        EXPECT_EQ(runBatch(moved), 0) << said();
        expectWhole(0);
    }
}

TEST_F(KilledBatch, SurvivesEverythingAtRandom)
{
    const char* given = std::getenv("TRELKIND_RANDOM_FAULTS");
    if (!given)
        GTEST_SKIP() << "Run by hand, with TRELKIND_RANDOM_FAULTS=600.";
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(std::atol(given));
    auto random = seeded();
    const auto below = [&random](unsigned limit) { return static_cast<int>(1 + random() % limit); };
    const auto setPassword = [this](const char* password) {
        return shell(fmt::format("machines password {} --password-fd 0 <<< {}", machine, password));
    };
    // Each tells what is set before the program is started. A disk that stays full is waited for,
    // and so is another password.
    constexpr const char* kNotForEver = "timeout -s KILL 8";
    const std::function<std::string()> faults[] = {
        [&] { return fmt::format("TRELKIND_KILL_AT={}", below(170)); },
        [&] { return fmt::format("TRELKIND_FULL_AT={} {}", below(40), kNotForEver); },
        [&] { return fmt::format("TRELKIND_READ_ONLY='{}' {}", wrapper.path(), kNotForEver); },
        [&] { return fmt::format("TRELKIND_CLOCK_AT={} TRELKIND_CLOCK_BY=-100000", below(300)); },
        [&] {
            relay->breakAt(below(60'000), Relay::Fault::Ends, {});
            return "";
        },
        [&] {
            relay->breakAt(below(60'000), Relay::Fault::ServerIsKilled, {});
            return "";
        },
        [&] {
            relay->breakAt(below(60'000), Relay::Fault::FallsSilent, std::chrono::seconds(below(30)));
            return "";
        },
        [&] {
            EXPECT_EQ(setPassword("wrong"), 0);
            return kNotForEver;
        },
    };
    int batches = 0;
    for (; std::chrono::steady_clock::now() < end && !HasFailure(); ++batches) {
        beginAnew();
        std::string history;
        int submitting = 0;
        int status = -1;
        for (int tries = 0; tries < 12 && status != 0; ++tries) {
            const std::size_t fault = random() % (tries < 6 ? std::size(faults) : 1u);
            const std::string variables = tries < 6 ? faults[fault]() : "";
            const auto begin = std::chrono::steady_clock::now();
            status = runBatch(variables);
            if (status == 0 && wrapper.has("Remote Machine.plist")) // It could not be removed.
                status = -1;
            history += fmt::format("{} {}: {}\n", tries < 6 ? fault : 99, variables, status);
            EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(50)) << history;
            submitting += mayHaveSubmitted();
            relay->mend();
            setPassword("secret");
        }
        EXPECT_EQ(status, 0) << history << said();
        expectWhole(submitting);
        EXPECT_FALSE(HasFailure()) << history << said();
    }
    std::cout << batches << " batches\n";
}

} // namespace
