#include "diagnostics/ShownProgress.h"
#include "variables/scan/ExtraParameters.h"
#include "variables/scan/KRVariableInformation.h"
#include "variables/scan/StoredTimes.h"
#include "variables/structures/EntryNames.h"
#include "variables_testing.h"

namespace variablestest {
namespace {

namespace names = variables::names;

using Scanned = KRVariableInformation::Pointer;

Scanned scanned(const std::shared_ptr<KRDataStorage>& storage, ScanReports* reports = nullptr)
{
    return KRVariableInformation::computeInformationFromFile(storage, nullptr, reports);
}

// Each variable as "name type information [times]".
Names linesOf(const Scanned& information, KRDataStorage& storage)
{
    Names lines;
    for (const auto& record : information->records()) {
        lines.push_back(fmt::format("{} {} {} [{}]", record.name(), record.type(),
            KRVariableInformation::informationText(record, storage),
            fmt::join(record.times().asNumbers(), " ")));
    }
    return lines;
}

std::string missing(int first, int of)
{
    return fmt::format(
        "Not all time values were saved|When reading from \"\", only the first {} of {} timevalues were "
        "saved "
        "for \"v\".  The most likely cause of this is that the file is currently being written.  In order to "
        "avoid this problem, write the time value before you write the variable.  That way the time step "
        "will "
        "exist if the variable can be read.",
        first, of);
}

std::string illegal(const std::string& type, const std::string& name = "v")
{
    return fmt::format(
        "Illegal variable type \"{0}\"|Illegal variable type \"{0}\" for the variable \"{1}\"", type, name);
}

struct Variable {
    const char* entries;
    std::string line = "none"; // For no record.
    Names messages = {};
};

void expectLines(const std::vector<Variable>& variables)
{
    for (const Variable& variable : variables) {
        SCOPED_TRACE(variable.entries);
        const auto memory = memoryOf(variable.entries);
        Names lines;
        EXPECT_EQ(messagesOf([&] { lines = linesOf(scanned(memory), *memory); }), variable.messages);
        EXPECT_EQ(lines.empty() ? "none" : lines.front(), variable.line);
    }
}

TEST(VariableScan, TakesTypesFromAnnouncementsAlone)
{
    expectLines({
        {"a = 1; SeqInfo_v = Group"},
        {"Seq_ = Path2D"},
        {"Seq_v = "},
        {"Seq_v = Path2D", "v Path2D Empty []"},
        {"Seq_v = 28; v = 1", "v PointCollection2D 1 time value [0]"},
        {"Seq_v = Real Number; v = 2.5", "v Real Number 2.5 [0]"},
        {"Seq_v = Real Number; v_0 = -3", "v Real Number -3 [0]"},
        {"Seq_v = Real Number; v = w; w = 7", "v Real Number 7 [0]"},
        {"Seq_v = Real Number; v = v", "v Real Number 1 time value [0]",
            {"Circular reference inside datafile."}},
        {"Seq_v = [22 0.5]; v_0 = 4", "v Real Number 4 [0]"},
        {"Seq_v = 3D Prizm Mesh", "v PrismMesh3D Empty []"},
        {"Seq_v = List of Numbers", "v NumberList Empty []"},
        {"Seq_v = RealNumber; v = 1", "v Real Number 1 [0]"},
        {"Seq_v = 4", "none", {illegal("Unknown")}},
        {"Seq_v = Lie", "none", {illegal("Lie")}},
        {"Seq_v = []", "none", {illegal("Unknown")}},
    });
    EXPECT_FALSE(scanned(nullptr));
}

TEST(VariableScan, FindsTheTimeOfEachValue)
{
    const std::string backward = "The time information for v goes backward for entry number ";
    expectLines({
        // A constant step.
        {"Seq_v = [1 0.5]; v_0 = 1; v_1 = 1; v_2 = 1; v_3 = 1", "v Path2D 4 time values [0 0.5 1 1.5]"},
        {"Seq_v = [1 0]; v_0 = 1; v_1 = 1", "v Path2D 2 time values [0 1]"},
        {"Seq_v = [1 -1]; v_0 = 1; v_1 = 1; v_0_time = 2; v_1_time = 5", "v Path2D 2 time values [2 5]"},
        {"Seq_v = [1 inf]; v_0 = 1; v_1 = 1", "v Path2D 2 time values [0 1]"},
        // One by one.
        {"Seq_v = 1; v = 1; v_time = 3", "v Path2D 1 time value [3]"},
        {"Seq_v = 1; v_0 = 1; v_1 = 1; v_2 = 1", "v Path2D 3 time values [0 1 2]"},
        {"Seq_v = 1; v = 1; v_0 = 1; v_1 = 1; v_time = 3; v_0_time = 1; v_1_time = 4",
            "v Path2D 2 time values [3 4]"},
        {"Seq_v = 1; v_0 = 1; v_1 = 1; v_2 = 1; v_0_time = 5", "v Path2D 3 time values [5 10 15]",
            {missing(1, 3)}},
        {"Seq_v = 1; v_0 = 1; v_1 = 1; v_2 = 1; v_0_time = 0", "v Path2D 3 time values [0 1 2]",
            {missing(1, 3)}},
        {"Seq_v = 1; v_0 = 1; v_1 = 1; v_2 = 1; v_3 = 1; v_0_time = 2; v_1_time = 2.5; v_2_time = late",
            "v Path2D 4 time values [2 2.5 3 3.5]", {missing(2, 4)}},
        {"Seq_v = 1; v_0 = 1; v_1 = 1; v_0_time = 0; v_1_time = 0", "v Path2D 2 time values [0 1]",
            {backward + "1.", missing(1, 2)}},
        {"Seq_v = 1; v_0 = 1; v_1 = 1; v_0_time = 4; v_1_time = 4", "v Path2D 2 time values [4 8]",
            {backward + "1.", missing(1, 2)}},
        {"Seq_v = 1; v_0 = 1; v_1 = 1; v_0_time = -1; v_1_time = 4", "v Path2D 2 time values [0 1]",
            {backward + "0."}},
        {"Seq_v = 1; v_0 = 1; v_1 = 1; v_0_time = nan; v_1_time = inf", "v Path2D 2 time values [nan inf]"},
        // All at once.
        {"Seq_v = 1; v_0 = 1; v_1 = 1; SeqInfo_v_TimeValues = [0 nan]", "v Path2D 2 time values [0 nan]"},
        {"Seq_v = [1 2]; v_0 = 1; v_1 = 1; v_2 = 1; SeqInfo_v_TimeValues = [0 3 2]; v_0_time = 9",
            "v Path2D 3 time values [0 3 2]"},
        {"Seq_v = 1; v_0 = 1; v_1 = 1; SeqSeriesInfo_v_TimeValues = [1 2]", "v Path2D 2 time values [1 2]"},
        {"Seq_v = 1; v_0 = 1; v_1 = 1; SeqInfo_v_TimeValues = x; SeqSeriesInfo_v_TimeValues = [1 1]",
            "v Path2D 2 time values [0 1]",
            {"Time array for \"SeqSeriesInfo_v_TimeValues\" needs to be strictly increasing."}},
        {"Seq_v = 1; v_0 = 1; SeqInfo_v_TimeValues = x", "v Path2D 1 time value [0]",
            {"The array \"SeqSeriesInfo_v_TimeValues\" didn't have the right size."}},
        {"Seq_v = 1; SeqInfo_v_TimeValues = x", "v Path2D Empty []"},
        {"Seq_v = [1 3]; v_0 = 1; v_1 = 1; SeqInfo_v_TimeValues = [1 2 3]", "v Path2D 2 time values [0 3]",
            {"The array \"SeqInfo_v_TimeValues\" didn't have the right size."}},
        {"Seq_v = 1; v_0 = 1; v_1 = 1; SeqInfo_v_TimeValues = [-1 1]; v_0_time = 7; v_1_time = 8",
            "v Path2D 2 time values [7 8]",
            {"First time value for \"SeqInfo_v_TimeValues\" needs to be >=0."}},
    });
}

TEST(VariableScan, CountsByDoublingAndBisection)
{
    const auto count = [](const std::vector<long>& steps) {
        const auto memory = std::make_shared<KRDataInMemory>();
        for (const long step : steps)
            write(*memory, fmt::format("v_{} = 1", step));
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

TEST(VariableScan, NeedsNoLookUpForEachValue)
{
    struct Counting : KRDataInMemory {
        bool contains(const std::optional<std::string>& name) override
        {
            ++lookUps;
            return KRDataInMemory::contains(name);
        }
        std::optional<StorageNumber> readNumber(const std::string& name) override
        {
            ++lookUps;
            return KRDataInMemory::readNumber(name);
        }
        int lookUps = 0;
    };
    const auto storage = std::make_shared<Counting>();
    write(*storage, "Seq_v = Path2D");
    const auto times = doubles(storagetest::counted<double>(200'000));
    for (int k = 0; k < times->length(); ++k)
        storage->writeDoubleArray(times, names::value("v", k));
    storage->writeDoubleArray(times, "SeqInfo_v_TimeValues");
    EXPECT_TRUE(scanned(storage)->informationFor("v")->times().asArray()->isEqualToArray(times));
    EXPECT_LT(storage->lookUps, 50);
}

TEST(VariableScan, ReadsTheStructuresOfCompositeTypes)
{
    const auto memory = memoryOf(
        "Seq_g = Group; SeqInfo_g_N = 1; SeqInfo_g_1N = a; SeqInfo_g_1T = Path2D; Seq_s = Series; s_0 = 1; "
        "SeqInfo_s_type = Point2D; Seq_t = Table; SeqInfo_t_N = 1; SeqInfo_t_1N = c; "
        "SeqInfo_t_1T = NumberList; Seq_lost = Group; Seq_s2 = Series; SeqInfo_s2_type = Point2D; Seq_p = "
        "Path2D; Seq_r = Real Number");
    const Scanned result = scanned(memory);
    Names lines;
    for (const auto& record : result->records())
        lines.push_back(record.name() + ": " + shown(record.structure()) + ": "
            + std::string(record.readingType()) + (record.hasSharedReading() ? " shared" : ""));
    EXPECT_THAT(lines,
        ElementsAre("g: Group\n    a = Path2D\n: ", "lost: null: ", "p: null: Path2D shared",
            "r: null: Real Number", "s: Series of Point2D\n: Table", "s2: Series of Point2D\n: Table",
            "t: Table\n    c = NumberList\n: Table"));
    EXPECT_EQ(result->informationFor("s")->times().count(), 1);
    EXPECT_EQ(result->informationFor("s")->structure(), result->informationFor("s2")->structure());
    EXPECT_FALSE(result->informationFor("Seq_s"));
    EXPECT_FALSE(result->informationFor("zz"));
    ASSERT_TRUE(result->info());
}

TEST(VariableScan, TellsEachFaultOnceHoweverOftenItLooks)
{
    const auto memory =
        memoryOf("Seq_a = Lie; Seq_b = Lie; Seq_s = Series; Seq_v = 1; v_0 = 1; v_1 = 1; v_0_time = 1");
    ScanReports reports;
    EXPECT_EQ(messagesOf([&] { scanned(memory, &reports); }).size(), 4U);
    write(*memory, "v_2 = 1; Seq_c = Lie");
    EXPECT_THAT(messagesOf([&] { scanned(memory, &reports); }), ElementsAre(illegal("Lie", "c")));
}

TEST(VariableScan, ReadsEveryFormat)
{
    const ScratchFolder folder;
    const auto series =
        KRVariableStructure::createSeriesWithType(KRVariableStructure::createWithType("Path2D"));
    std::filesystem::create_directory(folder / "d.svdata");
    for (const char* name : {"d.svbin", "d.mat", "d.ascii", "d.svdata/d.svbin"}) {
        const auto file = KRDataFile::openNewFileWithName(folder / name);
        write(*file,
            "Seq_n = Real Number; n = 2.5; Seq_v = Series; v_0_time = 1; v_0 = [1 2]; v_1_time = 3; "
            "v_1 = [3]; Seq_code = [1 0.5]; code_0 = 1; code_1 = 1");
        EXPECT_TRUE(
            KRVariableStructure::createWithGroupNames({"a b"}, {series})->saveDescriptionAs("B", *file));
        EXPECT_TRUE(series->saveDescriptionAs("SeqInfo_v", *file));
        file->flush();
    }
    for (const char* name : {"d.svbin", "d.mat", "d.ascii", "d.svdata"}) {
        SCOPED_TRACE(name);
        const auto file = storagetest::opened(folder / name);
        EXPECT_THAT(linesOf(scanned(file), *file),
            ElementsAre("code Path2D 2 time values [0 0.5]", "n Real Number 2.5 [0]",
                "v Series 2 time values [1 3]"));
        EXPECT_EQ(shown(scanned(file)->informationFor("v")->structure()), "Series of Path2D\n");
        EXPECT_EQ(shown(KRVariableStructure::groupStructureFromName("B", *file)),
            "Group\n    a b = Series of Path2D\n");
        EXPECT_EQ(shown(KRVariableStructure::seriesStructureFromName("B_1T", *file)), "Series of Path2D\n");
    }
}

// Announcements that an index block has turned into arrays of bytes.
TEST(VariableScan, ReadsTextsThatAnIndexHasTurnedIntoBytes)
{
    const ScratchFolder folder;
    write(*KRDataFile::openNewFileWithName(folder / "d.svbin"),
        "Seq_v = Path2D; Seq_g = Group; SeqInfo_g_N = 1; SeqInfo_g_1N = x; SeqInfo_g_1T = Point2D");
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
    const auto memory = memoryOf("Seq_v = 1; Seq_w = 1");
    for (int k = 0; k < 300; ++k)
        write(*memory, fmt::format("v_{0} = 1; v_{0}_time = {1}", k, 2 * k));
    KRVariableInformation::computeInformationFromFile(memory, entry);
    EXPECT_TRUE(shown.reaches(1));
    EXPECT_THAT(shown.line->descriptionString(), HasSubstr("Reading the content of"));
    shown.line->abortButtonHit();
    const auto aborted = KRVariableInformation::computeInformationFromFile(memory, entry);
    EXPECT_EQ(aborted->informationFor("v")->times().asArray()->valueAtIndex(299), 299);
}

TEST(ExtraParameters, AreListedWhereTheyAreThere)
{
    const auto memory = memoryOf("v_prmtrs = 2e9; v_prmtrs_0_info = Real Number:a:b; v_prmtrs_1_info = none; "
                                 "v_prmtrs_2_info = String:; v_prmtrs_3_info = :name; v_prmtrs_4_info = "
                                 "String:c; v_prmtrs_12_info = String:e; v_prmtrs_7_info = String:d; "
                                 "v_prmtrs_08_info = String:f; v_prmtrs_9 = 1; w_prmtrs = 1; w_prmtrs_0_info "
                                 "= String:x; w_prmtrs_1_info = "
                                 "String:y; u_prmtrs_0_info = String:z");
    const auto listed = [&](const std::string& name) {
        Names lines;
        for (const auto& parameter : extraParametersOf(name, *memory))
            lines.push_back(parameter.kind + "|" + parameter.name + "|" + parameter.entry);
        return lines;
    };
    EXPECT_THAT(listed("v"),
        ElementsAre("Real Number|a:b|v_prmtrs_0", "String|c|v_prmtrs_4", "String|d|v_prmtrs_7",
            "String|e|v_prmtrs_12"));
    EXPECT_THAT(listed("w"), ElementsAre("String|x|w_prmtrs_0"));
    EXPECT_THAT(listed("u"), IsEmpty());
}

} // namespace
} // namespace variablestest
