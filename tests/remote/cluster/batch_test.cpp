#include "apps/composition/Composition.h"
#include "remote/cluster/LoopbackCluster.h"
#include "task/application/KRTrelkindApplication.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Writes a file from its input, slowly enough to be seen at work.
constexpr const char* kSolver = R"(
#include <cstdio>
int main()
{
    char text[100] = "";
    FILE* input = std::fopen("input", "r");
    std::fgets(text, sizeof text, input);
    std::printf("read %s\n", text);
    FILE* results = std::fopen("results.txt", "w");
    std::fprintf(results, "result of %s", text);
    std::fclose(results);
}
)";

class Batch : public testing::Test {
protected:
    void SetUp() override
    {
        if (!cluster.works())
            GTEST_SKIP() << "A server with an account of its own needs to be root.";
        wrapper.executable("local", "my solver").tasks({"", "", ""});
        wrapper.information("Project Name", makeProject(wrapper.folder() / "project", kSolver));
        for (const char* run : {"0", "1", "2"})
            wrapper.write(std::string(run) + "/input", std::string("input ") + run);
        ASSERT_EQ(machinefolder::check(*cluster.login(), "TrelkindWorkDirectory"), "Worked");
    }
    SVTrelkindEngineLSF& engine() { return static_cast<SVTrelkindEngineLSF&>(*controller->engine()); }
    void open()
    {
        controller = app.openTaskWithName(wrapper.path());
        if (!controller->engine())
            controller->connectMachine(*machine, "short");
    }

    Program program;
    WrapperOnDisk wrapper;
    KRTrelkindApplication app;
    LoopbackCluster cluster;
    std::shared_ptr<KRTrelkindMachineLSF> machine = cluster.machine();
    std::shared_ptr<KRTrelkindController> controller;
};

TEST_F(Batch, GoesFromTheWrapperToTheRemovalOfItsFolder)
{
    open();
    ASSERT_TRUE(served([&] { return !controller->engine(); }, 60))
        << engine().panel().sourceStatus.stringValue() << "; " << engine().panel().inputStatus.stringValue()
        << "; " << engine().panel().outputStatus.stringValue() << "; "
        << engine().panel().makeOutputView.string();
    for (const char* run : {"0", "1", "2"}) {
        const std::string folder(run);
        EXPECT_EQ(wrapper.read(folder + "/runOutput"), "read input " + folder + "\n");
        EXPECT_EQ(wrapper.read(folder + "/results.txt"), "result of input " + folder);
        EXPECT_FALSE(wrapper.has(folder + "/my_solver")) << "the job script stays on the cluster";
    }
    EXPECT_FALSE(wrapper.has("Remote Machine.plist"));
    EXPECT_THAT(cluster.names("TrelkindWorkDirectory"), ElementsAre("CachedExecutables"));
    EXPECT_THAT(
        cluster.names("TrelkindWorkDirectory/CachedExecutables"), ElementsAre("my_solver", "my_solver.md5"));
    EXPECT_THAT(wrapper.messages(), IsEmpty());
}

} // namespace
