#include "diagnostics/ShownProgress.h"
#include "variables/scan/ExtraParameters.h"
#include "variables/scan/KRVariableInformation.h"
#include "variables/scan/StoredTimes.h"
#include "variables_testing.h"

#include <fmt/format.h>

namespace variablestest {
namespace {

using Scanned = KRVariableInformation::Pointer;

std::shared_ptr<KRProgressEntry> quietProgress()
{
    return KRProgressEntry::createWithDescription(std::string("scan"), KRProgressController::create());
}

Scanned scanned(const std::shared_ptr<KRDataStorage>& storage, ScanReports* reports = nullptr)
{
    return KRVariableInformation::computeInformationFromFile(storage, quietProgress(), reports);
}

// Each variable as "name type information [times]".
Names linesOf(const Scanned& information, KRDataStorage& storage)
{
    Names lines;
    for (const auto& record : information->records()) {
        std::string line = record.name() + " " + record.type() + " "
            + KRVariableInformation::informationText(record, storage) + " [";
        for (const double time : record.times().asNumbers())
            line += fmt::format("{} ", time);
        line.back() = line.back() == ' ' ? ']' : '[';
        lines.push_back(line.back() == '[' ? line + "]" : line);
    }
    return lines;
}

std::string lineOf(const Entries& entries)
{
    const auto memory = memoryOf(entries);
    const Names lines = linesOf(scanned(memory), *memory);
    return lines.empty() ? "none" : lines.front();
}

constexpr const char* kMissing =
    "Not all time values were saved|When reading from \"\", only the first {} of {} timevalues were saved "
    "for "
    "\"v\".  The most likely cause of this is that the file is currently being written.  In order to avoid "
    "this "
    "problem, write the time value before you write the variable.  That way the time step will exist if the "
    "variable can be read.";

std::string missing(int first, int of)
{
    return fmt::format(fmt::runtime(kMissing), first, of);
}

struct Variable {
    Entries entries;
    std::string line; // "none" for no record.
    Names messages = {};
};

void expectLines(const std::vector<Variable>& variables)
{
    for (const Variable& variable : variables) {
        SCOPED_TRACE(variable.line);
        EXPECT_EQ(messagesOf([&] { EXPECT_EQ(lineOf(variable.entries), variable.line); }), variable.messages);
    }
}

TEST(VariableScan, TakesTypesFromAnnouncementsAlone)
{
    expectLines({
        {{{"a", 1.0}, {"SeqInfo_v", "Group"}}, "none"},
        {{{"Seq_", "Path2D"}}, "none"},
        {{{"Seq_v", ""}}, "none"},
        {{{"Seq_v", "Path2D"}}, "v Path2D Empty []"},
        {{{"Seq_v", 28.0}, {"v", 1.0}}, "v PointCollection2D 1 time value [0]"},
        {{{"Seq_v", "Real Number"}, {"v", 2.5}}, "v Real Number 2.5 [0]"},
        {{{"Seq_v", "Real Number"}, {"v_0", -3.0}}, "v Real Number -3 [0]"},
        {{{"Seq_v", "Real Number"}, {"v", "w"}, {"w", 7.0}}, "v Real Number 7 [0]"},
        {{{"Seq_v", "Real Number"}, {"v", "v"}}, "v Real Number 1 time value [0]",
            {"Circular reference inside datafile."}},
        {{{"Seq_v", std::vector<double>{22, 0.5}}, {"v_0", 4.0}}, "v Real Number 4 [0]"},
        {{{"Seq_v", "3D Prizm Mesh"}}, "v PrismMesh3D Empty []"},
        {{{"Seq_v", "List of Numbers"}}, "v NumberList Empty []"},
        {{{"Seq_v", "RealNumber"}, {"v", 1.0}}, "v Real Number 1 [0]"},
        {{{"Seq_v", 4.0}}, "none",
            {"Illegal variable type \"Unknown\"|Illegal variable type \"Unknown\" for the variable \"v\""}},
        {{{"Seq_v", "Lie"}}, "none",
            {"Illegal variable type \"Lie\"|Illegal variable type \"Lie\" for the variable \"v\""}},
        {{{"Seq_v", std::vector<double>{}}}, "none",
            {"Illegal variable type \"Unknown\"|Illegal variable type \"Unknown\" for the variable \"v\""}},
    });
    EXPECT_FALSE(scanned(nullptr));
}

TEST(VariableScan, FindsTheTimeOfEachValue)
{
    const Entry path{"Seq_v", "Path2D"};
    const Entry v0{"v_0", 1.0};
    const Entry v1{"v_1", 1.0};
    const Entry v2{"v_2", 1.0};
    const auto all = [](std::vector<double> times) {
        return Entry{"SeqInfo_v_TimeValues", std::move(times)};
    };
    const auto announced = [](double step) { return Entry{"Seq_v", std::vector<double>{1, step}}; };
    const std::string backward = "The time information for v goes backward for entry number ";
    expectLines({
        // A constant step.
        {{announced(0.5), v0, v1, v2, {"v_3", 1.0}}, "v Path2D 4 time values [0 0.5 1 1.5]"},
        {{announced(0), v0, v1}, "v Path2D 2 time values [0 1]"},
        {{announced(-1), v0, v1, {"v_0_time", 2.0}, {"v_1_time", 5.0}}, "v Path2D 2 time values [2 5]"},
        {{announced(INFINITY), v0, v1}, "v Path2D 2 time values [0 1]"},
        // One by one.
        {{path, {"v", 1.0}, {"v_time", 3.0}}, "v Path2D 1 time value [3]"},
        {{path, v0, v1, v2}, "v Path2D 3 time values [0 1 2]"},
        {{path, {"v", 1.0}, v0, v1, {"v_time", 3.0}, {"v_0_time", 1.0}, {"v_1_time", 4.0}},
            "v Path2D 2 time values [3 4]"},
        {{path, v0, v1, v2, {"v_0_time", 5.0}}, "v Path2D 3 time values [5 10 15]", {missing(1, 3)}},
        {{path, v0, v1, v2, {"v_0_time", 0.0}}, "v Path2D 3 time values [0 1 2]", {missing(1, 3)}},
        {{path, v0, v1, v2, {"v_3", 1.0}, {"v_0_time", 2.0}, {"v_1_time", 2.5}, {"v_2_time", "late"}},
            "v Path2D 4 time values [2 2.5 3 3.5]", {missing(2, 4)}},
        {{path, v0, v1, {"v_0_time", 0.0}, {"v_1_time", 0.0}}, "v Path2D 2 time values [0 1]",
            {backward + "1.", missing(1, 2)}},
        {{path, v0, v1, {"v_0_time", 4.0}, {"v_1_time", 4.0}}, "v Path2D 2 time values [4 8]",
            {backward + "1.", missing(1, 2)}},
        {{path, v0, v1, {"v_0_time", -1.0}, {"v_1_time", 4.0}}, "v Path2D 2 time values [0 1]",
            {backward + "0."}},
        {{path, v0, v1, {"v_0_time", NAN}, {"v_1_time", INFINITY}}, "v Path2D 2 time values [nan inf]"},
        // All at once.
        {{announced(2), v0, v1, v2, all({0, 3, 2}), {"v_0_time", 9.0}}, "v Path2D 3 time values [0 3 2]"},
        {{path, v0, v1, all({0, NAN})}, "v Path2D 2 time values [0 nan]"},
        {{path, v0, v1, {"SeqSeriesInfo_v_TimeValues", std::vector<double>{1, 2}}},
            "v Path2D 2 time values [1 2]"},
        {{path, v0, v1, {"SeqInfo_v_TimeValues", "none"},
             {"SeqSeriesInfo_v_TimeValues", std::vector<double>{1, 1}}},
            "v Path2D 2 time values [0 1]",
            {"Time array for \"SeqSeriesInfo_v_TimeValues\" needs to be strictly increasing."}},
        {{announced(3), v0, v1, all({1})}, "v Path2D 2 time values [0 3]",
            {"The array \"SeqInfo_v_TimeValues\" didn't have the right size."}},
        {{path, v0, v1, all({-1, 1}), {"v_0_time", 7.0}, {"v_1_time", 8.0}}, "v Path2D 2 time values [7 8]",
            {"First time value for \"SeqInfo_v_TimeValues\" needs to be >=0."}},
    });
}

TEST(VariableScan, CountsByDoublingAndBisection)
{
    const auto count = [](const std::vector<long>& steps) {
        Entries entries;
        for (const long step : steps)
            entries.emplace_back("v_" + std::to_string(step), 1.0);
        const auto memory = memoryOf(entries);
        ScanReports reports;
        return StoredTimes(*memory, nullptr, reports).countVariables("v");
    };
    for (long stored = 0; stored <= 70; ++stored)
        EXPECT_EQ(count(storagetest::counted<long>(stored, 0)), stored);
    EXPECT_EQ(count({1, 2, 3}), 0);
    EXPECT_EQ(count({0, 1, 2, 3, 8}), 9) << "a gap that bisection doesn't meet";
    EXPECT_EQ(count({0, 1, 2, 4}), 5);
    // Two dozen entries that claim two thousand million values.
    std::vector<long> powers{0};
    for (long step = 8; step <= (1L << 31); step *= 2)
        powers.push_back(step);
    EXPECT_EQ(count(powers), 65537);
}

TEST(VariableScan, NeedsFewLookUpsForAMillionValues)
{
    class Counting : public KRDataStorage {
    public:
        bool contains(const std::optional<std::string>& name) override
        {
            ++lookUps;
            return name->starts_with("v_") ? std::stol(name->substr(2)) < 1'000'000
                                           : *name == "SeqInfo_v_TimeValues";
        }
        std::vector<std::string> variablesWithPrefix(const std::string& prefix) override
        {
            return prefix.empty() ? Names(1'000'003, "") : Names{"Seq_v"};
        }
        bool isAString(const std::string& name) override { return name == "Seq_v"; }
        std::optional<std::string> readRawString(const std::string&) override { return "Path2D"; }
        KRAnyArray readArrayOfType(ElementType, const std::string&) override
        {
            return doubles(storagetest::counted<double>(1'000'000, 0));
        }
        int lookUps = 0;
    };
    const auto storage = std::make_shared<Counting>();
    const auto times = scanned(storage)->informationFor("v")->times().asArray();
    ASSERT_EQ(times->length(), 1'000'000);
    EXPECT_EQ(times->valueAtIndex(999'999), 999'999);
    EXPECT_LT(storage->lookUps, 50);
}

TEST(VariableScan, ReadsTheStructuresOfCompositeTypes)
{
    const auto memory = memoryOf({{"Seq_g", "Group"}, {"SeqInfo_g_N", 1.0}, {"SeqInfo_g_1N", "a"},
        {"SeqInfo_g_1T", "Path2D"}, {"Seq_s", "Series"}, {"SeqInfo_s_type", "Point2D"}, {"s_0", 1.0},
        {"Seq_t", "Table"}, {"SeqInfo_t_N", 1.0}, {"SeqInfo_t_1N", "c"}, {"SeqInfo_t_1T", "NumberList"},
        {"Seq_lost", "Group"}, {"Seq_p", "Path2D"}, {"Seq_r", "Real Number"}});
    const Scanned result = scanned(memory);
    Names lines;
    for (const auto& record : result->records())
        lines.push_back(record.name() + ": " + shown(record.structure()) + ": "
            + std::string(record.readingType()) + (record.hasSharedReading() ? " shared" : ""));
    EXPECT_THAT(lines,
        ElementsAre("g: Group\n    a = Path2D\n: ", "lost: null: ", "p: null: Path2D shared",
            "r: null: Real Number", "s: Series of Point2D\n: Table",
            "t: Table\n    c = NumberList\n: Table"));
    EXPECT_EQ(result->informationFor("s")->times().count(), 1);
    EXPECT_FALSE(result->informationFor("Seq_s"));
    EXPECT_FALSE(result->informationFor("zz"));
    ASSERT_TRUE(result->info());
}

TEST(VariableScan, TellsEachFaultOnceHoweverOftenItLooks)
{
    const auto memory = memoryOf({{"Seq_a", "Lie"}, {"Seq_b", "Lie"}, {"Seq_s", "Series"},
        {"Seq_v", "Path2D"}, {"v_0", 1.0}, {"v_1", 1.0}, {"v_0_time", 1.0}});
    ScanReports reports;
    EXPECT_EQ(messagesOf([&] { scanned(memory, &reports); }).size(), 4U);
    write(*memory, {{"v_2", 1.0}, {"Seq_c", "Lie"}});
    EXPECT_THAT(messagesOf([&] { scanned(memory, &reports); }),
        ElementsAre("Illegal variable type \"Lie\"|Illegal variable type \"Lie\" for the variable \"c\""));
}

TEST(VariableScan, ReadsEveryFormat)
{
    const ScratchFolder folder;
    const Entries entries{{"Seq_n", "Real Number"}, {"n", 2.5}, {"Seq_v", "Path2D"}, {"v_0_time", 1.0},
        {"v_0", std::vector<double>{1, 2}}, {"v_1_time", 3.0}, {"v_1", std::vector<double>{3}},
        {"Seq_code", std::vector<double>{1, 0.5}}, {"code_0", 1.0}, {"code_1", 1.0}};
    std::filesystem::create_directory(folder / "d.svdata");
    for (const char* name : {"d.svbin", "d.mat", "d.ascii", "d.svdata/d.svbin"}) {
        const auto file = KRDataFile::openNewFileWithName(folder / name);
        write(*file, entries);
        file->flush();
    }
    for (const char* name : {"d.svbin", "d.mat", "d.ascii", "d.svdata"}) {
        SCOPED_TRACE(name);
        const auto file = storagetest::opened(folder / name);
        EXPECT_THAT(linesOf(scanned(file), *file),
            ElementsAre("code Path2D 2 time values [0 0.5]", "n Real Number 2.5 [0]",
                "v Path2D 2 time values [1 3]"));
    }
}

// Announcements that an index block has turned into arrays of bytes.
TEST(VariableScan, ReadsTextsThatAnIndexHasTurnedIntoBytes)
{
    const ScratchFolder folder;
    {
        SVDataFile library(folder / "d.svbin", SVFile::NewReadWrite);
        library.Save("Path2D", "Seq_v");
        library.Save("Group", "Seq_g");
        library.Save(1.0, "SeqInfo_g_N");
        library.Save("x", "SeqInfo_g_1N");
        library.Save("Point2D", "SeqInfo_g_1T");
    }
    const auto writable = KRDataFileBinary::createWithName(folder / "d.svbin");
    writable->openFileWithProgress();
    writable->addIndexBlock();
    const auto file = storagetest::opened(folder / "d.svbin");
    EXPECT_FALSE(file->isAString("Seq_v"));
    EXPECT_THAT(linesOf(scanned(file), *file), ElementsAre("g Group Empty []", "v Path2D Empty []"));
    EXPECT_EQ(shown(scanned(file)->informationFor("g")->structure()), "Group\n    x = Point2D\n");
}

TEST(VariableScan, ShowsItsProgressAndStopsReadingTimesOnDemand)
{
    ShownProgress shown;
    const auto entry = shown.addEntry();
    ASSERT_TRUE(shown.line);
    Entries entries{{"Seq_v", "Path2D"}, {"Seq_w", "Path2D"}};
    for (int k = 0; k < 300; ++k) {
        entries.emplace_back("v_" + std::to_string(k), 1.0);
        entries.emplace_back("v_" + std::to_string(k) + "_time", 2.0 * k);
    }
    const auto memory = memoryOf(entries);
    KRVariableInformation::computeInformationFromFile(memory, entry);
    EXPECT_TRUE(shown.reaches(1));
    EXPECT_THAT(shown.line->descriptionString(), HasSubstr("Reading the content of"));
    shown.line->abortButtonHit();
    const auto aborted = KRVariableInformation::computeInformationFromFile(memory, entry);
    EXPECT_EQ(aborted->informationFor("v")->times().asArray()->valueAtIndex(299), 299);
}

TEST(ExtraParameters, AreListedAsFarAsTheyAreThere)
{
    const auto memory = memoryOf({{"v_prmtrs", 2e9}, {"v_prmtrs_0_info", "Real Number:a:b"},
        {"v_prmtrs_1_info", "no colon"}, {"v_prmtrs_2_info", "String:"}, {"v_prmtrs_3_info", ":name"},
        {"v_prmtrs_4_info", "String:c"}, {"w_prmtrs", 1.0}, {"w_prmtrs_0_info", "String:x"},
        {"w_prmtrs_1_info", "String:y"}, {"u_prmtrs_0_info", "String:z"}});
    const auto listed = [&](const std::string& name) {
        Names lines;
        for (const auto& parameter : extraParametersOf(name, *memory))
            lines.push_back(parameter.kind + "|" + parameter.name + "|" + parameter.entry);
        return lines;
    };
    EXPECT_THAT(listed("v"), ElementsAre("Real Number|a:b|v_prmtrs_0", "String|c|v_prmtrs_4"));
    EXPECT_THAT(listed("w"), ElementsAre("String|x|w_prmtrs_0"));
    EXPECT_THAT(listed("u"), IsEmpty());
}

} // namespace
} // namespace variablestest
