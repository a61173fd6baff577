// The wrapper on disk: reading, changing and making one.

#include "task/WrapperOnDisk.h"
#include "task/application/KRTrelkindController.h"
#include "task/wrapper/CsvTable.h"
#include "task/wrapper/NewWrapper.h"
#include "task/wrapper/TaskWrapper.h"

#include <gmock/gmock.h>
#include <tuple>

namespace {

using platform::Value;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Words = std::vector<std::string>;
namespace files = platform::files;

std::shared_ptr<KRTrelkindController> open(const WrapperOnDisk& wrapper)
{
    return KRTrelkindController::createFromWrapperName(wrapper.path());
}

TEST(Wrapper, ReadsTheTaskListInItsFormsAndNeverMixesThem)
{
    const auto entry = [](const Value::Dictionary& values) { return Value(Value::Array{values}); };
    const Value entries = Value::Array{
        Value::Dictionary{{"Argument", "-n 5"}, {"Time Value", 1.5}}, Value::Dictionary(), "no dictionary"};
    const Value times = Value::Array{3, 4.5};
    const std::int64_t big = 12345678901234567;
    const struct {
        Value::Dictionary information;
        std::vector<std::pair<double, std::string>> tasks;
        const char* complaint = "";
    } cases[] = {
        {{}, {}},
        {{{"Entry Description", entries}, {"TimeValues", times}}, {{1.5, "-n 5"}, {0, ""}, {0, ""}},
            "the description of task 3 is not a dictionary."},
        {{{"TimeValues", times}, {"Description", Value::Array{"a"}}}, {{3, ""}, {4.5, ""}}},
        {{{"TimeValues", 3}}, {}, "TimeValues is not an array."},
        {{{"Entry Description", Value::Array()}, {"TimeValues", times}}, {}},
        {{{"Entry Description", entry({{"Argument", big}, {"Time Value", " +2.5x"}})}},
            {{2.5, "12345678901234567"}}},
        {{{"Entry Description", entry({{"Argument", 0.25}, {"Time Value", "x"}})}}, {{0, "0.25"}}},
        {{{"Entry Description", "a text"}}, {}, "Entry Description is not an array."},
        {{{"Entry Description", entry({{"Argument", Value::Array{"-n"}}})}}, {{0, ""}},
            "the Argument of task 1 is neither a text nor a number."},
        {{{"Entry Description", Value::Array{1, 2, 3, 4, 5, 6, 7}}},
            std::vector(7, std::pair(0.0, std::string())), "task 5 is not a dictionary.\nand 2 more"},
    };
    for (const auto& [information, tasks, complaint] : cases) {
        const WrapperOnDisk wrapper;
        wrapper.plist("Info.plist", information);
        SCOPED_TRACE(wrapper.read("Info.plist"));
        const auto controller = open(wrapper);
        ASSERT_EQ(controller->taskInformation().size(), tasks.size());
        EXPECT_EQ(wrapper.messages().empty(), *complaint == '\0');
        EXPECT_THAT(wrapper.lastLongMessage(), testing::EndsWith(complaint));
        for (std::size_t i = 0; i < tasks.size(); ++i) {
            const auto& task = *controller->taskInformation()[i];
            EXPECT_EQ(task.numberInProject(), static_cast<int>(i));
            EXPECT_EQ(task.timeValue(), tasks[i].first);
            EXPECT_EQ(task.argument(), tasks[i].second);
            EXPECT_FALSE(task.entryDescription());
        }
    }
}

// A list in an unknown form may name inputs, which must not be removed.
TEST(Wrapper, ClearingKeepsTheInputsInEveryFormOfTheirList)
{
    using Left = std::vector<std::string>;
    const Left all{"7", "a", "single"};
    const std::pair<Value::Dictionary, Left> cases[] = {{{}, {}}, {{{"Input", "single"}}, {"single"}},
        {{{"InputFiles", Value::Array{"a", 7, "b"}}, {"Input", "single"}}, {"7", "a"}},
        {{{"InputFiles", Value::Array()}, {"Input", "single"}}, {}}, {{{"InputFiles", "a"}}, {"a"}},
        {{{"InputFiles", 5}}, all}, {{{"InputFiles", Value::Dictionary()}}, all},
        {{{"InputFiles", Value::Array{Value::Array{"a"}}}}, all}};
    for (const auto& [information, left] : cases) {
        const WrapperOnDisk wrapper;
        Value::Dictionary whole = information;
        whole["TimeValues"] = Value::Array{1};
        wrapper.plist("Info.plist", whole);
        for (const char* name : {"0/7", "0/a", "0/single"})
            wrapper.write(name);
        const auto controller = open(wrapper);
        controller->taskInformation()[0]->removeComputedResults();
        controller->taskInformation()[0]->clearData();
        SCOPED_TRACE(wrapper.read("Info.plist"));
        EXPECT_THAT(
            files::contentsOfDirectory(wrapper / "0").value(), testing::UnorderedElementsAreArray(left));
        const std::vector<std::string> told{"Could not understand all of Info.plist.",
            "Could not clear the run.", "Could not clear the run."};
        EXPECT_EQ(wrapper.messages(), left == all ? told : std::vector<std::string>());
    }
}

TEST(Wrapper, MakesTheChecksumOnceAndTrustsItAfterwards)
{
    WrapperOnDisk wrapper;
    const auto checksum = [&] { return TaskWrapper::read(wrapper.path()).executableMD5; };
    wrapper.executable("abc");
    EXPECT_EQ(checksum(), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(wrapper.read("MacOSX/program.md5"), "900150983cd24fb0d6963f7d28e17f72");
    wrapper.write("MacOSX/program", std::string(1000000, 'a'));
    EXPECT_EQ(checksum(), "900150983cd24fb0d6963f7d28e17f72");
    wrapper.write("MacOSX/program.md5", "\xFF\xFE");
    EXPECT_EQ(checksum(), "7707d6ae4e027c70eea2a935c2296f21");
    wrapper.remove("MacOSX/program.md5");
    wrapper.remove("MacOSX/program");
    EXPECT_FALSE(checksum() || wrapper.has("MacOSX/program.md5"));
    EXPECT_THAT(wrapper.messages(), IsEmpty());
    EXPECT_FALSE(md5ChecksumForFile(wrapper.path()));
}

TEST(Wrapper, UnreadableFilesAreReportedAndNeverOverwritten)
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
    const auto information = [&] { return *platform::propertylist::readFile(wrapper / "Info.plist"); };
    Value expected = information();
    expected.mutableDictionary()["Project Name"] = "/new";
    const auto controller = open(wrapper);
    EXPECT_EQ(controller->views()->xCodeProjectLocation.stringValue(), "/old");
    wrapper.remove("Info.plist");
    controller->xCodeProjectChanged();
    EXPECT_FALSE(wrapper.has("Info.plist")) << "an unchanged text writes nothing";
    controller->views()->xCodeProjectLocation.setStringValue("/new");
    controller->xCodeProjectChanged();
    EXPECT_EQ(information(), expected);
    EXPECT_EQ(controller->xCodeProject(), "/new");
}

TEST(Wrapper, ANewExecutableLandsBesideTheOneThatRuns)
{
    WrapperOnDisk wrapper;
    wrapper.executable("old");
    const auto controller = open(wrapper);
    const auto md5 = controller->executableMD5();
    const std::string picked = wrapper.folder() / "new";
    wrapper.write("../new", "new");
    const auto executableAfter = [&](int returnCode, const std::vector<std::string>& chosen) {
        controller->changeAppPanelDidEnd(returnCode, chosen);
        EXPECT_EQ(controller->views()->executable.stringValue(), controller->executable().value_or(""));
        return controller->executable();
    };
    EXPECT_EQ(executableAfter(0, {picked}), "program");
    EXPECT_EQ(executableAfter(1, {}), "program");
    EXPECT_EQ(executableAfter(1, {""}), "program");
    EXPECT_EQ(executableAfter(1, {picked}), "program");
    EXPECT_THAT(wrapper.messages(), ElementsAre("Could not remove the existing executable."))
        << "it is in MacOSX, not in the top level";
    wrapper.write("program", "copy");
    EXPECT_EQ(executableAfter(1, {picked}), "new");
    EXPECT_EQ(wrapper.read("new"), "new");
    EXPECT_FALSE(wrapper.has("program"));
    EXPECT_EQ(wrapper.read("MacOSX/program"), "old");
    EXPECT_EQ(controller->executableMD5(), md5);
    const auto stored = [&] { return *platform::propertylist::readFile(wrapper / "Executable.plist"); };
    EXPECT_EQ(stored(), Value(Value::Dictionary{{"Executable", "new"}, {"OriginalExecutable", picked}}));
    EXPECT_EQ(controller->changeExecutable(), picked);

    // A failed copy leaves no name, and then the next change removes nothing.
    EXPECT_EQ(executableAfter(1, {"/nonexistent/thing"}), std::nullopt);
    EXPECT_EQ(wrapper.messages().back(), "Could not copy in the new executable.");
    EXPECT_EQ(stored(), Value(Value::Dictionary{{"OriginalExecutable", "/nonexistent/thing"}}));
    EXPECT_EQ(executableAfter(1, {picked}), "new");
    EXPECT_EQ(executableAfter(1, {wrapper / "new"}), "new");
    EXPECT_EQ(wrapper.read("new"), "new") << "a file in its place is not copied over itself";

    for (const char* name : {"", ".", "..", "0/input", "../new"}) {
        wrapper.tasks({""}).plist("Executable.plist", Value::Dictionary{{"Executable", name}});
        const auto odd = open(wrapper);
        EXPECT_FALSE(odd->executable());
        odd->changeAppPanelDidEnd(1, {wrapper / "new"});
        EXPECT_EQ(wrapper.messages().back(), "Could not use the executable.") << name;
        EXPECT_TRUE(wrapper.has("0/input") && files::exists(picked) && !files::exists(picked + ".md5"));
    }
}

TEST(CsvTable, ReadsQuotedValuesAndReportsTheLineOfAnError)
{
    const auto table = CsvTable::parse("\xEF\xBB\xBF"
                                       "a,b\r\n1,\"x, \"\"y\"\"\nz\"\r\n\r\n,2");
    ASSERT_TRUE(table) << table.error().text;
    EXPECT_THAT(table->columns, ElementsAre("a", "b"));
    EXPECT_THAT(table->rows, ElementsAre(Words{"1", "x, \"y\"\nz"}, Words{"", "2"}));

    const auto single = CsvTable::parse("a\n\n1\r2\n");
    EXPECT_THAT(single->rows, ElementsAre(Words{""}, Words{"1"}, Words{"2"})) << "an empty value";

    const std::pair<const char*, const char*> wrong[] = {{"", "line 1: a column has no name"},
        {"a,a\n", "two columns \"a\""}, {"a,b\n1,2\n3\n", "line 3: 1 values for 2 columns"},
        {"a\n\"1\n2\"\n\"x", "line 4: a quote is not closed"},
        {"a\n\"1\"2\n", "line 2: text after a closing quote"}};
    for (const auto& [text, sentence] : wrong) {
        const auto read = CsvTable::parse(text);
        ASSERT_FALSE(read) << text;
        EXPECT_THAT(read.error().text, HasSubstr(sentence));
    }
}

TEST(NewWrapper, AValueReachesTheProgramAsItIs)
{
    const Words columns{"x", "name"};
    const auto filled = [&](const std::string& arguments, const std::string& value) {
        const auto text = argumentsForRow(arguments, columns, {"1.5", value});
        return text ? *text : text.error().text;
    };
    EXPECT_EQ(filled("--x {x} -n{name}", "plain-1"), "--x 1.5 -nplain-1");
    EXPECT_EQ(filled("{name}", "a; rm 'c'"), R"('a; rm '\''c'\''')");
    EXPECT_EQ(filled("\"{name}\"", "$HOME \"q\""), R"("\$HOME \"q\"")");
    EXPECT_EQ(filled("'{name}' {x}", "it's"), R"('it'\''s' 1.5)");
    EXPECT_EQ(filled("\\'{name}", "a b"), R"(\''a b')") << "an escaped quote opens nothing";
    EXPECT_EQ(filled("{name}", ""), "''");
    EXPECT_EQ(filled("{x}\\", ""), "1.5\\");
    EXPECT_EQ(filled("awk '{print $1}' {}", "v"), "awk '{print $1}' {}");
    EXPECT_THAT(filled("--seed {sed}", "v"), HasSubstr("{sed}, and the table has no such column"));
    EXPECT_EQ(*argumentsForRow("{x}", {}, {}), "{x}") << "without a table nothing is replaced";
}

TEST(NewWrapper, IsMadeWholeOrNotAtAll)
{
    const TemporaryFolder folder;
    const auto write = [&](const std::string& name, const std::string& text) {
        EXPECT_TRUE(files::writeFile(folder / name, text));
        return folder / name;
    };
    const NewWrapper wanted{folder / "Sweep.vtask", write("program", "#!/bin/sh\n"),
        {write("in.txt", "x = {x}, {y}\n"), write("data", std::string("{x}\0", 4))}, "--x {x}",
        write("runs.csv", "x,Time\n1,0.5\n2,7\n"), folder.path()};
    EXPECT_TRUE(files::setPermissions(wanted.program, 0755));
    const std::string soon = write("soon.csv", "x,Time\n1,soon\n");
    const std::string wide = write("wide.csv", "x\n1,2\n");
    const std::pair<std::function<void(NewWrapper&)>, const char*> wrong[] = {
        {[&](NewWrapper& one) { one.path = folder / "Sweep"; }, "ends in .vtask"},
        {[&](NewWrapper& one) { one.path = folder / "nowhere/Sweep.vtask"; }, "nowhere"},
        {[&](NewWrapper& one) { one.program = folder / "missing"; }, "does not exist"},
        {[&](NewWrapper& one) { one.program = folder.path(); }, "does not exist"},
        {[&](NewWrapper& one) { one.inputs[1] = folder / "./in.txt"; }, "Two inputs have the name in.txt"},
        {[&](NewWrapper& one) { one.inputs[1] = folder / "none"; }, "/none does not exist."},
        {[&](NewWrapper& one) { one.inputs[1] = folder.path(); }, " is a folder."},
        {[&](NewWrapper& one) { one.inputs[1] = write("runOutput", ""); }, "The name runOutput is reserved"},
        {[&](NewWrapper& one) { one.project = wanted.program; }, "The project "},
        {[&](NewWrapper& one) { one.arguments = "{y}"; }, "{y}, and the table has no such column"},
        {[&](NewWrapper& one) { one.table = folder / "none"; }, "none"},
        {[&](NewWrapper& one) { one.table = soon; }, "\"soon\" in the column Time is not a number"},
        {[&](NewWrapper& one) { one.table = wide; }, "line 2: 2 values for 1 columns"},
    };
    for (const auto& [change, sentence] : wrong) {
        NewWrapper one = wanted;
        change(one);
        EXPECT_THAT(one.make().error().text, HasSubstr(sentence));
        std::ignore = files::remove(folder / "runOutput");
        EXPECT_EQ(files::contentsOfDirectory(folder.path())->size(), 6U) << sentence;
    }
    const auto made = wanted.make();
    ASSERT_TRUE(made) << made.error().text;
    EXPECT_EQ(*made, 2);
    EXPECT_EQ(*files::readFile(wanted.path + "/1/in.txt"), "x = 2, {y}\n");
    EXPECT_EQ(files::readFile(wanted.path + "/1/data")->size(), 4U);
    EXPECT_EQ(files::attributes(wanted.path + "/MacOSX/program")->permissions & 0111U, 0111U);
    const auto entry = [](const char* argument, double time) {
        return Value(Value::Dictionary{{"Argument", argument}, {"Time Value", time}});
    };
    EXPECT_EQ(*platform::propertylist::readFile(wanted.path + "/Info.plist"),
        Value(Value::Dictionary{{"Entry Description", Value::Array{entry("--x 1", 0.5), entry("--x 2", 7)}},
            {"InputFiles", Value::Array{"in.txt", "data"}}, {"Project Name", folder.path()}}));
    EXPECT_EQ(*platform::propertylist::readFile(wanted.path + "/Executable.plist"),
        Value(Value::Dictionary{{"Executable", "program"}, {"OriginalExecutable", wanted.program}}));
    EXPECT_THAT(wanted.make().error().text, HasSubstr("exists already"));
}

} // namespace
