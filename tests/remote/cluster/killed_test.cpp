// A batch whose program is killed goes on from where it was, whatever that was.
//
// TRELKIND_KILL_ALL=1 takes every step instead of a sample, TRELKIND_KILL_SEED another sample.

#include "remote/cluster/LoopbackCluster.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <iostream>
#include <random>
#include <sys/wait.h>

namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

constexpr int kKilled = 128 + SIGKILL;

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
        ASSERT_EQ(shell(fmt::format("machines add {} --port {}", machine, cluster.port())), 0);
        ASSERT_EQ(shell(fmt::format("machines password {} --password-fd 0 <<< secret", machine)), 0);
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
    int runBatch(int killAt = 0)
    {
        return shell(fmt::format("run '{}' --on {} --minutes 0.002", wrapper.path(), machine),
            killAt == 0 ? "" : fmt::format("LD_PRELOAD='{}' TRELKIND_KILL_AT={}", KILL_AT, killAt));
    }
    void beginAnew()
    {
        for (const char* run : {"0", "1"}) {
            std::filesystem::remove_all(wrapper / run);
            wrapper.write(std::string(run) + "/input", "x");
        }
        for (const char* left : {"scheduler", "TrelkindWorkDirectory"})
            std::filesystem::remove_all(cluster / left);
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
    void expectWhole(bool submittedTwice)
    {
        for (const char* run : {"0", "1"}) {
            EXPECT_EQ(wrapper.read(std::string(run) + "/runOutput"), "printed\n");
            EXPECT_THAT(platform::files::contentsOfDirectory(wrapper / run).value_or({}),
                UnorderedElementsAre(
                    "input", "results.txt", "runOutput", "VTask_runStarted", "VTask_runCompleted"));
        }
        EXPECT_FALSE(wrapper.has("Remote Machine.plist"));
        const auto jobs = std::ranges::count(cluster.read("scheduler/calls"), '\n');
        if (submittedTwice) {
            EXPECT_TRUE(jobs == 2 || jobs == 3 || jobs == 4) << jobs;
        } else {
            EXPECT_EQ(jobs, 2);
            EXPECT_THAT(cluster.names("TrelkindWorkDirectory"), ElementsAre("CachedExecutables"));
        }
    }
    // Whether the program was killed before its batch had ended.
    bool killAndGoOn(int step)
    {
        SCOPED_TRACE(fmt::format("killed at step {}", step));
        beginAnew();
        const int status = runBatch(step);
        const bool submitting = mayHaveSubmitted();
        if (status == kKilled)
            EXPECT_TRUE(runBatch() == 0) << said();
        else
            EXPECT_EQ(status, 0) << said();
        expectWhole(submitting);
        return status == kKilled;
    }

    WrapperOnDisk wrapper{"Killed.vtask"};
    LoopbackCluster cluster;
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
    const char* given = std::getenv("TRELKIND_KILL_SEED");
    const auto seed = given ? static_cast<unsigned>(std::atol(given)) : std::random_device()();
    std::cout << "seed " << seed << "\n";
    std::mt19937 random(seed);
    constexpr int kSamples = 8;
    constexpr int kSteps = 170; // About as many as there are.
    for (int i = 0; i < kSamples && !HasFailure(); ++i)
        killAndGoOn(1 + static_cast<int>(random() % kSteps));
}

} // namespace
