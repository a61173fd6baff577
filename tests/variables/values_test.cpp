#include "platform/files/FileManager.h"
#include "variables/composites/ValueTypes.h"
#include "variables/values/KRContainerArray.h"
#include "variables/values/KRContainerNumberList.h"
#include "variables/values/KRContainerPoint2D.h"
#include "variables/values/KRContainerPoint3D.h"
#include "variables/values/KRContainerRange.h"
#include "variables/values/KRContainerRegion2D.h"
#include "variables/values/KRContainerRegion3D.h"
#include "variables/values/KRContainerShiftScale2D.h"
#include "variables/values/KRContainerShiftScale3D.h"
#include "variables/values/KRContainerStringList.h"
#include "variables/values/KRContainerTransform2D.h"
#include "variables/values/KRContainerTransform3D.h"
#include "variables/values/KRPlainValue.h"
#include "variables_testing.h"

#include <cmath>
#include <cstdio>

namespace variablestest {
namespace {

using Value = KRContainer::Value;
using platform::files::readFile;

class Values : public testing::Test {
protected:
    static void SetUpTestSuite() { variables::addValueTypes(); }

    // The description of what is read under "v"; "null" for nothing.
    static std::string read(const std::string& type, const std::string& entries)
    {
        const auto storage = memoryOf(entries);
        return described(ReadingOperations::read(type, *storage, "v"));
    }
    static std::string described(const Value& value)
    {
        if (const auto* number = dynamic_cast<const KRRealNumber*>(value.get()))
            return number->description();
        if (const auto* text = dynamic_cast<const KRString*>(value.get()))
            return text->text();
        const auto* container = dynamic_cast<const KRContainer*>(value.get());
        return container ? container->description() : "null";
    }
    // What comes back of a value from a file.
    static Value saved(const Value& value)
    {
        KRDataInMemory storage;
        EXPECT_TRUE(value->saveIntoFile(storage, "v"));
        return ReadingOperations::read(value->typeWord(), storage, "v");
    }
    static std::string parameter(const Value& value, const std::string& name)
    {
        return described(dynamic_cast<const KRContainer&>(*value).returnParameter(name));
    }
    // The text that a value appends to a stream.
    static std::string textOf(const auto& value)
    {
        char* text = nullptr;
        std::size_t size = 0;
        std::FILE* const stream = open_memstream(&text, &size);
        EXPECT_TRUE(value->appendAsText(stream));
        std::fclose(stream);
        const std::string all(text, size);
        std::free(text);
        return all;
    }
    template <class Kind>
    static std::shared_ptr<Kind> fromText(const std::string& text)
    {
        std::FILE* const stream = fmemopen(const_cast<char*>(text.data()), text.size(), "r");
        const std::shared_ptr<Kind> value = Kind::createFromTextFile(stream);
        std::fclose(stream);
        return value;
    }
    // The description of what a text holds, and the text that is written of it.
    template <class Kind>
    static std::string bothWays(const std::string& text)
    {
        const auto value = fromText<Kind>(text);
        return value ? described(value) + "|" + textOf(value) : "null";
    }
    static Value archived(const platform::Value& archive) { return KRContainerArray::initWithCoder(archive); }
};

// The numbers of each value have one order in files and in texts.
TEST_F(Values, HaveOneOrderOfNumbers)
{
    const std::tuple<const char*, const char*, const char*, std::string (*)(const std::string&), const char*>
        types[] = {{"Point2D", "0.5 -7", "(0.5,-7)", bothWays<KRContainerPoint2D>, "\n"},
            {"Range", "-2 4", "[-2,4]", bothWays<KRContainerRange>, "\n"},
            {"Region2D", "0 1 -2 3", "[0,1]x[-2,3]", bothWays<KRContainerRegion2D>, ""},
            {"Region3D", "0 1 2 4 5 8", "[0,1]x[2,4]x[5,8]", bothWays<KRContainerRegion3D>, "\n"},
            {"ShiftScale2D", "1 2 3 4", "Scale by (3,4) then shift by (1,2).",
                bothWays<KRContainerShiftScale2D>, ""},
            {"ShiftScale3D", "1 2 3 4 5 6", "Scale by (4,5,6) then shift by (1,2,3).",
                bothWays<KRContainerShiftScale3D>, ""}};
    for (const auto& [type, numbers, description, both, ending] : types) {
        const std::string text = numbers;
        EXPECT_EQ(both(text), description + ("|" + text) + ending);
        EXPECT_EQ(both(text.substr(0, text.size() - 2)), "null") << type;
        const Value value = ReadingOperations::read(type, *memoryOf("v = [" + text + "]"), "v");
        EXPECT_EQ(described(value), description);
        ASSERT_TRUE(value);
        std::string stored;
        for (const double number :
            numbersOf(dynamic_cast<const KRContainerOfNumbers&>(*value).storedArray().as<double>()))
            stored += fmt::format("{:g} ", number);
        EXPECT_EQ(stored, text + " ");
        EXPECT_FALSE(value->isEqualTo(*ReadingOperations::createEmptyVariableWithType(type))) << type;
    }
    EXPECT_EQ(bothWays<KRContainerPoint3D>("1 2 0.5"), "(1,2,0.5)|1.000000000 2.000000000 0.500000000\n");
    EXPECT_EQ(bothWays<KRContainerArray>("2 1 1 5 6"), "2 x 1 - 5, 6|2 1 1\n5\n6\n");
    EXPECT_EQ(bothWays<KRContainerNumberList>("2\n5\n6\n"), "5, 6|2\n5\n6\n");
    EXPECT_EQ(bothWays<KRContainerNumberList>("0\n"), "No Numbers|0\n");
}

TEST_F(Values, AreEmptyAtFirst)
{
    const std::tuple<const char*, const char*, bool> types[] = {{"Point2D", "Empty", true},
        {"Point3D", "Empty", true}, {"Range", "Empty", true}, {"Region2D", "Empty", true},
        {"Region3D", "Empty", true}, {"ShiftScale2D", "Identity mapping.", false},
        {"ShiftScale3D", "Identity mapping.", false}, {"Transform2D", "Empty", true},
        {"Transform3D", "Empty", true}, {"Array", "Empty", true}, {"NumberList", "No Numbers", true},
        {"StringList", "No strings", true}};
    for (const auto& [type, description, isEmpty] : types) {
        const auto empty = std::dynamic_pointer_cast<const KRContainer>(
            ReadingOperations::createEmptyVariableWithType(type));
        EXPECT_EQ(described(empty), description);
        EXPECT_EQ(empty->isEmpty(), isEmpty) << type;
        EXPECT_EQ(read(type, "v = []"), description) << type;
        const Value back = saved(empty);
        EXPECT_TRUE(back && back->isEqualTo(*empty)) << type;
        EXPECT_EQ(
            messagesOf([&] { EXPECT_FALSE(empty->returnParameter("none")); }), Names{"Missing parameters"});
    }
    EXPECT_EQ(described(ReadingOperations::createEmptyVariableWithType("Real Number")), "0");
    EXPECT_EQ(described(ReadingOperations::createEmptyVariableWithType("String")), "");
    EXPECT_TRUE(ReadingOperations::createEmptyVariableWithType("Color")->isEqualTo(KRColor(0, 0, 0, 0)));
    EXPECT_FALSE(ReadingOperations::createEmptyVariableWithType("FileName"));
}

TEST_F(Values, ReadWhatFilesHold)
{
    const struct {
        const char* type;
        const char* entries;
        const char* description;
        std::vector<std::string> messages{};
    } cases[] = {
        {"Point2D", "v = w; w = [1 2]", "(1,2)"}, // Redirected.
        {"Point2D", "v = [1 2 3]", "null", {"Error when reading a point, incorrect length stored in file."}},
        {"Point2D", "w = [1 2]", "null"},
        {"Range", "v = [0 0.5]", "[0,0.5]"},
        {"Range", "v = [1 1]", "[1,1]"},
        {"Range", "v = [1000000 1000000.5]", "[1e6,1.0000005e6]"},
        {"Range", "v = [-inf 4]", "[-∞,4]"},
        {"Range", "v = [nan 1]", "Empty"},
        {"Range", "v = [1]", "null", {"Error when reading a range, incorrect length stored in file."}},
        {"Region2D", "v = [0 0 0 0 1 1]", "Empty"},
        {"Region2D", "v = [0 0 0 0 0 0]", "Invalid"},
        {"Region2D", "v = [1 0 0 0 1 1]", "null"},
        {"Region2D", "v = [1]", "null", {"Error when reading a region, incorrect length stored in file."}},
        {"Region2D", "v = [nan 1 0 1]", "null",
            {"Error when reading a region, contained NaN.|One or more of the numbers in the variable \"v\" "
             "had a NaN value"}},
        {"Region2D", "v = [0 inf 0 1]", "null",
            {"Error when reading a region, contained Inf values.|One or more of the numbers in the variable "
             "\"v\" had an Inf value"}},
        {"Region3D", "v = [0 0 0 0 0 0 1 1]", "Empty"},
        {"Region3D", "v = [0 0 0 0 0 0 0 0]", "Invalid"},
        {"Region3D", "v = [1 0 0 0 0 0 1 1]", "null"},
        {"Region3D", "v = [1 2]", "null", {"Error when reading a region, incorrect length stored in file."}},
        {"Region3D", "v = [nan 1 0 2 0 3]", "null",
            {"Error when reading a region, incorrect length stored in file (contained NaN)."}},
        {"ShiftScale2D", "v = [0 0 1 1]", "Identity mapping."},
        {"ShiftScale2D", "v = [1 2 1 1]", "Shift by (1,2)."},
        {"ShiftScale2D", "v = [0 0 3 3]", "Scale by 3"},
        {"ShiftScale2D", "v = [0 0 3 4]", "Scale x by 3, y by 4."},
        {"ShiftScale2D", "v = [1 2 3 3]", "Scale by 3 then shift by (1,2)."},
        {"ShiftScale2D", "v = [1 2 3]", "null"},
        {"ShiftScale3D", "v = [0 0 0 1 1 1]", "Identity mapping."},
        {"ShiftScale3D", "v = [0 0 0 2 2 3]", "Scale x by 2, y by 2, z by 3."},
        {"ShiftScale3D", "v = [1 2 3 4 4 4]", "Scale by 4 then shift by (1,2,3)."},
        {"Transform2D", "v = [1 2 3]", "null"},
        {"Array", "v = [1 2 3 4]", "4 x 1 - 1, 2, 3, 4"},
        {"Array", "v = [1 2 3 4 5]", "5 x 1"},
        {"NumberList", "v = [1 2 3 4 5]", "(# = 5): 1, 2, ..., 4, 5"},
        {"NumberList", "v = [1.5]", "1.5"},
        {"Real Number", "v = 3", "3"},
        {"Real Number", "v = w; w = 3", "3"},
        // Its own parameter.
        {"Point2D", "v = [1 2]; v_prmtrs = 1; v_prmtrs_0_info = Point2D:x; v_prmtrs_0 = v", "(1,2)",
            {"A value is nested too deeply, or contains itself."}},
        {"String", "v = w; w = other", "w"}, // A text is itself.
        {"FileName", "v = /tmp/a.txt", "/tmp/a.txt"},
        {"FileName", "v = [1]", "null"},
        {"Color", "v = [1 2 3]", "null"},
        {"NoType", "v = 1", "null"},
        {"Point2D", "v = w; w = v", "null", {"Circular reference inside datafile."}},
        {"StringList", "v = [97 0]; v_T = UTF8", "null",
            {"Data From stream not saved as a character array.|Entry v is not saved as a char array",
                "Invalid format for a list of strings|Invalid format for a list of strings with name \"v\""}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(std::string(row.type) + ": " + row.entries);
        std::string description;
        const auto messages = messagesOf([&] { description = read(row.type, row.entries); });
        EXPECT_EQ(description, row.description);
        EXPECT_EQ(messages, row.messages);
    }
}

TEST_F(Values, ComeBackFromAFile)
{
    const Transform2D turned = CreateTransform2D(1, 2, 3, 4, 5, 6);
    const std::pair<Value, const char*> values[] = {
        {KRContainerPoint3D::pointX(1, 2, 0.5F), "(1,2,0.5)"},
        {KRContainerRegion2D::createWithBoundingBox(KRBoundingBox2DCreateInvalid()), "Invalid"},
        {KRContainerRegion2D::createWithRect(1, 2, 3, 4), "[1,4]x[2,6]"},
        {KRContainerShiftScale3D::createWithPoint({1, 2, 3}, 1), "Shift by (1,2,3)."},
        {KRContainerTransform2D::createTransform2D(turned), "Rotation, scale and shift"},
        {KRContainerTransform2D::createTransform2D(CreatePerspectiveTransform2D(1, 0, 2, 0, 1, 0, 0, 1)),
            "Perspective"},
        {KRContainerTransform3D::createTransform3D(CreateTransform3D(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12)),
            "Rotation, Scale and Shift"},
        {KRContainerTransform3D::createTransform3D(ScaleTransform3D(1, 2, 3)), "Rotation & Scale"},
        {KRContainerStringList::createWithStrings({"a", "", "ü"}), "3 strings - a,,ü"},
        {KRContainerStringList::createWithStrings({"one"}), "1 string - \"one\""},
        {KRContainerStringList::createWithStrings({std::string(70, 'x')}), "1 string"},
        {KRContainerNumberList::createWithNumber(0.5), "0.5"},
        {std::make_shared<KRString>("text"), "text"},
    };
    for (const auto& [value, description] : values) {
        const Value back = saved(value);
        EXPECT_EQ(described(back), description);
        ASSERT_TRUE(back);
        EXPECT_TRUE(back->isEqualTo(*value)) << description;
        expectRefusalsToBeTold([&](KRDataStorage& storage) { return value->saveIntoFile(storage, "v"); });
    }
    EXPECT_TRUE(saved(std::make_shared<KRColor>(1, 0.5, 0))->isEqualTo(KRColor(1, 0.5, 0)));
    KRDataInMemory storage;
    EXPECT_TRUE(KRContainerTransform2D::createTransform2D(turned)->saveIntoFile(storage, "v"));
    EXPECT_EQ(numbersOf(storage.readDoubleArray("v")), (std::vector<double>{1, 4, 2, 5, 3, 6}));
    EXPECT_EQ(storage.variablesWithPrefix(""), Names{"v"}) << "no parameters, no entries for them";
}

TEST_F(Values, AreDescribedWithoutBeingRead)
{
    KRDataInMemory storage;
    for (const auto& [m, n, o] : {std::tuple(2L, 3L, 4L), {2, 3, 1}, {3, 1, 1}, {1, 1, 1}, {0, 0, 0}})
        storage.writeDoubleArray(
            KRDoubleArrayContainer::createArrayOfSizeM(m, n, o), fmt::format("{}{}{}", m, n, o));
    KRContainerPoint3D::pointX(1, 2, 0.5F)->saveIntoFile(storage, "point");
    KRContainerStringList::createWithStrings({"a"})->saveIntoFile(storage, "one");
    KRContainerStringList::createWithStrings({"a", "b"})->saveIntoFile(storage, "two");
    storage.writeString("234", "reference");
    const std::pair<const char*, std::vector<std::pair<const char*, const char*>>> types[] = {
        {"Array",
            {{"234", "2 x 3 x 4"}, {"231", "2 x 3"}, {"311", "3 x 1"}, {"000", "Empty"}, {"none", "Empty"},
                {"reference", "2 x 3 x 4"}}},
        {"NumberList",
            {{"234", "24 numbers"}, {"111", "1 numbers"}, {"000", "Empty"}, {"none", "Empty"},
                {"reference", "24 numbers"}}},
        {"StringList", {{"one", "1 string"}, {"two", "2 strings"}, {"none", "Empty"}}},
        {"Point3D", {{"point", "(1,2,0.5)"}, {"231", "Invalid"}, {"none", "(Empty)"}}},
        {"Group", {{"none", "Empty"}}}, {"Series", {{"none", "0 times"}}}};
    for (const auto& [type, described] : types)
        for (const auto& [name, description] : described)
            EXPECT_EQ(ReadingOperations::forType(type)->descriptionFor(name, storage), description)
                << type << " " << name;
}

TEST_F(Values, CarryTheirParameters)
{
    const auto range = KRContainerRange::createWithMin(1, 3);
    const auto region = KRContainerRegion2D::createWithRegion({1, 3, 2, 8, 0});
    region->setExtraParameters({{"at", KRContainerPoint2D::pointX(1, 2)}, {"none", nullptr},
        {"how many", KRRealNumber::create(4)}, {"note", std::make_shared<KRString>("a:b")}});
    const Value back = saved(region);
    expectRefusalsToBeTold([&](KRDataStorage& storage) { return region->saveIntoFile(storage, "v"); });
    EXPECT_EQ(parameter(back, "at"), "(1,2)");
    EXPECT_EQ(parameter(back, "how many"), "4");
    EXPECT_EQ(parameter(back, "note"), "a:b");
    EXPECT_EQ(dynamic_cast<const KRContainer&>(*back).extraParameters().size(), 3U);
    EXPECT_EQ(
        read("Point2D", "v = [1 2]; v_prmtrs = 3; v_prmtrs_0_info = x; v_prmtrs_1_info = Point2D:"), "(1,2)");
    EXPECT_EQ(messagesOf([&] {
        EXPECT_EQ(parameter(back, "none"), "null");
        EXPECT_FALSE(region->returnParameter(std::nullopt));
    }),
        (Names{"Missing parameters", "Internal error for returnParameter: nil parameter name."}));
    const auto box = KRContainerRegion3D::createWithRegion({0, 2, 1, 5, 3, 9, 0});
    const auto array =
        KRContainerArray::initWithDataArray(KRDoubleArrayContainer::createArrayOfSizeM(2, 3, 4));
    const std::pair<Value, std::vector<std::pair<const char*, const char*>>> own[] = {
        {range, {{"Left", "1"}, {"Right", "3"}, {"Width", "2"}}},
        {region,
            {{"Origin", "(1,2)"}, {"Center", "(2,5)"}, {"Maximum Point", "(3,8)"}, {"Width", "2"},
                {"Height", "6"}, {"xmin", "1"}, {"xmax", "3"}, {"ymin", "2"}, {"ymax", "8"}}},
        {box,
            {{"Origin", "(0,1,3)"}, {"Center", "(1,3,6)"}, {"Maximum Point", "(2,5,9)"}, {"xmin", "0"},
                {"xmax", "2"}, {"ymin", "1"}, {"ymax", "5"}, {"zmin", "3"}, {"zmax", "9"}}},
        {KRContainerPoint2D::pointX(1, 2), {{"X", "1"}, {"Y", "2"}}},
        {KRContainerPoint3D::pointX(1, 2, 3), {{"X", "1"}, {"Y", "2"}, {"Z", "3"}}},
        {KRContainerPoint2D::createEmpty(), {{"X", "null"}, {"Y", "null"}}},
        {KRContainerPoint3D::createEmpty(), {{"X", "null"}}},
        {KRContainerRegion2D::createEmpty(), {{"Origin", "null"}, {"Width", "null"}}},
        {KRContainerRegion3D::createEmpty(), {{"Center", "null"}, {"zmax", "null"}}},
        {array, {{"Length", "24"}, {"M", "2"}, {"N", "3"}, {"O", "4"}}},
        {KRContainerStringList::createWithStrings({"a", "b"}), {{"Length", "2"}}},
        {KRContainerNumberList::createWithNumber(4), {{"Length", "1"}}}};
    for (const auto& [value, parameters] : own)
        for (const auto& [name, answer] : parameters)
            EXPECT_EQ(parameter(value, name), answer) << value->typeWord() << " " << name;
    EXPECT_NE(range->serialNumber(), region->serialNumber());
    EXPECT_EQ(range->serialNumber(), range->serialNumber());
    const auto other = KRContainerRange::createEmpty();
    EXPECT_TRUE(other->initWithCoder(range->encodeWithCoder()));
    EXPECT_EQ(other->serialNumber(), range->serialNumber());
}

TEST_F(Values, AreMappedAndCropped)
{
    const auto scale = KRContainerShiftScale2D::createWithX(1, 2, 2, 3);
    const auto point = KRContainerPoint2D::pointX(1, 1);
    const auto unit = KRContainerRegion2D::createWithRect(0, 0, 1, 1);
    const auto range = KRContainerRange::createWithMin(1, 3);
    EXPECT_EQ(described(point->scaleWith2D(scale)), "(3,5)");
    EXPECT_EQ(described(point->scaleWith2D(scale)->scaleWith2D(scale->inverse())), "(1,1)");
    EXPECT_EQ(described(point->transform2D(scale->transform2D())), "(3,5)");
    EXPECT_EQ(described(unit->scaleWith2D(KRContainerShiftScale2D::createWithX(0, 0, 2, 3))), "[0,3]x[0,3]");
    EXPECT_EQ(described(unit->scaleWith2D(KRContainerShiftScale2D::createWithX(0, 0, -2))), "[-2,0]x[-2,0]");
    EXPECT_EQ(described(point->cropWith2D(unit)), "(1,1)") << "the border belongs to it";
    for (const auto& [x, y] : {std::pair(1.0, 1.01), {1, -0.01}, {1.01, 0.5}, {-0.01, 0.5}})
        EXPECT_EQ(described(KRContainerPoint2D::pointX(x, y)->cropWith2D(unit)), "Empty") << x << " " << y;
    EXPECT_EQ(described(unit->padBox(0.5)), "[-0.5,1.5]x[-0.5,1.5]");
    EXPECT_EQ(
        described(KRContainerRegion2D::createWithRegion({-INFINITY, 3, 0, INFINITY, 0})), "[-inf,3]x[0,inf]");
    EXPECT_EQ(unit->simplifyAllowingError(1), unit);
    EXPECT_EQ(described(range->unionWithMin(2, 7)), "[1,7]");
    EXPECT_EQ(described(KRContainerRange::createEmpty()->unionWithMin(7, 8)), "[7,8]");
    EXPECT_EQ(described(range->cropWith1D(KRContainerRange::createWithMin(3, 9))), "[3,3]");
    EXPECT_EQ(described(range->cropWith1D(KRContainerRange::createWithMin(4, 9))), "Empty");
    EXPECT_EQ(described(range->cropWith1D(KRContainerRange::createEmpty())), "Empty");
    EXPECT_EQ(described(KRContainerRange::createEmpty()->cropWith1D(range)), "Empty");
    EXPECT_FALSE(point->scaleWith2D(nullptr) || point->cropWith2D(nullptr) || unit->scaleWith2D(nullptr)
        || range->cropWith1D(nullptr) || point->transform2D(nullptr));
    const std::pair<Transform2D, const char*> transforms[] = {
        {CreateTransform2D(1, 0, 0, 0, 1, 0), "Identity"}, {CreateTransform2D(2, 0, 0, 0, 2, 0), "Scale"},
        {CreateTransform2D(2, 0, 0, 0, 3, 0), "Scale each dimension"},
        {CreateTransform2D(1, 1, 0, 0, 1, 0), "Rotation & scale"},
        {CreateTransform2D(1, 0, 0, 1, 1, 0), "Rotation & scale"},
        {CreateTransform2D(2, 0, 1, 0, 2, 0), "Scale and shift"},
        {CreateTransform2D(1, 0, 0, 0, 3, 1), "Scale and shift"},
        {CreateTransform2D(1, 0, 0, 0, 1, 1), "Shift"}};
    for (const auto& [transform, description] : transforms)
        EXPECT_EQ(described(KRContainerTransform2D::createTransform2D(transform)), description);
    EXPECT_EQ(described(KRContainerTransform3D::createTransform3D(CreateIdentityTransform3D())), "Identity");
    const Point2D turned = scale->mapVector({1, 1});
    EXPECT_EQ(turned.x + 10 * turned.y, 32) << "without the shift";
    const Box2D mapped = KRContainerShiftScale2D::createWithX(1, 2, -1, 3)->mapBox({0, 1, 2, 3, 0});
    EXPECT_THAT((std::vector{mapped.xmin, mapped.xmax, mapped.ymin, mapped.ymax}), ElementsAre(0, 1, 8, 11));
    point->setY(4);
    point->setX(3);
    EXPECT_EQ(described(point), "(3,4)");
    EXPECT_EQ(point->boundingBox2D().ymax + point->boundingBox2D().xmin, 7);
    point->setPoint({1, 1});
    const auto space = KRContainerShiftScale3D::createWithPoint({1, 0, 0}, 2, -3, 4);
    const auto corner = KRContainerPoint3D::pointX(1, 1, 1);
    EXPECT_EQ(described(corner->scaleWith3D(space)), "(3,-3,4)");
    EXPECT_EQ(described(KRContainerRegion3D::createWithRegion({0, 1, 0, 1, 0, 1, 0})->scaleWith3D(space)),
        "[1,3]x[-3,0]x[0,4]");
    EXPECT_EQ(described(corner->cropWith3D(KRContainerRegion3D::createWithRegion({0, 1, 0, 1, 0, 0.5, 0}))),
        "Empty");
    EXPECT_EQ(described(corner->scaleWith3D(space)->scaleWith3D(space->inverse())), "(1,1,1)");
    EXPECT_EQ(described(corner->cropWith3D(KRContainerRegion3D::createWithRegion({0, 1, 1, 2, 1, 1, 0}))),
        "(1,1,1)");
    EXPECT_EQ(described(corner->transform3D(KRContainerTransform3D::createTransform3D(
                  CreateTransform3D(1, 0, 0, 1, 0, 2, 0, 2, 0, 0, 3, 3)))),
        "(2,4,6)");
    EXPECT_FALSE(corner->scaleWith3D(nullptr) || corner->cropWith3D(nullptr) || corner->transform3D(nullptr));
    const auto cube = KRContainerRegion3D::createWithRegion({0, 1, 0, 1, 0, 1, 0});
    for (const auto& [x, y, z] :
        {std::tuple(-1, 0, 0), {2, 0, 0}, {0, -1, 0}, {0, 2, 0}, {0, 0, -1}, {0, 0, 2}})
        EXPECT_TRUE(
            KRContainerPoint3D::pointX(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z))
                ->cropWith3D(cube)
                ->isEmpty());
    EXPECT_EQ(described(cube->padBox(1)), "[-1,2]x[-1,2]x[-1,2]");
    EXPECT_TRUE(KRContainerPoint3D::createEmpty()->boundingBox3D().isEmpty);
    const Point3D direction = space->mapVector({1, 1, 1});
    EXPECT_EQ(described(KRContainerPoint3D::createWithPoint(direction)), "(2,-3,4)");
    corner->setX(5);
    corner->setY(6);
    corner->setZ(7);
    EXPECT_EQ(described(corner), "(5,6,7)");
    EXPECT_EQ(corner->numericalPropertyNamed("x") + corner->numericalPropertyNamed("y")
            + corner->numericalPropertyNamed("z") + corner->boundingBox3D().zmin,
        25);
    EXPECT_EQ(messagesOf([&] {
        const auto none = KRContainerPoint2D::createEmpty();
        EXPECT_TRUE(std::isnan(none->x()) && std::isnan(none->point2d().y));
        none->setX(3);
        EXPECT_TRUE(std::isnan(none->y()));
        const auto nowhere = KRContainerPoint3D::createEmpty();
        nowhere->setX(1);
        EXPECT_TRUE(std::isnan(nowhere->z()) && nowhere->isEmpty());
        EXPECT_EQ(space->scale(), 2);
        EXPECT_EQ(point->numericalPropertyNamed("x") + point->numericalPropertyNamed("z"), 2);
        EXPECT_TRUE(std::isnan(point->numericalPropertyNamed("y")));
        EXPECT_EQ(scale->scale(), 2);
        EXPECT_FALSE(KRContainerRange::createWithMin(1, NAN));
        EXPECT_FALSE(KRContainerRegion2D::createWithRegion({1, 0, 0, 1, 0}));
        EXPECT_FALSE(KRContainerRegion2D::createWithRect(0, 0, -1, 1));
    }),
        (Names{"Internal error: Asking an empty 2D point for x coordinate",
            "Internal error: Asking an empty 2D point for the point value",
            "Internal error: Overwriting an empty 2D Point",
            "Internal error: Asking an empty 2D point for y coordinate",
            "Internal error: Overwriting an empty 3D Point",
            "Internal error: Asking an empty 3D point for z coordinate",
            "Scale is not the same in each direction.", "Asking for an invalid extension",
            "For a shift and scale2D: scaleX!=scaleY, but asking for scale.",
            "Internal error|+ (KRContainerRange *)createWithMin:max: called with NaN arguments.",
            "KRContainerRegion2D - (id)initWithBox: Invalid Box2D variable (empty).",
            "Internal error, invalid rect"}));
}

TEST_F(Values, HaveATextForm)
{
    EXPECT_EQ(
        textOf(KRContainerTransform2D::createTransform2D(CreateTransform2D(1, 2, 3, 4, 5, 6))), "1 2 3\n");
    EXPECT_EQ(textOf(KRContainerTransform3D::createTransform3D(CreateIdentityTransform3D())),
        "1 0 0 0\n0 1 0 0\n0 0 1 0\n");
    EXPECT_EQ(messagesOf([] {
        EXPECT_TRUE(fromText<KRContainerNumberList>("-1\n")->isEmpty());
        for (const char* sizes : {"0 1 1", "1 0 1", "1 1 0"})
            EXPECT_TRUE(fromText<KRContainerArray>(sizes)->isEmpty());
        EXPECT_TRUE(fromText<KRContainerArray>("8000 8000 2")->isEmpty());
    }),
        (Names{"Internal error when reading an array from a text file.",
            "Internal error when reading an array from a text file.",
            "Internal error when reading an array from a text file.",
            "Internal error when reading an array from a text file.",
            "Parsing text file: Exceeded an upper bound for array size (500MB), make sure format is "
            "correct."}));
    const ScratchFolder folder;
    const std::string path = folder / "text";
    const auto list = KRContainerNumberList::createWithArray(doubles({1, 2.5}));
    EXPECT_TRUE(list->saveAsAsciiFile(path));
    EXPECT_EQ(readFile(path).value(), "1\n2.5\n");
    EXPECT_EQ(described(KRContainerStringList::createFromFile(path)), "3 strings - 1,2.5,");
    std::filesystem::resize_file(path, 10'000'001);
    EXPECT_EQ(messagesOf([&] { EXPECT_FALSE(KRContainerStringList::createFromFile(path)); }),
        (Names{"File too large|The file \"" + path + "\" is too large (>10MB)."}));
}

TEST_F(Values, ArraysAreCutAndTurned)
{
    const auto numbers = KRDoubleArrayContainer::createArrayOfSizeM(2, 3, 2);
    for (long i = 0; i < 12; ++i)
        numbers->setValue(static_cast<double>(i), i);
    const auto A = KRContainerArray::initWithDataArray(numbers);
    const auto shape = [](const KRContainerArray::Pointer& array) {
        const auto found = array->doubleArray();
        std::string text = fmt::format("{}x{}x{}:", found->m(), found->n(), found->o());
        for (const double number : numbersOf(found))
            text += fmt::format(" {}", number);
        return text;
    };
    EXPECT_EQ(A->description(), "2 x 3 x 2");
    EXPECT_EQ(shape(A->regionI({1, 1}, {1, 2})), "1x2x1: 3 5");
    EXPECT_EQ(shape(A->regionI({0, 1}, {0, 1}, {1, 1})), "1x1x1: 6");
    EXPECT_EQ(shape(A->sparsifyStartX(1, 2, 0, 2)), "1x2x2: 1 5 7 11");
    EXPECT_EQ(shape(A->transformWithType(0)), shape(A));
    EXPECT_EQ(shape(A->transformWithType(3)), "2x3x2: 5 4 3 2 1 0 11 10 9 8 7 6");
    EXPECT_EQ(shape(A->transformWithType(4)), "3x2x2: 0 2 4 1 3 5 6 8 10 7 9 11");
    EXPECT_EQ(shape(A->permuteIKJ()), "2x2x3: 0 1 6 7 2 3 8 9 4 5 10 11");
    EXPECT_EQ(shape(A->permuteReflectJKI()), "3x2x2: 6 8 10 0 2 4 7 9 11 1 3 5");
    EXPECT_EQ(shape(A->sliceAtIGrid(1)), "3x2x1: 1 3 5 7 9 11");
    EXPECT_EQ(shape(A->sliceAtIGrid(0)) + shape(A->sliceAtJGrid(0)) + shape(A->sliceAtKGrid(0)),
        "3x2x1: 0 2 4 6 8 102x2x1: 0 1 6 72x3x1: 0 1 2 3 4 5");
    EXPECT_EQ(shape(A->sliceAtJGrid(2)), "2x2x1: 4 5 10 11");
    EXPECT_EQ(shape(A->sliceAtKGrid(1)), "2x3x1: 6 7 8 9 10 11");
    EXPECT_EQ(messagesOf([&] {
        EXPECT_FALSE(A->sliceAtIGrid(2) || A->sliceAtJGrid(3) || A->sliceAtKGrid(2));
        EXPECT_FALSE(A->regionI({1, 2}, {0, 1}) || A->sparsifyStartX(0, 0, 0, 1) || A->transformWithType(8));
        EXPECT_FALSE(A->shortArray() || A->ucharArray());
        EXPECT_FALSE(A->isEqualTo(*KRContainerNumberList::createWithNumber(1)));
    }),
        (Names{"Out of bounds", "Out of bounds", "Out of bounds", "Out of bounds", "Out of bounds",
            "Not implemented for this type",
            "Asking an array container for a integer array, but this arrays has a different type",
            "Asking an array container for an unsigned character array, but this arrays has a different type",
            "Internal error, not comparing to array, please report"}));
    EXPECT_EQ(A->intArray()->valueAtIndex(11), 11);
    const auto back = KRContainerArray::initWithCoder(A->encodeWithCoder());
    ASSERT_TRUE(back);
    EXPECT_TRUE(back->isEqualTo(*A));
    EXPECT_EQ(back->checksum(), A->checksum());
    EXPECT_EQ(back->serialNumber(), A->serialNumber());
    EXPECT_FALSE(archived({}) || archived(platform::Value::Dictionary{{"Double", 1}})
        || archived(platform::Value::Dictionary{{"Type", "Odd"}, {"Odd", 1}})
        || archived(platform::Value::Dictionary{{"Type", "Float"}, {"Float", 1}}));
    EXPECT_NE(A->checksum(), A->permuteIKJ()->checksum());
    const auto list = KRContainerNumberList::createWithArray(doubles({3, NAN, 1}));
    EXPECT_TRUE(KRContainerNumberList::initWithCoder(list->encodeWithCoder())->isEqualTo(*list));
    EXPECT_EQ(list->numberAtIndex(0) + list->numberAtIndex(2), 4);
    EXPECT_EQ(messagesOf([&] {
        EXPECT_TRUE(std::isnan(list->numberAtIndex(3)) && std::isnan(list->numberAtIndex(-1)));
    }),
        (Names{"Out of bounds", "Out of bounds"}));
    EXPECT_EQ(KRContainerNumberList::createWithArray(doubles({1, 2, 3, 4}))->description(), "1, 2, 3, 4");
    const auto words = KRContainerStringList::createWithStrings({"a", "bc"});
    EXPECT_EQ(words->stringAtIndex(1) + words->strings()[0], "bca");
    EXPECT_FALSE(words->isEqualTo(*KRContainerStringList::createWithStrings({"a", "bd"}))
        || words->isEqualTo(*KRContainerStringList::createWithStrings({"abc"})) || words->isEqualTo(*list));
    list->setSavingType(ElementType::Float);
    EXPECT_EQ(list->minimumValue(), 1);
    EXPECT_EQ(list->maximumValue(), 3);
    KRDataInMemory storage;
    EXPECT_TRUE(list->saveIntoFile(storage, "v"));
    EXPECT_TRUE(storage.isAFloatArray("v"));
}

} // namespace
} // namespace variablestest
