#include "task/KRTrelkindController.h"
#include "task/TaskWrapper.h"
#include "task/UploadPreparation.h"
#include "task/WrapperOnDisk.h"

#include <gmock/gmock.h>
#include <tuple>

namespace {

using platform::Value;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
namespace files = platform::files;

std::shared_ptr<KRTrelkindController> open(const WrapperOnDisk& wrapper)
{
    return KRTrelkindController::createFromWrapperName(wrapper.path());
}

TEST(Wrapper, ReadsTheTaskListInItsFormsAndNeverMixesThem)
{
    const Value entries = Value::Array{
        Value::Dictionary{{"Argument", "-n 5"}, {"Time Value", 1.5}}, Value::Dictionary(), "no dictionary"};
    const Value times = Value::Array{3, 4.5};
    const struct {
        Value::Dictionary information;
        std::vector<std::pair<double, std::string>> tasks;
        bool isOdd = false;
    } cases[] = {
        {{}, {}},
        {{{"Entry Description", entries}}, {{1.5, "-n 5"}, {0, ""}, {0, ""}}, true},
        {{{"TimeValues", times}, {"Description", Value::Array{"a"}}}, {{3, ""}, {4.5, ""}}},
        {{{"Entry Description", Value::Array()}, {"TimeValues", times}}, {}},
        {{{"Entry Description", entries}, {"TimeValues", times}}, {{1.5, "-n 5"}, {0, ""}, {0, ""}}, true},
        {{{"Entry Description", Value::Array{Value::Dictionary{{"Argument", 5}, {"Time Value", "2.5"}}}}},
            {{2.5, "5"}}},
        {{{"Entry Description", "a text"}}, {}, true},
        {{{"Entry Description", Value::Array{Value::Dictionary{{"Argument", Value::Array{"-n"}}}}}},
            {{0, ""}}, true},
    };
    for (const auto& [information, tasks, isOdd] : cases) {
        const WrapperOnDisk wrapper;
        wrapper.plist("Info.plist", information);
        SCOPED_TRACE(wrapper.read("Info.plist"));
        const auto controller = open(wrapper);
        ASSERT_EQ(controller->taskInformation().size(), tasks.size());
        EXPECT_EQ(wrapper.messages().size(), isOdd ? 1U : 0U);
        for (std::size_t i = 0; i < tasks.size(); ++i) {
            const auto& task = *controller->taskInformation()[i];
            EXPECT_EQ(task.numberInProject(), static_cast<int>(i));
            EXPECT_EQ(task.timeValue(), tasks[i].first);
            EXPECT_EQ(task.argument(), tasks[i].second);
            EXPECT_FALSE(task.entryDescription());
        }
    }
}

TEST(Wrapper, NamesOfInputsComeFromTheListBeforeTheSingleName)
{
    const Value one = Value::Array{"a", 7, "b"};
    const std::pair<Value::Dictionary, std::optional<std::vector<std::string>>> cases[] = {
        {{}, std::nullopt},
        {{{"Input", "single"}}, {{"single"}}},
        {{{"InputFiles", one}, {"Input", "single"}}, {{"a", "7", "b"}}},
        {{{"InputFiles", Value::Array()}, {"Input", "single"}}, {std::vector<std::string>()}},
        {{{"InputFiles", "alone"}}, {{"alone"}}},
    };
    for (const auto& [information, names] : cases) {
        const WrapperOnDisk wrapper;
        wrapper.plist("Info.plist", information);
        EXPECT_EQ(TaskWrapper::read(wrapper.path()).inputFiles, names) << wrapper.read("Info.plist");
        EXPECT_THAT(wrapper.messages(), IsEmpty());
    }
}

// What a person meant as an input must not be removed because it was written down in another way.
TEST(Wrapper, NothingIsClearedWhileTheInputsAreNotKnown)
{
    for (const Value& odd :
        {Value(5), Value(Value::Dictionary()), Value(Value::Array{Value::Array{"input"}})}) {
        WrapperOnDisk wrapper;
        wrapper.tasks({"a"});
        wrapper.plist("Info.plist",
            Value::Dictionary{{"Entry Description", Value::Array{Value::Dictionary()}}, {"InputFiles", odd}});
        wrapper.write("0/runOutput");
        const auto controller = open(wrapper);
        controller->taskInformation()[0]->clearData();
        controller->taskInformation()[0]->removeComputedResults();
        EXPECT_TRUE(wrapper.has("0/input"));
        EXPECT_TRUE(wrapper.has("0/runOutput"));
        EXPECT_THAT(wrapper.messages(),
            ElementsAre("Could not understand all of Info.plist.", "Could not clear the run.",
                "Could not clear the run."));
    }
}

TEST(Wrapper, MakesTheChecksumOnceAndTrustsItAfterwards)
{
    WrapperOnDisk wrapper;
    wrapper.executable("abc");
    EXPECT_EQ(TaskWrapper::read(wrapper.path()).executableMD5, "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(wrapper.read("MacOSX/program.md5"), "900150983cd24fb0d6963f7d28e17f72");
    wrapper.write("MacOSX/program", "changed");
    EXPECT_EQ(TaskWrapper::read(wrapper.path()).executableMD5, "900150983cd24fb0d6963f7d28e17f72");
    wrapper.write("MacOSX/program.md5", "\xFF\xFE");
    EXPECT_EQ(TaskWrapper::read(wrapper.path()).executableMD5, "8977dfac2f8e04cb96e66882235f5aba");

    std::ignore = files::remove(wrapper / "MacOSX/program.md5");
    std::ignore = files::remove(wrapper / "MacOSX/program");
    EXPECT_FALSE(TaskWrapper::read(wrapper.path()).executableMD5);
    EXPECT_FALSE(wrapper.has("MacOSX/program.md5"));
    EXPECT_THAT(wrapper.messages(), IsEmpty());
}

TEST(Wrapper, AChecksumCoversAFileOfManyChunks)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(files::writeFile(folder / "big", std::string(1000000, 'a')));
    EXPECT_EQ(md5ChecksumForFile(folder / "big"), "7707d6ae4e027c70eea2a935c2296f21");
    EXPECT_TRUE(files::writeFile(folder / "empty", ""));
    EXPECT_EQ(md5ChecksumForFile(folder / "empty"), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_FALSE(md5ChecksumForFile(folder.path()));
}

TEST(Wrapper, WhatCanNotBeReadIsToldAndNeverWrittenOver)
{
    std::string nested;
    for (int i = 0; i < 100000; ++i)
        nested += "<array>";
    const std::string wrongRoot = platform::propertylist::toXml(Value::Array{1});
    for (const std::string& bytes : {std::string("<plist><dict><key>a"), std::string("bplist00\x01\x02", 10),
             std::string("\0\1\2", 3), "<plist>" + nested, wrongRoot}) {
        WrapperOnDisk wrapper;
        wrapper.executable("x");
        wrapper.write("Info.plist", bytes);
        wrapper.write("Executable.plist", bytes);
        wrapper.write("Remote Machine.plist", bytes == wrongRoot ? "" : bytes);
        wrapper.write("new", "y");
        const auto controller = open(wrapper);
        EXPECT_THAT(controller->taskInformation(), IsEmpty());
        EXPECT_THAT(wrapper.messages(),
            testing::IsSupersetOf({"Could not read Info.plist.", "Could not read Executable.plist."}));

        controller->views()->xCodeProjectLocation.setStringValue("/a/b.xcodeproj");
        controller->xCodeProjectChanged();
        EXPECT_EQ(wrapper.read("Info.plist"), bytes);
        controller->changeAppPanelDidEnd(1, {wrapper / "new"});
        EXPECT_EQ(wrapper.read("Executable.plist"), bytes);
        EXPECT_THAT(wrapper.lastLongMessage(), HasSubstr(wrapper / "Executable.plist"));
    }
}

TEST(Wrapper, AChangedProjectKeepsAllOtherKeys)
{
    WrapperOnDisk wrapper;
    wrapper.tasks({"a"})
        .information("Unknown", Value::Array{1, 2.5, true})
        .information("Project Name", "/old");
    const auto controller = open(wrapper);
    EXPECT_EQ(controller->views()->xCodeProjectLocation.stringValue(), "/old");
    std::ignore = files::remove(wrapper / "Info.plist");
    controller->xCodeProjectChanged();
    EXPECT_FALSE(wrapper.has("Info.plist")) << "an unchanged text writes nothing";

    controller->views()->xCodeProjectLocation.setStringValue("/new");
    controller->xCodeProjectChanged();
    const auto stored = *platform::propertylist::readFile(wrapper / "Info.plist");
    EXPECT_EQ(stored.textFor("Project Name"), "/new");
    ASSERT_TRUE(stored.find("Unknown"));
    EXPECT_EQ(*stored.find("Unknown"), Value(Value::Array{1, 2.5, true}));
    EXPECT_EQ(stored.find("Entry Description")->array()->size(), 1U);
    EXPECT_EQ(controller->xCodeProject(), "/new");
}

TEST(Wrapper, ANewExecutableLandsBesideTheOneThatRuns)
{
    WrapperOnDisk wrapper;
    wrapper.executable("old");
    const auto controller = open(wrapper);
    const auto md5 = controller->executableMD5();
    EXPECT_TRUE(files::writeFile(wrapper.folder() / "new", "new"));

    controller->changeAppPanelDidEnd(0, {wrapper.folder() / "new"});
    controller->changeAppPanelDidEnd(1, {});
    EXPECT_EQ(controller->executable(), "program");
    controller->changeAppPanelDidEnd(1, {wrapper.folder() / "new"});
    EXPECT_THAT(wrapper.messages(), ElementsAre("Could not remove the existing executable."))
        << "it lies in MacOSX, not in the top level";
    EXPECT_EQ(controller->executable(), "program");

    wrapper.write("program", "copy");
    controller->changeAppPanelDidEnd(1, {wrapper.folder() / "new"});
    EXPECT_EQ(controller->executable(), "new");
    EXPECT_EQ(wrapper.read("new"), "new");
    EXPECT_FALSE(wrapper.has("program"));
    EXPECT_EQ(wrapper.read("MacOSX/program"), "old");
    EXPECT_EQ(controller->executableMD5(), md5);
    EXPECT_EQ(controller->views()->executable.stringValue(), "new");
    auto stored = *platform::propertylist::readFile(wrapper / "Executable.plist");
    EXPECT_EQ(stored.textFor("Executable"), "new");
    EXPECT_EQ(stored.textFor("OriginalExecutable"), wrapper.folder() / "new");

    // A copy that fails leaves no name, and the next change removes nothing.
    controller->changeAppPanelDidEnd(1, {"/nonexistent/thing"});
    EXPECT_FALSE(controller->executable());
    EXPECT_EQ(wrapper.messages().back(), "Could not copy in the new executable.");
    stored = *platform::propertylist::readFile(wrapper / "Executable.plist");
    EXPECT_EQ(stored, Value(Value::Dictionary{{"OriginalExecutable", "/nonexistent/thing"}}));
    controller->changeAppPanelDidEnd(1, {wrapper.folder() / "new"});
    EXPECT_EQ(controller->executable(), "new");
}

TEST(Wrapper, AnExecutableThatIsNoBareNameRemovesNothing)
{
    for (const char* name : {"", ".", "..", "0/input", "../other"}) {
        WrapperOnDisk wrapper;
        wrapper.tasks({""}).plist("Executable.plist", Value::Dictionary{{"Executable", name}});
        EXPECT_TRUE(files::writeFile(wrapper.folder() / "other", "precious"));
        wrapper.write("new", "x");
        open(wrapper)->changeAppPanelDidEnd(1, {wrapper / "new"});
        EXPECT_THAT(wrapper.messages(), ElementsAre("Could not use the executable.")) << name;
        EXPECT_TRUE(wrapper.has("0/input"));
        EXPECT_TRUE(files::exists(wrapper.folder() / "other"));
        EXPECT_FALSE(files::exists(wrapper.folder() / "other.md5"));
        EXPECT_EQ(wrapper.read("new"), "x") << "what lies in its place is not copied over itself";
    }
}

struct MadeUpProject : ProjectToBuild {
    explicit MadeUpProject(std::string sources) : folder(std::move(sources)) { }
    std::vector<std::string> filesToCopy() override { return {folder + "/a.cpp", folder + "/missing.h"}; }
    std::map<std::string, std::string> makefile(const std::string& programName) override
    {
        return {{"Makefile", "PROGRAM = " + programName}, {"Makefile.sources", "s"}};
    }
    std::string folder;
};

TEST(Wrapper, PreparesForUploadWhenThereIsAProject)
{
    WrapperOnDisk wrapper;
    wrapper.tasks({"a", "b"}).executable("x", "my program");
    EXPECT_TRUE(files::writeFile(wrapper.folder() / "a.cpp", "source"));
    std::string opened;
    ProjectToBuild::opener() = [&](const std::string& path) {
        opened = path;
        return std::make_unique<MadeUpProject>(wrapper.folder().path());
    };
    open(wrapper)->prepareForUpload();
    EXPECT_FALSE(wrapper.has("Project"));

    wrapper.information("Project Name", "/p/q.xcodeproj");
    open(wrapper)->prepareForUpload();
    EXPECT_EQ(opened, "/p/q.xcodeproj");
    EXPECT_EQ(wrapper.read("Project/Sources/Makefile"), "PROGRAM = my_program");
    EXPECT_EQ(wrapper.read("Project/Sources/Makefile.sources"), "s");
    EXPECT_EQ(wrapper.read("Project/Sources/a.cpp"), "source");
    EXPECT_EQ(wrapper.read("Project/compile"), "#!/bin/sh\n\npushd .\ncd Sources\nmake -j 3\npopd\n");
    EXPECT_EQ(wrapper.read("Project/submit"),
        "#!/bin/bash\n\nfor i in {0..1}\ndo\n   cp runScript ../$i/test\ndone\n");
    for (const char* script : {"Project/compile", "Project/submit"})
        EXPECT_EQ(files::attributes(wrapper / script)->permissions, 0700U);

    // What is there already stays.
    wrapper.write("Project/Sources/a.cpp", "edited");
    wrapper.tasks({});
    open(wrapper)->prepareForUpload();
    EXPECT_EQ(wrapper.read("Project/Sources/a.cpp"), "edited");
    EXPECT_THAT(wrapper.read("Project/submit"), HasSubstr("{0..-1}"));
    ProjectToBuild::opener() = nullptr;
}

} // namespace
