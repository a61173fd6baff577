// A batch whose program is killed goes on from where it was, whatever that was.
//
// TRELKIND_KILL_ALL=1 takes every step instead of a sample, TRELKIND_KILL_SEED another sample.

#include "remote/cluster/LoopbackCluster.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <iostream>
#include <optional>
#include <poll.h>
#include <random>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

constexpr int kKilled = 128 + SIGKILL;

// Forwards connections to a server. When so many bytes have gone through, those that are open end, or fall
// silent; later ones are well.
class Relay {
public:
    enum class Fault { Ends, FallsSilent };
    explicit Relay(int serverPort) : serverPort_(serverPort), listener_(support::listenOnLoopback(port_))
    {
        thread_ = std::thread([this] { forward(); });
    }
    ~Relay()
    {
        isEnding_ = true;
        thread_.join();
        for (const Pair& pair : pairs_)
            close(pair);
    }
    int port() const { return port_; }
    std::int64_t bytes() const { return bytes_; }
    void endSilentOnes() { endsSilentOnes_ = true; } // As a server does after a while.
    void breakAt(std::int64_t bytes, Fault fault)
    {
        fault_ = fault;
        bytes_ = 0;
        endsSilentOnes_ = false;
        breakAt_ = bytes;
    }

private:
    struct Pair {
        int one;
        int other;
        bool isSilent = false;
    };
    static void close(const Pair& pair)
    {
        ::close(pair.one);
        ::close(pair.other);
    }
    static bool isReadable(int socket, int milliseconds)
    {
        pollfd wait{socket, POLLIN, 0};
        return ::poll(&wait, 1, milliseconds) > 0;
    }
    void forward()
    {
        while (!isEnding_) {
            if (isReadable(listener_.get(), pairs_.empty() ? 10 : 0))
                connect();
            std::erase_if(pairs_, [this](Pair& pair) {
                const bool goesOn = pair.isSilent ? !endsSilentOnes_
                                                  : pass(pair.one, pair.other) && pass(pair.other, pair.one);
                if (!goesOn)
                    close(pair);
                return !goesOn;
            });
            if (breakAt_ > 0 && bytes_ >= breakAt_)
                breakAll();
        }
    }
    void connect()
    {
        const int one = ::accept(listener_.get(), nullptr, nullptr);
        const int other = ::socket(AF_INET, SOCK_STREAM, 0);
        const sockaddr_in address = support::loopback(serverPort_);
        if (one >= 0 && ::connect(other, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
            pairs_.push_back({one, other});
        else
            close({one, other});
    }
    bool pass(int from, int to)
    {
        if (!isReadable(from, 1))
            return true;
        char buffer[4096];
        const ssize_t count = ::recv(from, buffer, sizeof buffer, 0);
        bytes_ += std::max<ssize_t>(count, 0);
        return count > 0 && ::send(to, buffer, static_cast<std::size_t>(count), MSG_NOSIGNAL) == count;
    }
    void breakAll()
    {
        breakAt_ = 0;
        for (Pair& pair : pairs_)
            pair.isSilent = true;
        if (fault_ == Fault::Ends)
            for (const Pair& pair : std::exchange(pairs_, {}))
                close(pair);
    }

    const int serverPort_;
    int port_ = 0;
    const platform::Descriptor listener_;
    std::vector<Pair> pairs_;
    std::atomic<std::int64_t> bytes_ = 0;
    std::atomic<std::int64_t> breakAt_ = 0; // 0 for never.
    std::atomic<Fault> fault_ = Fault::Ends;
    std::atomic<bool> endsSilentOnes_ = false;
    std::atomic<bool> isEnding_ = false;
    std::thread thread_;
};

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
        relay.emplace(cluster.port());
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
    int runBatch(const std::string& variables = "")
    {
        return shell(fmt::format("run '{}' --on {} --minutes 0.002", wrapper.path(), machine),
            variables.empty() ? ""
                              : fmt::format("ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD='{}' {}",
                                  KILL_AT, variables));
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
        }
        // A removal that breaks off is told, and not repeated.
        if (!submittedTwice && said().find("Failed to remove the folder") == std::string::npos) {
            EXPECT_THAT(cluster.names("TrelkindWorkDirectory"), ElementsAre("CachedExecutables"));
        }
    }
    // Whether the program was killed before its batch had ended.
    bool killAndGoOn(int step)
    {
        SCOPED_TRACE(fmt::format("killed at step {}", step));
        beginAnew();
        const int status = runBatch(fmt::format("TRELKIND_KILL_AT={}", step));
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
    // A silent connection may keep the server's copy of a script open for longer than this test can wait.
    if (!std::getenv("TRELKIND_BREAK_CONNECTIONS"))
        GTEST_SKIP() << "Run by hand, with TRELKIND_BREAK_CONNECTIONS=1.";
    auto random = seeded();
    beginAnew();
    const std::int64_t before = relay->bytes();
    ASSERT_EQ(runBatch(), 0) << said();
    const auto whole = static_cast<unsigned>(relay->bytes() - before);
    constexpr int kSamples = 5; // The last falls silent, which costs time.
    for (int i = 0; i < kSamples && !HasFailure(); ++i) {
        beginAnew();
        const std::int64_t at = 1 + random() % whole;
        SCOPED_TRACE(fmt::format("broken at byte {} of {}", at, whole));
        relay->breakAt(at, i + 1 == kSamples ? Relay::Fault::FallsSilent : Relay::Fault::Ends);
        int status = -1;
        bool submitting = false;
        for (int tries = 0; tries < 10 && status != 0; ++tries) {
            status = runBatch();
            submitting = submitting || mayHaveSubmitted();
            relay->endSilentOnes();
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
    ASSERT_EQ(shell(fmt::format("run '{}' --on {} --detach", wrapper.path(), machine)), 0) << said();
    ASSERT_TRUE(served([&] {
        const auto names = cluster.names("TrelkindWorkDirectory");
        return std::ranges::any_of(names, [&](const std::string& name) {
            return cluster.names("TrelkindWorkDirectory/" + name + "/Finished").size() == 2;
        });
    }));
    for (const int full : {1, 2, 3})
        shell(fmt::format("check '{}'", wrapper.path()),
            fmt::format(
                "ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD='{}' TRELKIND_FULL_AT={}", KILL_AT, full));
    EXPECT_EQ(runBatch(), 0) << said();
    expectWhole(false);
}

} // namespace
