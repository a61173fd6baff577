// A whole batch through a real scheduler of one node, which the test starts itself.

#include "apps/composition/Composition.h"
#include "remote/cluster/LoopbackCluster.h"
#include "remote/machines/ClusterCondition.h"
#include "task/application/KRTrelkindApplication.h"
#include "task/single/SVSingleTask.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <pwd.h>
#include <sys/wait.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Its node sees the cluster's home as the login does.
class RealSlurm {
public:
    explicit RealSlurm(const LoopbackCluster& cluster)
    {
        const std::string prepare =
            fmt::format("mount --bind '{}' '{}'", cluster.home(), getpwuid(getuid())->pw_dir);
        int first = 0;
        int second = 0;
        {
            const auto one = support::listenOnLoopback(first); // Both at once, so that the ports differ.
            const auto other = support::listenOnLoopback(second);
        }
        const std::string ports = fmt::format("{} {}", first, second);
        pid_ = ::fork();
        if (pid_ == 0) {
            ::setenv("SLURM_PORTS", ports.c_str(), 1);
            ::execl(SLURM, SLURM, folder_.path().c_str(), prepare.c_str(), nullptr);
            ::_exit(127);
        }
        for (const char* program : {"sbatch", "squeue", "sinfo", "scancel"})
            cluster.addProgram(program,
                fmt::format(
                    "export SLURM_CONF='{}/slurm.conf'; exec /usr/bin/{} \"$@\"", folder_.path(), program));
    }
    ~RealSlurm()
    {
        ::kill(pid_, SIGTERM);
        ::waitpid(pid_, nullptr, 0);
    }
    bool isReady() const
    {
        return served([this] { return platform::files::exists(folder_ / "ready"); }, 60);
    }
    std::string log(const char* daemon) const { return support::readFile(folder_ / "log/" + daemon); }

private:
    TemporaryFolder folder_;
    pid_t pid_ = -1;
};

TEST(Slurm, TakesAWholeBatch)
{
    if (::getuid() != 0)
        GTEST_SKIP() << "A node whose /bin/sh takes \">&\" needs to be root.";
    const Program program;
    WrapperOnDisk wrapper;
    KRTrelkindApplication app;
    const LoopbackCluster cluster;
    ASSERT_TRUE(cluster.works());
    const RealSlurm slurm(cluster);
    ASSERT_TRUE(slurm.isReady()) << slurm.log("controller") << slurm.log("node");
    ASSERT_EQ(machinefolder::check(*cluster.login(), "TrelkindWorkDirectory"), "Worked");
    EXPECT_THAT(clustercondition::ask(*cluster.login(), "TrelkindWorkDirectory"), IsEmpty());

    wrapper.executable("local", "my solver").tasks({"", "", ""});
    wrapper.information("Project Name", makeProject(wrapper.folder() / "project", R"(
#include <cstdio>
#include <unistd.h>
int main()
{
    while (::access("../go", F_OK) != 0)
        ::usleep(10000);
    std::puts("ran");
}
)"));
    const auto machine = cluster.machine();
    machine->wishes.minutesBetweenLooks = 0.01;
    const auto controller = app.openTaskWithName(wrapper.path());
    controller->connectMachine(*machine, "main");
    const auto engine =
        std::static_pointer_cast<SVTrelkindEngineLSF>(controller->engine()->shared_from_this());
    const auto& tasks = controller->taskInformation();
    const auto underWay = [&tasks] {
        return std::ranges::count_if(tasks, [](const auto& task) { return task->isUnderWay(); });
    };
    ASSERT_TRUE(served([&] { return underWay() > 0 && engine->numberOfLooks() > 2; }, 60))
        << slurm.log("node");
    EXPECT_THAT(wrapper.messages(), IsEmpty());
    for (const std::string& remark : engine->remarks())
        EXPECT_THAT(remark, testing::Not(HasSubstr("Lost")));
    // Jobs that wait for the processors that others have.
    EXPECT_TRUE(served([&] {
        return underWay() == 3 || std::ranges::any_of(engine->remarks(), [](const std::string& remark) {
            return remark.starts_with("Waiting (");
        });
    })) << underWay();
    cluster.write(engine->workDirectory() + "/go", "");
    ASSERT_TRUE(served([&] { return !controller->engine(); }, 60))
        << engine->panel().outputStatus.stringValue() << slurm.log("node");
    for (const char* run : {"0", "1", "2"}) {
        EXPECT_EQ(wrapper.read(std::string(run) + "/runOutput"), "ran\n");
        EXPECT_TRUE(wrapper.has(std::string(run) + "/slurm-" + std::to_string(run[0] - '0' + 1) + ".out"))
            << "the scheduler's own files come down like any other";
    }
    EXPECT_THAT(cluster.names("TrelkindWorkDirectory"), ElementsAre("CachedExecutables"));
}

} // namespace
