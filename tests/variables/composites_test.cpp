#include "platform/TemporaryFolder.h"
#include "platform/files/Places.h"
#include "temporary/KRContainerFileName.h"
#include "variables/composites/FortranGroup.h"
#include "variables/composites/KRContainerGroup.h"
#include "variables/composites/KRContainerSeries.h"
#include "variables/composites/KRContainerTable.h"
#include "variables/composites/ValueTypes.h"
#include "variables/files/KRDataFile_StorageNative.h"
#include "variables/structures/StoredWords.h"
#include "variables/values/KRContainerNumberList.h"
#include "variables/values/KRContainerPoint2D.h"
#include "variables/values/KRContainerStringList.h"
#include "variables/values/KRPlainValue.h"
#include "variables_testing.h"

#include <deque>

namespace variablestest {
namespace {

using Value = KRContainer::Value;

Structure typed(const char* type)
{
    return KRVariableStructure::createWithType(type);
}

Value number(double value)
{
    return KRRealNumber::create(value);
}

template <class Kind>
std::shared_ptr<const Kind> as(const Value& value)
{
    auto cast = std::dynamic_pointer_cast<const Kind>(value);
    EXPECT_TRUE(cast);
    return cast;
}

double numberIn(const Value& value)
{
    const auto* held = dynamic_cast<const KRRealNumber*>(value.get());
    return held ? held->doubleValue() : -1;
}

// Temporary files keep their folder until the process ends.
class TemporaryFilesOfTheProcess : public testing::Environment {
public:
    void SetUp() override
    {
        platform::Places::setRoot(root_.path());
        KRContainerFileName::initializeTemporary();
    }
    void TearDown() override
    {
        KRContainerFileName::removeTemporaryDirectory();
        platform::Places::setRoot("");
    }

private:
    TemporaryFolder root_;
};
const auto* const temporaryFiles = testing::AddGlobalTestEnvironment(new TemporaryFilesOfTheProcess);

class Composites : public testing::Test {
protected:
    static void SetUpTestSuite() { variables::addValueTypes(); }

    static Structure seriesOfPoints() { return KRVariableStructure::createSeriesWithType(typed("Point2D")); }
    // A group with a number, a table, and a group that has a series of points with a step that is missing.
    static KRContainerGroup::Pointer everything()
    {
        const auto table =
            KRContainerTable::createWithNames({"x", "word"}, {typed("NumberList"), typed("StringList")},
                {KRContainerNumberList::createWithArray(doubles({1, 2})),
                    KRContainerStringList::createWithStrings({"a", "b"})});
        const auto series = KRContainerSeries::createWithValues(
            {KRContainerPoint2D::pointX(1, 2), nullptr, KRContainerPoint2D::pointX(5, 6)}, doubles({0, 1, 4}),
            seriesOfPoints());
        series->setExtraParameters({{"scale", number(9)}});
        const auto inner =
            KRContainerGroup::createWithNames({"path"}, {series->variableStructure()}, {series});
        return KRContainerGroup::createWithNames({"n", "t", "in"},
            {typed("Real Number"), table->tableStructure(), inner->groupStructure()},
            {number(3), table, inner});
    }
    static void expectEverything(const KRContainerGroup& group)
    {
        EXPECT_EQ(group.description(), "3 entries");
        EXPECT_EQ(numberIn(group.valueForEntry("n")), 3);
        EXPECT_EQ(group.descriptionForEntry("n"), "3");
        EXPECT_EQ(group.descriptionForEntry("t"), "2 columns, 2 rows");
        EXPECT_EQ(group.descriptionForEntry("in"), "1 entry");
        EXPECT_EQ(group.descriptionForEntry("none"), "(Empty)");
        EXPECT_FALSE(group.valueForEntry("none") || group.valueForEntry(std::nullopt));
        const auto series =
            as<KRContainerSeries>(as<KRContainerGroup>(group.valueForEntry("in"))->valueForEntry("path"));
        ASSERT_TRUE(series);
        EXPECT_EQ(series->description(), "3 entries");
        EXPECT_EQ(numberIn(series->returnParameter("scale")), 9);
        EXPECT_FALSE(series->valueAt(-1));
        EXPECT_EQ(as<KRContainer>(series->valueAt(0.5))->description(), "(1,2)");
        EXPECT_EQ(as<KRContainer>(series->valueAt(9))->description(), "(5,6)");
        EXPECT_TRUE(series->willChangeFrom(0.5, 1.5));
        EXPECT_FALSE(series->willChangeFrom(1, 3.9));
        EXPECT_EQ(series->descriptionForTimeValue(2), "(5,6)");
        EXPECT_EQ(series->descriptionForTimeValue(1), "Empty") << "has no value";
    }
};

TEST_F(Composites, ComeBackFromAFileAsReferences)
{
    const auto group = everything();
    group->setExtraParameters({{"unit", number(7)}});
    expectEverything(*group);
    const auto memory = std::make_shared<KRDataInMemory>();
    ASSERT_TRUE(group->saveIntoFile(*memory, "v"));
    const auto structure = group->groupStructure();
    expectRefusalsToBeTold([&](KRDataStorage& storage) { return group->saveIntoFile(storage, "v"); });
    expectRefusalsToBeTold([&](KRDataStorage& s) { return group->saveSubGroup(structure, s, "v", nullptr); });
    expectRefusalsToBeTold([&](KRDataStorage& s) { return structure->saveDescriptionAs("B", s); });
    expectRefusalsToBeTold(
        [&](KRDataStorage& s) { return KRContainerGroup::saveStructure(*structure, "B", s); });
    EXPECT_EQ(memory->readRawString("v_in_path"), "Series");
    EXPECT_EQ(numbersOf(memory->readDoubleArray("v_in_path_1")), std::vector<double>()) << "no value";
    EXPECT_EQ(memory->readNumber("v_in_path_2_time")->doubleValue(), 4);
    EXPECT_EQ(
        numbersOf(memory->readDoubleArray("SeqInfo_v_in_path_TimeValues")), (std::vector<double>{0, 1, 4}));
    EXPECT_EQ(memory->readRawString("v_t_0V_T"), "Number");
    EXPECT_EQ(memory->readRawString("v_t_1V_T"), "UTF8");
    EXPECT_EQ(memory->readNumber("v_t")->doubleValue(), 2);
    EXPECT_EQ(memory->readNativeArray("v").length(), 0);

    const auto stored = KRContainerGroup::createWithDataFile(memory, "v", group->groupStructure());
    ASSERT_TRUE(stored);
    expectEverything(*stored);
    EXPECT_EQ(numberIn(stored->returnParameter("unit")), 7);
    EXPECT_EQ(stored->memoryUsed(), 0U);
    const auto table = as<KRContainerTable>(stored->valueForEntry("t"));
    EXPECT_EQ(table->tableStructure()->tableTypes()[0]->type(), "List of Numbers");
    EXPECT_EQ(as<KRContainer>(table->valueNamed("word"))->description(), "2 strings - a,b");
    // A table that was read is saved and read once more.
    KRDataInMemory again;
    messagesOf([&] { EXPECT_TRUE(table->saveIntoFile(again, "w")); });
    EXPECT_EQ(again.readRawString("w_0V_T"), "List of Numbers");
    EXPECT_EQ(
        as<KRContainer>(ReadingOperations::read("Table", again, "w"))->description(), "2 columns, 2 rows");

    // Announced in a file, it reads through its description.
    EXPECT_TRUE(group->groupStructure()->saveDescriptionAs("SeqInfo_v", *memory));
    expectEverything(*as<KRContainerGroup>(ReadingOperations::read("Group", *memory, "v")));
    EXPECT_EQ(
        as<KRContainer>(ReadingOperations::read("Series", *memory, "v_in_path"))->description(), "3 entries");
    EXPECT_EQ(KRContainerSeries::descriptionFor("v_in_path", *memory), "3 times");
    auto kept = KRContainerFileName::createWithName("/kept");
    const std::weak_ptr<const KRContainerFileName> held = kept;
    {
        const auto referring = as<KRContainerGroup>(
            KRContainerGroup::readGroupWithReference("v", *memory, std::exchange(kept, nullptr), nullptr));
        expectEverything(*referring);
        EXPECT_FALSE(held.expired());
    }
    EXPECT_TRUE(held.expired());
    for (const Structure& known : {Structure(), seriesOfPoints()})
        EXPECT_EQ(
            as<KRContainer>(KRContainerSeries::readSeriesWithReference("v_in_path", *memory, nullptr, known))
                ->description(),
            "3 entries");
    EXPECT_FALSE(KRContainerSeries::readSeriesWithReference("n", *memory, nullptr, nullptr)
        || KRContainerGroup::readGroupWithReference("n", *memory, nullptr, nullptr));
    EXPECT_EQ(stored->structureForEntry("n")->type(), "Real Number");
    const auto one = [](double n) {
        return KRContainerGroup::createWithNames({"n"}, {typed("Real Number")}, {number(n)});
    };
    EXPECT_TRUE(one(3)->isEqualTo(*one(3)));
    EXPECT_FALSE(one(3)->isEqualTo(*one(4)) || one(3)->isEqualTo(*stored) || one(3)->isEqualTo(*number(3)));
}

TEST_F(Composites, GroupsMoveToAFileOfTheirOwn)
{
    const auto group = everything();
    EXPECT_GT(group->memoryUsed(), 0U);
    ASSERT_TRUE(group->saveToDisk());
    EXPECT_EQ(group->memoryUsed(), 0U);
    expectEverything(*group);
    EXPECT_EQ(group->valueForEntry("in"), group->valueForEntry("in")) << "made once";
    KRDataInMemory copy;
    EXPECT_TRUE(group->saveIntoFile(copy, "w")) << "also from its own file";
    EXPECT_EQ(copy.readNumber("w_n")->doubleValue(), 3);
}

TEST_F(Composites, OlderGroupsAreReadToo)
{
    const auto older =
        memoryOf("v = 2; v_N1_name = a; v_a_type = Real Number; v_a = 7; v_2_name = p; "
                 "v_2_type = Point2D; v_p = [1 2]; w = 2; w_1_name = a; w_1_type = Real Number; "
                 "w_a = 1; w_2_name = b; x = 0; y = -2");
    const auto group = as<KRContainerGroup>(ReadingOperations::read("Group", *older, "v"));
    ASSERT_TRUE(group);
    EXPECT_EQ(numberIn(group->valueForEntry("a")), 7);
    EXPECT_EQ(group->descriptionForEntry("p"), "(1,2)");
    for (const char* incomplete : {"w", "x", "y", "nothing"}) {
        EXPECT_FALSE(ReadingOperations::read("Group", *older, incomplete)) << incomplete;
        EXPECT_EQ(KRContainerGroup::descriptionFor(incomplete, *older), "Empty");
    }
    write(*older, "v_p = [1 2 3]");
    EXPECT_EQ(
        messagesOf([&] { EXPECT_EQ(KRContainerGroup::descriptionFor("v", *older), "2 entries"); }), Names())
        << "reads no value";
    // Each level names the next one twice.
    const auto doubling = std::make_shared<KRDataInMemory>();
    std::string level = "v";
    for (int depth = 0; depth < 40; ++depth, level += "_a")
        write(*doubling, fmt::format("{0} = 2; {0}_N1_name = a; {0}_N2_name = a; {0}_a_type = Group", level));
    EXPECT_EQ(messagesOf([&] { EXPECT_FALSE(ReadingOperations::read("Group", *doubling, "v")); }), Names());
    write(*doubling,
        level + " = 1; " + level + "_N1_name = n; " + level + "_n_type = Real Number; " + level + "_n = 1");
    EXPECT_EQ(messagesOf([&] { ReadingOperations::read("Group", *doubling, "v"); }),
        (Names{"A value is nested too deeply, or contains itself."}));
    KRDataInMemory storage;
    const auto structure = everything()->groupStructure();
    EXPECT_EQ(shown(KRContainerGroup::structureFromName("B", *memoryOf("B = Point2D"))), "Point2D");
    const auto flat = KRVariableStructure::createWithGroupNames(
        {"a", "g"}, {typed("Point2D"), KRVariableStructure::createWithGroupNames({"b"}, {typed("String")})});
    EXPECT_TRUE(KRContainerGroup::saveStructure(*flat, "B", storage));
    EXPECT_TRUE(flat->isEqual(KRContainerGroup::structureFromName("B", storage)));
    const ScratchFolder folder;
    write(*KRDataFile::openNewFileWithName(folder / "d.svbin"),
        "a = b; b = c; c = [1]; d = e; e = d; f = /tmp/f; g = f");
    const auto content = storagetest::opened(folder / "d.svbin")->structure();
    EXPECT_EQ(KRContainerGroup::resolve("a", content), "c");
    EXPECT_EQ(KRContainerGroup::resolve("g", content), "f") << "its text is a value";
    EXPECT_EQ(messagesOf([&] { EXPECT_FALSE(KRContainerGroup::resolve("d", content)); }),
        Names{"Circular reference inside datafile."});
}

TEST_F(Composites, AGroupIsSavedInAnotherShape)
{
    const auto group = KRContainerGroup::createWithNames(
        {"a", "b"}, {typed("Point2D"), typed("Real Number")}, {KRContainerPoint2D::pointX(1, 2), number(4)});
    const auto shape = KRVariableStructure::createWithGroupNames({"a", "b", "c"},
        {typed("Point2D"), typed("NumberList"),
            KRVariableStructure::createWithGroupNames({"d"}, {typed("Point2D")})});
    KRDataInMemory storage;
    ASSERT_TRUE(group->saveSubGroup(shape, storage, "v", nullptr));
    EXPECT_EQ(numbersOf(storage.readDoubleArray("v_a")), (std::vector<double>{1, 2}));
    EXPECT_EQ(storage.readNativeArray("v_b").length(), 0) << "of another type";
    EXPECT_EQ(storage.readNativeArray("v_c_d").length(), 0);
    EXPECT_TRUE(storage.contains("v_c"));
    // A file takes each name once.
    const ScratchFolder folder;
    const auto file = KRDataFile::openNewFileWithName(folder / "d.svbin");
    const auto twice = KRContainerGroup::createWithNames(
        {"a", "a"}, {typed("Real Number"), typed("Real Number")}, {number(1), number(2)});
    EXPECT_TRUE(
        twice->saveIntoFile(*file, "v") && twice->saveSubGroup(twice->groupStructure(), *file, "w", nullptr));
    EXPECT_EQ(file->readNumber("v_a")->doubleValue() + file->readNumber("w_a")->doubleValue(), 4);
}

TEST_F(Composites, GroupsKeepTheBoundsOfTheirEntries)
{
    const auto group = KRContainerGroup::createWithNames({"p", "list", "text"},
        {typed("Point2D"), typed("NumberList"), typed("String")},
        {KRContainerPoint2D::pointX(1, 2), KRContainerNumberList::createWithArray(doubles({-1, 8})),
            std::make_shared<KRString>("x")});
    EXPECT_FALSE(group->retrieveValueRange("list").couldBeFound) << "only looks";
    EXPECT_EQ(group->valueRangeFor("list").maxV, 8);
    EXPECT_EQ(group->retrieveValueRange("list").minV, -1);
    EXPECT_FALSE(group->valueRangeFor("text").couldBeFound);
    EXPECT_EQ(group->boundingBox2D().xmax, 1);
    EXPECT_EQ(group->valueRange().maxV, 8);
    group->setValueRange({0, 20, false, true}, "text");
    EXPECT_EQ(group->valueRange().maxV, 20);
    group->setBoundingBox2D({0, 9, 0, 9, false, true}, "text");
    group->setBoundingBox3D({0, 1, 0, 1, 0, 7, false, true}, "text");
    EXPECT_EQ(group->boundingBox2D().xmax, 9);
    EXPECT_EQ(group->retrieveBoundingBox3D("text").zmax, 7);
    EXPECT_FALSE(group->retrieveBoundingBox3D("p").couldBeFound);
    // Also where a reference ends.
    const auto memory = memoryOf("v_a = v_b; v_b = [1 2]");
    const auto stored = KRContainerGroup::createWithDataFile(memory, "v",
        KRVariableStructure::createWithGroupNames({"a", "b"}, {typed("Point2D"), typed("Point2D")}));
    EXPECT_FALSE(stored->retrieveBoundingBox2D("a").couldBeFound);
    stored->setBoundingBox2D({0, 5, 0, 9, false, true}, "v_b");
    EXPECT_EQ(stored->retrieveBoundingBox2D("a").xmax, 5);
    const auto unread = KRContainerGroup::createWithDataFile(memory, "v",
        KRVariableStructure::createWithGroupNames(
            {"b", "c", "n"}, {typed("Mesh2D"), typed("Point2D"), typed("Real Number")}));
    for (const auto& [name, text] :
        {std::pair("b", "Could not read"), {"c", "Could not read"}, {"n", "Empty"}})
        EXPECT_EQ(unread->descriptionForEntry(name), text);
}

TEST_F(Composites, RefuseWhatDoesNotFit)
{
    const auto empty = KRContainerTable::createEmpty();
    EXPECT_EQ(empty->description(), "Empty");
    EXPECT_EQ(empty->numberOfRows(), 0);
    EXPECT_EQ(KRContainerGroup::createEmpty()->description(), "Empty");
    EXPECT_EQ(KRContainerSeries::createEmpty()->description(), "No entries.");
    EXPECT_EQ(KRContainerGroup::createEmptyWithStructure(everything()->groupStructure())->description(),
        "3 entries");
    const auto structure = everything()->groupStructure();
    EXPECT_EQ(messagesOf([&] {
        EXPECT_FALSE(KRContainerGroup::createWithNames({"a"}, {}, {}));
        EXPECT_FALSE(KRContainerGroup::createWithDataFile(nullptr, "v", structure));
        EXPECT_FALSE(
            KRContainerGroup::createWithFile(KRContainerFileName::createWithName("/x"), {}, "v", structure));
        EXPECT_FALSE(KRContainerGroup::createWithDataFile(
            std::make_shared<KRDataInMemory>(), "v", structure->groupNames(), structure->groupTypes(), {}));
        EXPECT_FALSE(KRContainerGroup::createWithDataFile(nullptr, "v", {}, {}, {}));
        EXPECT_FALSE(KRContainerTable::createWithNames({"a"}, {typed("NumberList")}, {}));
        EXPECT_FALSE(KRContainerSeries::createWithValues({}, doubles({1}), seriesOfPoints()));
        EXPECT_FALSE(KRContainerSeries::createWithFile(nullptr, {}, "v", seriesOfPoints()));
        EXPECT_FALSE(
            KRContainerSeries::createWithDataFile(std::make_shared<KRDataInMemory>(), "v", typed("Point2D")));
        EXPECT_FALSE(KRContainerSeries::createWithDataFile(nullptr, "v", seriesOfPoints()));
        KRDataInMemory storage;
        EXPECT_FALSE(KRContainerSeries::createEmpty()->saveReferenceIntoFile(storage, "v"));
    }),
        (Names{"Internal error, invalid name-type array when creating a group",
            "Internal error: nil pointer being passed into a createWithFile",
            "Internal error, creating a group with a file, but no structure.",
            "Internal Error|Internal Error, please report:\nWhen creating a data storage based group, one of "
            "the "
            "sub groups/series was not specified",
            "Internal error: nil pointer being passed into a createWithFile",
            "Internal error: Can not create a table, invalid structure",
            "Internal - invalid argument to a series constructor",
            "Internal - invalid argument to a series constructor",
            "Internal - invalid argument to a series constructor", "Not a data file.",
            "not possible to save the file name"}));
}

TEST_F(Composites, ASeriesIsSavedAsAReference)
{
    const ScratchFolder folder;
    const std::string path = folder / "series.svbin";
    const auto file = KRDataFile::openNewFileWithName(path);
    write(*file, "v_0 = [1 2]; v_0_time = 0; v_1 = [3 4]; v_1_time = 2");
    file->flush();
    const auto series = KRContainerSeries::createWithFile(
        KRContainerFileName::createWithName(path), file->structure(), "v", seriesOfPoints());
    ASSERT_TRUE(series);
    EXPECT_EQ(numbersOf(std::const_pointer_cast<KRDoubleArrayContainer>(series->timeValues())),
        (std::vector<double>{0, 2}));
    EXPECT_EQ(as<KRContainer>(series->valueAt(2))->description(), "(3,4)");
    KRDataInMemory plain, lasting;
    EXPECT_TRUE(series->saveReferenceIntoFile(plain, "r"));
    expectRefusalsToBeTold(
        [&](KRDataStorage& storage) { return series->saveReferenceIntoFile(storage, "r"); });
    EXPECT_EQ(plain.readRawString("r_file"), path);
    EXPECT_EQ(plain.readRawString("r"), "Series");
    std::filesystem::create_directory(folder / "kept");
    std::set<std::string> taken{"series.svbin"};
    EXPECT_TRUE(series->saveReferenceIntoFile(lasting, "r", folder / "kept", taken));
    EXPECT_EQ(lasting.readRawString("r_file"), folder / "kept" + "/series-1.svbin");
    EXPECT_EQ(std::filesystem::hard_link_count(path), 2U);
    EXPECT_TRUE(taken.contains("series-1.svbin"));
    EXPECT_EQ(
        messagesOf([&] { EXPECT_FALSE(series->saveReferenceIntoFile(lasting, "s", folder / "no", taken)); }),
        (Names{"Could not copy the file into the directory.|Could not copy the file \"" + path + "\" to \""
                + folder / "no/series-2.svbin" + "\"",
            "Could not copy the file into the temporary directory."}));

    // Of a folder the files that hold the series.
    std::filesystem::create_directories(folder / "s.svdata/inner.svdata");
    const std::pair<const char*, const char*> members[] = {{"a.svbin", "Seq_v = Series; v_0 = [1 2]"},
        {"b.svbin", "w_0 = 1"}, {"inner.svdata/c.svbin", "SeqInfo_v_TimeValues = [1 3]"},
        {"d.svbin", "v_1 = [3 4]"}};
    for (const auto& [name, entries] : members)
        write(*KRDataFile::openNewFileWithName(folder / "s.svdata/" + name), entries);
    const auto stacked = KRContainerSeries::createWithDataFile(
        storagetest::opened(folder / "s.svdata"), "v", seriesOfPoints());
    ASSERT_TRUE(stacked);
    EXPECT_TRUE(stacked->saveReferenceIntoFile(lasting, "t", folder / "kept", taken));
    EXPECT_EQ(lasting.readRawString("t_file"), folder / "kept/s.svdata");
    EXPECT_FALSE(std::filesystem::exists(folder / "kept/s.svdata/b.svbin"));
    const auto back = KRContainerSeries::createWithDataFile(
        storagetest::opened(folder / "kept/s.svdata"), "v", seriesOfPoints());
    ASSERT_TRUE(back && back->valueAt(3));
    EXPECT_EQ(as<KRContainer>(back->valueAt(3))->description(), "(3,4)");
}

TEST_F(Composites, ATemporarySeriesMovesToAnotherDisk)
{
    std::string pattern = "/dev/shm/trelkind-XXXXXX";
    const char* const made = mkdtemp(pattern.data());
    if (!made)
        GTEST_SKIP() << "no second disk";
    const std::string name = *KRContainerFileName::checkOutTemporaryName() + ".svbin";
    auto owner = KRContainerFileName::createWithTemporaryFile(name);
    auto file = KRDataFile::openNewFileWithName(name);
    write(*file, "v_0 = [1 2]; v_0_time = 0");
    const auto content = (file->flush(), file->structure());
    file.reset();
    const auto series = KRContainerSeries::createWithFile(owner, content, "v", seriesOfPoints());
    owner.reset();
    KRDataInMemory storage;
    std::set<std::string> taken;
    EXPECT_EQ(messagesOf([&] { EXPECT_TRUE(series->saveReferenceIntoFile(storage, "r", pattern, taken)); }),
        (Names{"Inefficient, had to copy a file"}));
    EXPECT_FALSE(std::filesystem::exists(name));
    EXPECT_EQ(storage.readRawString("r_file"), series->storageFile()->fileName());
    EXPECT_EQ(as<KRContainer>(series->valueAt(0))->description(), "(1,2)");
    std::filesystem::remove_all(pattern);
}

// A stream of items from a list: texts, numbers and arrays of doubles.
class ListedStream final : public KRUnformattedFortranStream {
public:
    using Item = std::variant<std::string, double, std::vector<double>>;
    explicit ListedStream(std::deque<Item> items) : items_(std::move(items)) { }

    std::optional<std::string> readString() override { return next<std::string>(); }
    std::optional<double> readNumber() override { return next<double>(); }
    std::optional<std::vector<double>> readDoubleArray() override
    {
        auto numbers = next<std::vector<double>>();
        return numbers && shouldSkipData() ? std::vector<double>() : numbers;
    }
    std::optional<std::vector<float>> readFloatArray() override { return {}; }
    std::optional<std::vector<std::int32_t>> readIntArray() override { return {}; }
    std::optional<std::string> readBytes() override { return {}; }
    std::shared_ptr<KRProgressEntry> progress() const override { return nullptr; }
    bool atEndOfFile() override { return items_.empty(); }

private:
    template <class T>
    std::optional<T> next()
    {
        if (items_.empty() || error())
            return std::nullopt;
        auto* held = std::get_if<T>(&items_.front());
        std::optional<T> value;
        if (held)
            value = std::move(*held);
        items_.pop_front();
        return value;
    }
    std::deque<Item> items_;
};

class FortranGroups : public Composites {
protected:
    // The names and contents of the file that a stream makes.
    std::map<std::string, std::string> fileOf(std::deque<ListedStream::Item> items,
        const std::optional<std::string>& base = std::nullopt, const Structure& wanted = nullptr)
    {
        ListedStream stream(std::move(items));
        const auto made = createFromUnformattedFortranStream(stream, base, wanted);
        std::map<std::string, std::string> content;
        if (!made)
            return content;
        structure_ = made->structure;
        EXPECT_EQ(made->file->fileSize(), std::filesystem::file_size(made->file->fileName()));
        const auto file = KRDataFile::openFileContainer(made->file);
        for (const std::string& name : file->variablesNames()) {
            if (const auto text = variables::wordUnder(*file, name))
                content[name] = *text;
            else
                for (const double each : numbersOf(file->readDoubleArray(name)))
                    content[name] += fmt::format("{:g} ", each);
        }
        return content;
    }
    std::vector<std::string> messagesFor(const std::deque<ListedStream::Item>& items)
    {
        return messagesOf([&] { fileOf(items); });
    }

    Structure structure_;
};

using D = std::vector<double>;
using Content = std::map<std::string, std::string>;

TEST_F(FortranGroups, AreBuiltFromAStream)
{
    EXPECT_EQ(
        fileOf({"n", "RealNumber", 4.0, "g", "Group", "s", "String", "hi", "p", "2D Point", D{1, 2},
            "Group End", "w", "Series", "w", 0.5, "Point2D", D{3, 4}, "w", 0.5, "Point2D", D{5, 6}, ""}),
        (Content{{"Seq_n", "Real Number"}, {"n", "4 "}, {"Seq_g", "Group"}, {"g", "2 "}, {"g_s", "hi"},
            {"g_p", "1 2 "}, {"Seq_w", "Point2D"}, {"w_0", "3 4 "}, {"w_0_time", "0.5 "}, {"w_1", "5 6 "},
            {"w_1_time", "0.5 "}}));
    EXPECT_EQ(shown(structure_),
        "Group\n    n = Real Number\n    g = Group\n        s = String\n        p = Point2D\n    w = Series "
        "of Point2D\n");
    EXPECT_EQ(fileOf({"n", "Real Number", 4.0}, "base"), (Content{{"base", "1 "}, {"base_n", "4 "}}));
    EXPECT_EQ(fileOf({"Group End"}), Content());
    EXPECT_EQ(shown(structure_), "Group (empty)");
    const auto wanted =
        KRVariableStructure::createWithGroupNames({"n", "p"}, {typed("Real Number"), typed("String")});
    EXPECT_EQ(messagesOf([&] {
        EXPECT_EQ(fileOf({"other", "Point2D", D{}, "p", "Point2D", D{}, "n", "Real Number", 1.0},
                      std::nullopt, wanted),
            (Content{{"Seq_n", "Real Number"}, {"n", "1 "}}));
    }),
        (Names{"Unexpected data type."}));
    // A skipped region, a series of another type, and a name that comes again.
    const auto points =
        KRVariableStructure::createWithGroupNames({"n", "w"}, {typed("Real Number"), seriesOfPoints()});
    EXPECT_EQ(messagesOf([&] {
        EXPECT_EQ(fileOf({"r", "Region2D", D{0, 1, 0, 1}, "w", "Series", "w", 1.0, "Real Number", 5.0, "n",
                             "Real Number", 1.0, "n", "Real Number", 2.0},
                      "b", points),
            (Content{{"b", "2 "}, {"b_n", "1 "}, {"b_w_0", "5 "}, {"b_w_0_time", "1 "}}));
    }),
        (Names{"Wrong type stored", "The variable \"n\" comes more than once: the first one stays."}));
    EXPECT_EQ(messagesOf([&] {
        fileOf({"w", "Series", "w", 1.0, "Point2D", D{1, 2}}, "b", points);
    }),
        Names());
    // The stream ends inside of a group: what came stands.
    EXPECT_EQ(fileOf({"g", "Group", "a", "Real Number", 1.0, "b", "Point2D"}),
        (Content{{"Seq_g", "Group"}, {"g", "1 "}, {"g_a", "1 "}}));
    EXPECT_EQ(shown(structure_), "Group\n    g = Group\n        a = Real Number\n");
}

TEST_F(Composites, AStepOfAVariableIsReadByItsDescription)
{
    const ScratchFolder folder;
    const auto file = KRDataFile::openNewFileWithName(folder / "steps.svbin");
    const auto group = KRContainerGroup::createWithNames({"a"}, {typed("Real Number")}, {number(5)});
    for (const char* step : {"v_0", "v_1"})
        EXPECT_TRUE(group->saveIntoFile(*file, step));
    EXPECT_TRUE(group->groupStructure()->saveDescriptionAs("SeqInfo_v", *file));
    write(*file, "Seq_v = Group; v_0_time = 1; v_1_time = 2");
    file->flush();
    const auto storage =
        KRDataFile_StorageNative::createWithFile(KRDataFile::openFileName(folder / "steps.svbin"));
    const auto step = as<KRContainerGroup>(storage->readVariable("v", 1));
    ASSERT_TRUE(step);
    EXPECT_EQ(numberIn(step->valueForEntry("a")), 5);
}

TEST_F(FortranGroups, TellWhatIsWrong)
{
    EXPECT_EQ(messagesFor({"w", "Series", "w", "Point2D"}),
        (Names{"Could not read a time value for a series|Could not read a time value for the series \"w\".  "
               "Make "
               "sure you save Name - time - type."}));
    EXPECT_EQ(messagesFor({"w", "Series", "w", -1.0}), (Names{"Invalid time value for series"}));
    EXPECT_EQ(messagesFor({"w", "Series", "w", 2.0, "Real Number", 1.0, "w", 1.0}),
        (Names{"Time series needs to be strictly increasing"}));
    EXPECT_EQ(messagesFor({"w", "Series", "w", 2.0, "Real Number", 1.0, "w", 3.0, "String"}),
        (Names{"All of the entry types in a series need to be the same."}));
    EXPECT_EQ(messagesFor({"w"}), (Names{"Could not read in a variable type"}));
    EXPECT_EQ(messagesFor({"w", "nonsense", "more"}),
        (Names{"Unknown type in file.|Invalid type - \"nonsense\" for variable \"w\""}));
    EXPECT_THAT(messagesFor({"w", "0.5", "Point2D"}),
        ElementsAre(testing::StartsWith(
            "Format error...|The variable \"w\" looks like it is a time series of \"Point2D\"")));
    EXPECT_EQ(messagesFor({"w", "Point2D", 3.0, "x"}),
        (Names{"Could not read variable|Could not read in the variable \"w\" with the type \"Point2D\"\nMake "
               "sure that "
               "the format is correct.  The previous error messages should give an indication of what "
               "failed."}));
    EXPECT_EQ(messagesFor({"w", "Point2D"}), Names()) << "the stream may go on later";
}

} // namespace
} // namespace variablestest
