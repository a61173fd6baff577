#include "platform/TemporaryFolder.h"
#include "platform/plist/PropertyList.h"
#include "task/CsvTable.h"
#include "task/NewWrapper.h"

#include <gmock/gmock.h>

#include <tuple>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
namespace files = platform::files;
using Words = std::vector<std::string>;

TEST(CsvTable, ReadsQuotedValuesAndTellsTheLineOfWhatIsWrong)
{
    const auto table = CsvTable::parse("\xEF\xBB\xBF"
                                       "a,b\r\n1,\"x, \"\"y\"\"\nz\"\r\n\r\n,2");
    ASSERT_TRUE(table) << table.error().text;
    EXPECT_THAT(table->columns, ElementsAre("a", "b"));
    EXPECT_THAT(table->rows, ElementsAre(Words{"1", "x, \"y\"\nz"}, Words{"", "2"}));

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
    EXPECT_EQ(filled("awk '{print $1}' {}", "v"), "awk '{print $1}' {}");
    EXPECT_THAT(filled("--seed {sed}", "v"), HasSubstr("{sed}, and the table has no such column"));
    EXPECT_EQ(*argumentsForRow("{x}", {}, {}), "{x}") << "without a table nothing is replaced";
}

class Making : public testing::Test {
protected:
    Making()
    {
        write("program", "#!/bin/sh\n");
        EXPECT_TRUE(files::setPermissions(folder / "program", 0755));
        write("in.txt", "x = {x}, {y}\n");
        write("runs.csv", "x,Time\n1,0.5\n2,7\n");
        wanted = {folder / "Sweep.vtask", folder / "program", {folder / "in.txt"}, "--x {x}",
            folder / "runs.csv", std::nullopt};
    }
    void write(const std::string& name, const std::string& text) const
    {
        EXPECT_TRUE(files::writeFile(folder / name, text));
    }
    std::string whyNot() const
    {
        const auto made = wanted.make();
        const auto names = files::contentsOfDirectory(folder.path()).value_or(Words());
        EXPECT_EQ(names.size(), 3U) << "nothing is left of a wrapper that can't be made";
        return made ? "" : made.error().text;
    }

    TemporaryFolder folder;
    NewWrapper wanted;
};

TEST_F(Making, GivesEachRowItsRunAndWritesNothingOver)
{
    const auto made = wanted.make();
    ASSERT_TRUE(made) << made.error().text;
    EXPECT_EQ(*made, 2);
    const std::string path = folder / "Sweep.vtask";
    EXPECT_EQ(files::readFile(path + "/1/in.txt").value_or(""), "x = 2, {y}\n");
    EXPECT_EQ(files::attributes(path + "/MacOSX/program")->permissions & 0111U, 0111U);
    const auto information = platform::propertylist::readFile(path + "/Info.plist");
    ASSERT_TRUE(information.ok());
    const auto& entries = *information->find("Entry Description")->array();
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[1].textFor("Argument"), "--x 2");
    EXPECT_EQ(*entries[1].find("Time Value"), platform::Value(7.0));
    EXPECT_EQ(*information->find("InputFiles"), platform::Value(platform::Value::Array{"in.txt"}));
    EXPECT_EQ(platform::propertylist::readFile(path + "/Executable.plist")->textFor("Executable"), "program");
    EXPECT_THAT(wanted.make().error().text, HasSubstr("exists already"));
}

TEST_F(Making, TellsWhyItCanNotBeMade)
{
    wanted.path = folder / "Sweep";
    EXPECT_THAT(whyNot(), HasSubstr("ends in .vtask"));
    wanted.path = folder / "nowhere/Sweep.vtask";
    EXPECT_THAT(whyNot(), HasSubstr("nowhere"));
    wanted.path = folder / "Sweep.vtask";
    wanted.program = folder / "missing";
    EXPECT_THAT(whyNot(), HasSubstr("does not exist"));
    wanted.program = folder / "program";
    wanted.inputs = {folder / "in.txt", folder / "./in.txt"};
    EXPECT_THAT(whyNot(), HasSubstr("Two inputs have the name in.txt"));
    wanted.inputs = {folder / "none"};
    EXPECT_THAT(whyNot(), HasSubstr("The input"));
    wanted.inputs = {};
    write("runs.csv", "Time\nsoon\n");
    wanted.arguments.clear();
    EXPECT_THAT(whyNot(), HasSubstr("\"soon\" in the column Time is not a number"));
    write("runs.csv", "x\n1,2\n");
    EXPECT_THAT(whyNot(), HasSubstr("line 2: 2 values for 1 columns"));
}

} // namespace
