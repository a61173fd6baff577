// What programs write through the computational library, read back as the application reads it.

#include "arrays/sv/SVErrorMessage.h"
#include "datafile/SVVariableWriter.h"
#include "variables/composites/KRContainerGroup.h"
#include "variables/composites/ValueTypes.h"
#include "variables/scan/KRVariableInformation.h"
#include "variables/structures/TypeCodes.h"
#include "variables/values/KRContainer.h"
#include "variables/values/KRPlainValue.h"
#include "variables_testing.h"

#include <limits>
#include <set>

namespace variablestest {
namespace {

using storagetest::opened;
using Strings = std::vector<std::string>;
using Type = SVVariableType;
using VariableValue = SVVariableValue;

SVMutableFloatArray fieldAt(double time)
{
    SVMutableFloatArray field(3, 2);
    field = static_cast<float>(time);
    return field;
}

// The example of docs/variables.md.
void writeResults(const std::string& path)
{
    SVDataFile file(path, SVFile::NewReadWrite);
    SVVariableWriter writer(file);
    writer.Write("method", "explicit");
    writer.Write("state",
        SVVariableValue::Group({
            {"position", SVPoint2D(0.5, 2)},
            {"temperature", SVVariableValue::Series({0, 0.1}, {293, 295.5})},
        }));
    writer.Write("probes",
        SVVariableValue::Table({
            {"x", std::vector<double>{0.25, 0.5}},
            {"label", std::vector<std::string>{"inlet", "centre"}},
        }));
    writer.Announce("energy", "Real Number");
    writer.Announce("field", "Array");
    for (int step = 0; step < 3; ++step) {
        const double time = 0.5 * step;
        writer.Append("energy", time, 10.0 - time);
        writer.Append("field", time, fieldAt(time));
    }
    writer.Finish();
}

// Each variable of a file as "name type information [times]".
Names listedIn(const std::string& path)
{
    const auto file = opened(path);
    const auto information = KRVariableInformation::computeInformationFromFile(file);
    Names lines;
    for (const auto& record : information->records())
        lines.push_back(fmt::format("{} {} {} [{}]", record.name(), record.type(),
            KRVariableInformation::informationText(record, *file),
            fmt::join(record.times().asNumbers(), " ")));
    return lines;
}

// The description of a value.
std::string readFrom(const std::string& path, const char* type, const std::string& name)
{
    const auto value = ReadingOperations::read(type, *opened(path), name);
    const auto* container = dynamic_cast<const KRContainer*>(value.get());
    const auto* number = dynamic_cast<const KRRealNumber*>(value.get());
    const auto* text = dynamic_cast<const KRString*>(value.get());
    return container ? container->variableDescription()
        : number     ? number->description()
        : text       ? text->text()
                     : "null";
}

class WrittenVariables : public testing::TestWithParam<const char*> {
protected:
    static void SetUpTestSuite() { variables::addValueTypes(); }

    std::string path() const { return folder_ / (std::string("results.") + GetParam()); }
    // The writer keeps the new file open.
    std::unique_ptr<SVVariableWriter> writer(SVFile::OpenType mode = SVFile::NewReadWrite) const
    {
        if (GetParam() == std::string("mat"))
            return std::make_unique<SVVariableWriter>(SVMatlabDataFile(path(), mode));
        return std::make_unique<SVVariableWriter>(SVDataFile(path(), mode));
    }
    Names listed() const { return listedIn(path()); }
    std::string read(const char* type, const std::string& name) const { return readFrom(path(), type, name); }

    ScratchFolder folder_;
};
INSTANTIATE_TEST_SUITE_P(Formats, WrittenVariables, testing::Values("svbin", "mat"),
    [](const auto& format) { return std::string(format.param); });

TEST(VariablesDocument, ItsExampleIsListedAndRead)
{
    variables::addValueTypes();
    const ScratchFolder folder;
    const std::string path = folder / "results.svbin";
    writeResults(path);
    EXPECT_EQ(listedIn(path),
        (Names{"energy Real Number 3 time values [0 0.5 1]", "field Array 3 time values [0 0.5 1]",
            "method String 1 time value [0]", "probes Table 1 time value [0]",
            "state Group 1 time value [0]"}));
    EXPECT_EQ(readFrom(path, "Real Number", "energy_2"), "9");
    EXPECT_EQ(readFrom(path, "Array", "field_1"), "3 x 2");
    EXPECT_EQ(readFrom(path, "String", "method"), "explicit");
    EXPECT_EQ(readFrom(path, "Table", "probes"), "2 columns, 2 rows");
    const auto file = opened(path);
    const auto state =
        std::dynamic_pointer_cast<const KRContainerGroup>(ReadingOperations::read("Group", *file, "state"));
    ASSERT_TRUE(state);
    EXPECT_EQ(state->descriptionForEntry("position"), "(0.5,2)");
    EXPECT_EQ(state->descriptionForEntry("temperature"), "2 entries");
    EXPECT_EQ(file->readNumber("state_temperature_1_time")->doubleValue(), 0.1);

    // Every line of the document's program is one of this file.
    std::istringstream document(svtest::contentOf(VARIABLES_DOCUMENT));
    const std::string source = svtest::contentOf(WRITTEN_VARIABLES_TEST);
    int lines = 0;
    bool inside = false;
    for (std::string line; std::getline(document, line);) {
        const bool isFence = line.starts_with("```");
        if (inside && !isFence) {
            EXPECT_THAT(source, HasSubstr("\n" + line + "\n"));
            ++lines;
        }
        inside = isFence ? line == "```cpp" : inside;
    }
    EXPECT_GT(lines, 15);
}

TEST(SVVariableWriter, ReachesTheFileWhenTheProgramSays)
{
    const ScratchFolder folder;
    const std::string path = folder / "results.svbin";
    SVVariableWriter writer(SVDataFile(path, SVFile::NewReadWrite), SVVariableWriter::Flushing::ByProgram);
    EXPECT_TRUE(writer.Write("v", 1));
    EXPECT_EQ(svtest::contentOf(path), "");
    EXPECT_TRUE(writer.Flush());
    EXPECT_EQ(listedIn(path), Names{"v Real Number 1 [0]"});
}

TEST_P(WrittenVariables, EachKindOfValueComesBack)
{
    SVMutableUShortIntArray matrix(2, 2);
    matrix = 7;
    SVMutableCharArray letters(2);
    letters(0) = 65;
    letters(1) = -1;
    const struct {
        const char* type;
        VariableValue value;
        const char* description;
    } cases[] = {
        {"Real Number", 3, "3"},
        {"String", "two words", "two words"},
        {"FileName", VariableValue("/tmp/a.txt").As("FileName"), "/tmp/a.txt"},
        {"Array", matrix, "2 x 2"},
        {"NumberList", letters, "65, -1"},
        {"NumberList", std::vector<double>{1, 2.5}, "1, 2.5"},
        {"StringList", Strings{"a", "", "b c"}, "3 strings - a,,b c"},
        {"StringList", Strings{}, "No strings"},
        {"Point2D", SVPoint2D(1, 2), "(1,2)"},
        {"Point3D", SVPoint3D(1, 2, 3), "(1,2,3)"},
        {"Range", VariableValue::Range(0, 0.5), "[0,0.5]"},
        {"Region2D", VariableValue::Region2D(0, 1, -2, 3), "[0,1]x[-2,3]"},
        {"Region3D", VariableValue::Region3D(0, 1, 0, 2, 0, 3), "[0,1]x[0,2]x[0,3]"},
        {"ShiftScale2D", VariableValue(std::vector<double>{1, 2, 1, 1}).As("ShiftScale2D"),
            "Shift by (1,2)."},
        {"Transform2D", SVTransform2D::Shift({1, 2}), nullptr},
        {"Transform3D", SVTransform3D(), nullptr},
    };
    auto writing = writer();
    int number = 0;
    Names expected;
    for (const auto& row : cases) {
        const std::string name(1, static_cast<char>('a' + number++));
        EXPECT_TRUE(writing->WriteAt(name, 2, row.value)) << row.type;
        expected.push_back(fmt::format(
            "{} {} {} [2]", name, row.type, row.type == std::string("Real Number") ? "3" : "1 time value"));
    }
    writing.reset();
    EXPECT_EQ(listed(), expected);
    number = 0;
    for (const auto& row : cases) {
        SCOPED_TRACE(row.type);
        const std::string text = read(row.type, std::string(1, static_cast<char>('a' + number++)));
        if (row.description)
            EXPECT_EQ(text, row.description);
        else
            EXPECT_NE(text, "null");
    }
}

// A reader of the growing file finds whole values with their times after every operation.
TEST_P(WrittenVariables, CanBeReadAfterEachOperation)
{
    const Type group = Type::Group({{"n", "Real Number"},
        {"inner", Type::Group({{"words", "StringList"}, {"t", Type::Table({{"x", "NumberList"}})}})}});
    const auto valueAt = [](int step) {
        return VariableValue::Group({{"n", step},
            {"inner",
                VariableValue::Group({{"words", Strings{"w"}},
                    {"t", VariableValue::Table({{"x", std::vector<double>{1, 2}}})}})}});
    };
    const auto writing = writer();
    EXPECT_TRUE(writing->Announce("g", group));
    EXPECT_TRUE(writing->Announce("s", Type::Series("Point2D")));
    EXPECT_TRUE(writing->Announce("u", "Path2D", 0.25));
    EXPECT_EQ(listed(), (Names{"g Group Empty []", "s Series Empty []", "u Path2D Empty []"}));
    for (int step = 0; step < 2; ++step) {
        EXPECT_TRUE(writing->Append("g", 1 + step, valueAt(step)));
        EXPECT_TRUE(writing->Append("s", 2.5 * step, step ? VariableValue() : SVPoint2D(1, 2)));
        EXPECT_TRUE(writing->Append("u", fieldAt(step)));
        const char* const values = step ? "2 time values" : "1 time value";
        EXPECT_EQ(listed(),
            (Names{fmt::format("g Group {} [{}]", values, step ? "1 2" : "1"),
                fmt::format("s Series {} [{}]", values, step ? "0 2.5" : "0"),
                fmt::format("u Path2D {} [{}]", values, step ? "0 0.25" : "0")}));
    }
    const auto before = listed();
    EXPECT_TRUE(writing->Finish());
    EXPECT_EQ(listed(), before);
    EXPECT_EQ(
        numbersOf(opened(path())->readDoubleArray("SeqInfo_g_TimeValues")), (std::vector<double>{1, 2}));
    EXPECT_EQ(read("Series", "s"), "2 entries");
    const auto file = opened(path());
    const auto information = KRVariableInformation::computeInformationFromFile(file);
    const auto second =
        std::dynamic_pointer_cast<const KRContainerGroup>(KRContainerGroup::readGroupWithReference(
            "g_1", *file, nullptr, information->informationFor("g")->structure()));
    ASSERT_TRUE(second);
    EXPECT_EQ(second->descriptionForEntry("n"), "1");
    const auto inner = std::dynamic_pointer_cast<const KRContainerGroup>(second->valueForEntry("inner"));
    ASSERT_TRUE(inner);
    EXPECT_EQ(inner->descriptionForEntry("words"), "1 string");
    EXPECT_EQ(inner->descriptionForEntry("t"), "1 columns, 2 rows");
}

TEST_P(WrittenVariables, ParametersComeWithTheirValue)
{
    auto writing = writer();
    const auto point =
        VariableValue(SVPoint2D(1, 2))
            .WithParameter("note", "a corner")
            .WithParameter("mass", 2.5)
            .WithParameter("color", VariableValue(std::vector<double>{1, 0, 0, 1}).As("Color"));
    EXPECT_TRUE(writing->Write("p", point));
    EXPECT_FALSE(writing->Write("q", VariableValue(1).WithParameter("g", VariableValue::Group({{"a", 1}}))));
    writing.reset();
    const auto file = opened(path());
    const auto value =
        std::dynamic_pointer_cast<const KRContainer>(ReadingOperations::read("Point2D", *file, "p"));
    ASSERT_TRUE(value);
    EXPECT_EQ(file->readNumber("p_prmtrs")->doubleValue(), 3);
    EXPECT_EQ(file->readRawString("p_prmtrs_1_info"), "Real Number:mass");
    EXPECT_EQ(value->extraParameters().size(), 3U);
    EXPECT_EQ(listed(), Names{"p Point2D 1 time value [0]"});
}

// Each refusal: one report, false, and nothing in the file that a reader would list.
TEST_P(WrittenVariables, WhatReadersWouldNotTakeIsRefused)
{
    auto writing = writer();
    const auto group = [](const char* name) { return VariableValue::Group({{name, 1}}); };
    EXPECT_TRUE(writing->Announce("v", "Real Number"));
    EXPECT_TRUE(writing->Announce("a_0", "Real Number"));
    EXPECT_TRUE(writing->Write("g", VariableValue::Group({{"a", 1}, {"list", Strings{"x"}}})));
    EXPECT_TRUE(writing->Write("v_2m", 1));
    EXPECT_TRUE(writing->Write("cpu_time", 1));
    EXPECT_TRUE(writing->Append("v", 1, 1));
    EXPECT_TRUE(writing->Announce("f", "Array"));
    EXPECT_TRUE(writing->Announce("s", Type::Group({{"t", Type::Series("Array")}})));
    const Names before = listed();
    EXPECT_EQ(before.size(), 7U);
    const auto one = [&](const std::string& name) { return writing->Write(name, 1); };
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    const struct {
        const char* what;
        std::function<bool()> operation;
        const char* report;
    } cases[] = {
        {"a value's name", [&] { return one("v_0"); }, "collide with those of \"v\""},
        {"a value's name, later", [&] { return one("a"); }, "collide with those of \"a_0\""},
        {"a time's name", [&] { return one("v_time"); }, "collide"},
        {"a time's name, later", [&] { return one("cpu"); }, "collide"},
        {"a time's name inside", [&] { return one("v_12_time"); }, "collide"},
        {"a parameter's name", [&] { return one("v_prmtrs_0"); }, "collide"},
        {"a companion's name", [&] { return one("v_3D"); }, "collide"},
        {"an entry's name", [&] { return one("g_a"); }, "already"},
        {"an entry's offsets", [&] { return one("g_list_offs"); }, "collide"},
        {"a count's name", [&] { return writing->Write("g_N", group("a")); }, "collide"},
        {"twice", [&] { return one("v"); }, "already"},
        {"announced twice", [&] { return writing->Announce("g", "Array"); }, "already"},
        {"an announcement", [&] { return one("Seq_x"); }, "begins with \"Seq_\""},
        {"a description", [&] { return one("SeqInfo_x"); }, "begins with"},
        {"no name", [&] { return one(""); }, "empty"},
        {"a NUL", [&] { return one(std::string("a\0b", 3)); }, "control"},
        {"a long name", [&] { return one(std::string(221, 'n')); }, "too long"},
        {"a long group",
            [&] { return writing->Write(std::string(120, 'n'), group(std::string(120, 'm').c_str())); },
            "too long"},
        {"an entry \"time\"", [&] { return writing->Write("h", group("time")); }, "collide"},
        {"an entry \"0\"", [&] { return writing->Write("h", group("0")); }, "collide"},
        {"equal entries",
            [&] {
                return writing->Write("h", VariableValue::Group({{"a", 1}, {"a", 2}}));
            },
            "collide"},
        {"an inner entry \"time\"",
            [&] {
                return writing->Announce("h", Type::Series(Type::Group({{"time", "Array"}})));
            },
            "collide"},
        {"a long series",
            [&] { return writing->Write(std::string(215, 'n'), VariableValue::Series({0}, {1})); },
            "too long"},
        {"an empty series",
            [&] {
                return writing->Append("s", 0, VariableValue::Group({{"t", VariableValue::Series({}, {})}}));
            },
            "tells the type"},
        {"a path as an array",
            [&] { return writing->Append("f", 0, VariableValue(fieldAt(0)).As("Path2D")); }, "another type"},
        {"no entries", [&] { return writing->Announce("h", Type::Group({})); }, "no entries"},
        {"a bare word", [&] { return writing->Announce("h", "Group"); }, "description"},
        {"no type", [&] { return writing->Announce("h", ""); }, "no name"},
        {"no value", [&] { return writing->Write("h", VariableValue()); }, "no name"},
        {"an odd column",
            [&] {
                return writing->Write("h", VariableValue::Table({{"x", 1}}));
            },
            "no NumberList"},
        {"uneven columns",
            [&] {
                return writing->Write(
                    "h", VariableValue::Table({{"x", std::vector<double>{1, 2}}, {"y", Strings{"a"}}}));
            },
            "differ in length"},
        {"a type without a code", [&] { return writing->Announce("h", "Array", 1); }, "no code"},
        {"a step of 0", [&] { return writing->Announce("h", "Path2D", 0); }, "not above 0"},
        {"a falling time", [&] { return writing->Append("v", 0.5, 1); }, "not above the one before"},
        {"the same time", [&] { return writing->Append("v", 1, 1); }, "not above the one before"},
        {"a negative time", [&] { return writing->Append("a_0", -1, 1); }, "negative"},
        {"NaN", [&] { return writing->Append("a_0", nan, 1); }, "finite"},
        {"infinity", [&] { return writing->WriteAt("h", infinity, 1); }, "finite"},
        {"falling times of a series",
            [&] {
                return writing->Write("h", VariableValue::Series({0, 2, 1}, {1, 2, 3}));
            },
            "not above"},
        {"another type", [&] { return writing->Append("v", 2, "text"); }, "another type"},
        {"a text as a point", [&] { return writing->Write("h", VariableValue("x").As("Point2D")); },
            "isn't stored as"},
        {"no time", [&] { return writing->Append("v", 2); }, "needs a time"},
        {"not announced", [&] { return writing->Append("w", 1, 1); }, "not announced"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        const std::size_t reports = SVErrorList().size();
        testing::internal::CaptureStderr();
        EXPECT_FALSE(row.operation());
        testing::internal::GetCapturedStderr();
        EXPECT_EQ(SVErrorList().size(), reports + 1);
        EXPECT_THAT(SVErrorList().back(), HasSubstr(row.report));
    }
    EXPECT_TRUE(one(std::string(220, 'n')));
    EXPECT_TRUE(writing->Append("v", 2, 1)) << "A refused value leaves the times as they were.";
    writing.reset();
    EXPECT_EQ(listed().size(), before.size() + 1);
}

TEST_P(WrittenVariables, AWriterOfAnOlderFileKeepsItsVariables)
{
    EXPECT_TRUE(writer()->Write("v", 1));
    testing::internal::CaptureStderr();
    auto again = writer(SVFile::ExistingReadWrite);
    EXPECT_FALSE(again->Write("v", 2) || again->Write("v_0", 2));
    EXPECT_TRUE(again->Write("w", 2));
    again = writer(SVFile::ReadOnly);
    EXPECT_FALSE(again->Write("x", 3) || again->Announce("x", "Array") || again->Finish());
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(listed(), (Names{"v Real Number 1 [0]", "w Real Number 2 [0]"}));
}

TEST_P(WrittenVariables, WhatTheStoreCannotHoldIsNotAnnounced)
{
    const auto writing = writer();
    const bool hasLayers = GetParam() != std::string("mat");
    SVMutableShortIntArray layers(2, 2, 2);
    layers = 1;
    testing::internal::CaptureStderr();
    EXPECT_EQ(writing->Write("v", layers), hasLayers);
    EXPECT_TRUE(writing->Announce("w", "Array"));
    EXPECT_EQ(writing->Append("w", 1, layers), hasLayers);
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(writing->Append("w", 2, fieldAt(2)));
    EXPECT_TRUE(writing->Write("x", SVMutableFloatArray(2, 2, 2)));
    EXPECT_EQ(listed(),
        (hasLayers
                ? Names{"v Array 1 time value [0]", "w Array 2 time values [1 2]", "x Array 1 time value [0]"}
                : Names{"w Array 1 time value [2]", "x Array 1 time value [0]"}));
}

// What is announced by its code is listed under its name.
TEST_P(WrittenVariables, TheCodesAreThoseThatReadersKnow)
{
    const auto writing = writer();
    Names codes;
    Names expected;
    testing::internal::CaptureStderr();
    for (int code = 0; code < 40; ++code) {
        const std::string type = variables::typeForCode(code);
        const std::string name = fmt::format("v{:02}", code);
        if (type != "Unknown")
            expected.push_back(fmt::format("{} {} Empty []", name, type));
        EXPECT_EQ(writing->Announce(name, type, 1), type != "Unknown") << type;
    }
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(listed(), expected);
}

} // namespace
} // namespace variablestest
