#pragma once

#include "apps/composition/Composition.h"
#include "platform/loop/Pace.h"
#include "remote/cluster/LoopbackCluster.h"
#include "remote/cluster/SVTrelkindEngineLSF.h"
#include "remote/machines/MachineFolder.h"
#include "task/application/KRTrelkindApplication.h"

#include <algorithm>
#include <gmock/gmock.h>

// Writes a file from its input, slowly enough to be seen at work.
inline constexpr const char* kSolver = R"(
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

// A batch of three runs on a cluster of the test's own, followed from an open wrapper.
class Batch : public testing::Test {
protected:
    void SetUp() override
    {
        if (!cluster.works())
            GTEST_SKIP() << "A server with an account of its own needs to be root.";
        wrapper.executable("local", "my solver").tasks({"", "", ""});
        wrapper.information("Project Name", makeProject(wrapper.folder() / "project", kSolver));
        resetRuns();
        ASSERT_EQ(machinefolder::check(*cluster.login(), "TrelkindWorkDirectory"), "Worked");
    }
    void TearDown() override { platform::Pace::setFactor(1); }
    SVTrelkindEngineLSF& engine() { return static_cast<SVTrelkindEngineLSF&>(*controller->engine()); }
    LsfAddition& panel() { return engine().panel(); }
    void open()
    {
        controller = app.openTaskWithName(wrapper.path());
        if (!controller->engine())
            controller->connectMachine(*machine, "short");
    }
    // As at the program's end: an operation that is under way still saves its flag.
    void close()
    {
        std::weak_ptr<SVTrelkindEngine> engineBefore;
        if (controller->engine())
            engineBefore = std::static_pointer_cast<SVTrelkindEngine>(engine().shared_from_this());
        EXPECT_TRUE(controller->windowShouldClose());
        controller.reset();
        EXPECT_TRUE(served([&] { return engineBefore.expired(); }));
    }
    void reopen()
    {
        close();
        open();
    }
    // The runs as they were before the batch.
    void resetRuns()
    {
        for (const char* run : {"0", "1", "2"}) {
            std::filesystem::remove_all(wrapper / run);
            wrapper.write(std::string(run) + "/input", std::string("input ") + run);
        }
    }
    static bool shows(const toolkit::TextField& line, const std::string& text)
    {
        return served([&] { return line.stringValue() == text; }, 20);
    }
    // The retry buttons that are seen.
    std::string buttons()
    {
        std::string seen;
        for (const toolkit::Button* button : {&panel().checkWorkFolderButton, &panel().checkAgainButton,
                 &panel().checkTaskUploadButton, &panel().checkOutputButton})
            seen += button->isHidden() ? '-' : 'x';
        return seen;
    }
    std::string lines()
    {
        return panel().directoryNameField.stringValue() + "; " + panel().sourceStatus.stringValue() + "; "
            + panel().inputStatus.stringValue() + "; " + panel().outputStatus.stringValue() + "; "
            + panel().makeOutputView.string();
    }
    void expectWholeBatch(int submissions = 1)
    {
        ASSERT_TRUE(served([&] { return !controller->engine(); }, 20)) << lines();
        for (const char* run : {"0", "1", "2"}) {
            const std::string folder(run);
            EXPECT_EQ(wrapper.read(folder + "/runOutput"), "read input " + folder + "\n");
            EXPECT_EQ(wrapper.read(folder + "/results.txt"), "result of input " + folder);
            EXPECT_FALSE(wrapper.has(folder + "/my_solver")) << "the job script stays on the cluster";
        }
        EXPECT_FALSE(wrapper.has("Remote Machine.plist"));
        EXPECT_THAT(cluster.names("TrelkindWorkDirectory"), testing::ElementsAre("CachedExecutables"));
        EXPECT_EQ(std::ranges::count(cluster.read("scheduler/calls"), '\n'), 3 * submissions);
    }
    // What the batch's file holds; its texts that no two runs share are left out.
    std::string flags() const
    {
        std::string told;
        const auto stored = platform::propertylist::readFile(wrapper / "Remote Machine.plist");
        if (stored && stored->dictionary())
            for (const auto& [key, value] : *stored->dictionary())
                if (key != "UUID" && key != "User Name")
                    told += key + "=" + (value.text() ? *value.text() : "?") + "\n";
        return told;
    }
    std::string batchFolder() const { return "TrelkindWorkDirectory/" + uuid(); }
    std::string uuid() const
    {
        BatchFile file(wrapper.path());
        file.load();
        return file.text(BatchFile::kUuid).value_or("");
    }
    // The file of a batch that has come so far.
    void begun(const std::vector<const char*>& withFlags)
    {
        platform::Value::Dictionary stored{
            {"Host", LoopbackCluster::kName}, {"UUID", "01234567-89AB-CDEF-0123-456789ABCDEF"}};
        for (const char* flag : withFlags)
            stored[flag] = "YES";
        wrapper.plist("Remote Machine.plist", stored);
    }

    Program program;
    WrapperOnDisk wrapper;
    KRTrelkindApplication app;
    LoopbackCluster cluster;
    std::shared_ptr<KRTrelkindMachineLSF> machine = [this] {
        auto made = cluster.machine();
        app.machines().addControllerToEnd(made);
        return made;
    }();
    std::shared_ptr<KRTrelkindController> controller;
};
