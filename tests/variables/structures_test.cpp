#include "platform/files/Places.h"
#include "variables/reading/ReadingOperations.h"
#include "variables/structures/BuiltInTypes.h"
#include "variables/structures/KRVariableModulesPref.h"
#include "variables/structures/TypeCodes.h"
#include "variables_testing.h"

namespace variablestest {
namespace {

Structure plain(const char* type)
{
    return KRVariableStructure::createWithType(type);
}

Structure group(KRVariableStructure::Names names, KRVariableStructure::Types types)
{
    return KRVariableStructure::createWithGroupNames(std::move(names), std::move(types));
}

Structure table(KRVariableStructure::Names names, KRVariableStructure::Types types)
{
    return KRVariableStructure::createWithTableNames(std::move(names), std::move(types));
}

Structure series(const Structure& element)
{
    return KRVariableStructure::createSeriesWithType(element);
}

// One of each kind, inside of each other.
Structure everything()
{
    return group({"path", "values", "inner", "when"},
        {plain("Path2D"), table({"a", "b"}, {plain("NumberList"), plain("StringList")}),
            group({"empty", "none"}, {plain("Group"), plain("Table")}),
            series(group({"x"}, {series(plain("Real Number"))}))});
}

TEST(VariableStructure, IsDescribedLevelByLevel)
{
    EXPECT_EQ(shown(plain("Path2D")), "Path2D");
    EXPECT_EQ(plain("Path2D")->desriptionWithIndentation("  "), "Path2D\n");
    EXPECT_EQ(shown(plain("Group")), "Group (empty)");
    EXPECT_EQ(shown(plain("Table")), "Table (empty)");
    EXPECT_EQ(shown(plain("Series")), "Series of (nothing)");
    EXPECT_EQ(shown(everything()),
        "Group\n    path = Path2D\n"
        "    values = Table\n        a = NumberList\n        b = StringList\n    inner = Group\n"
        "        empty = Group (empty)        none = Table (empty)"
        "    when = Series of Group\n"
        "            x = Series of Real Number\n");
}

TEST(VariableStructure, ComesBackFromItsDescription)
{
    const auto memory = std::make_shared<KRDataInMemory>();
    EXPECT_TRUE(everything()->saveDescriptionAs("B", *memory));
    EXPECT_EQ(shown(KRVariableStructure::groupStructureFromName("B", *memory)),
        "Group\n    path = Path2D\n    values = Table\n        a = NumberList\n        b = StringList\n"
        "    inner = Group (empty)    when = Series of Group\n            x = Series of Real Number\n")
        << "a group or table without entries has no structure and is left out";
    EXPECT_EQ(memory->readNumber("B_N")->doubleValue(), 4);
    EXPECT_EQ(memory->readRawString("B_4T_type_1N"), "x");
    EXPECT_EQ(memory->readRawString("B_4T_type_1T_type"), "Real Number");
}

TEST(VariableStructure, ReadsAsMuchOfAGroupAsIsThere)
{
    const struct {
        const char* entries;
        const char* group;
        Names messages = {};
    } cases[] = {
        {"B_1N = a; B_1T = Path2D", "null"},
        {"B_N = 0; B_1N = a; B_1T = Path2D", "null"},
        {"B_N = -1; B_1N = a; B_1T = Path2D", "null"},
        {"B_N = nan; B_1N = a; B_1T = Path2D", "null"},
        {"B_N = 2e9; B_1N = a; B_1T = Path2D", "Group\n    a = Path2D\n"},
        {"B_N = 2", "Group (empty)"},
        {"B_N = 1; B_1N = a; B_1T = 65", "Group (empty)"},
        // The second of three names is missing.
        {"B_N = 3; B_1N = a; B_1T = Path2D; B_2T = Path2D; B_3N = c; B_3T = Path2D",
            "Group\n    a = Path2D\n"},
        // The older names of types.
        {"B_N = 2; B_1N = a; B_1 = Path2D; B_2N = s; B_2 = Series; B_2_type = Point2D",
            "Group\n    a = Path2D\n    s = Series of Point2D\n"},
        // Entries without a description are left out.
        {"B_N = 2; B_1N = a; B_1T = Group; B_2N = b; B_2T = Path2D", "Group\n    b = Path2D\n"},
        {"B_N = 1; B_1N = a; B_1T = Series", "Group (empty)",
            {"Internal error, invalid variable structure definition"}},
    };
    for (const auto& stored : cases) {
        SCOPED_TRACE(stored.entries);
        const auto memory = memoryOf(stored.entries);
        EXPECT_EQ(messagesOf([&] {
            EXPECT_EQ(shown(KRVariableStructure::groupStructureFromName("B", *memory)), stored.group);
        }),
            stored.messages);
    }
}

TEST(VariableStructure, OfAVariableFollowsItsAnnouncement)
{
    const auto memory = memoryOf("Seq_path = Path2D; Seq_code = 1; Seq_t = Table; SeqInfo_t_N = 1; "
                                 "SeqInfo_t_1N = a; SeqInfo_t_1T = NumberList");
    EXPECT_THAT(messagesOf([&] {
        for (const auto& [name, structure] : {std::pair("path", "Path2D"), {"code", "null"},
                 {"missing", "null"}, {"t", "Table\n    a = NumberList\n"}})
            EXPECT_EQ(shown(KRVariableStructure::readVariableStructureFor(name, *memory)), structure);
    }),
        IsEmpty());
}

// Answers every question for a text with the same one: the deepest structure that there can be.
class Endless : public KRDataStorage {
public:
    explicit Endless(std::string word) : word_(std::move(word)) { }
    bool contains(const std::optional<std::string>&) override { return true; }
    bool isAString(const std::string&) override { return true; }
    std::optional<Size> getSizeOfVariable(const std::string&) override { return Size{1, 5, 1}; }
    std::optional<std::string> readRawString(const std::string&) override { return word_; }
    std::optional<StorageNumber> readNumber(const std::string&) override { return StorageNumber(1.0); }
    const std::string word_;
};

TEST(VariableStructure, RefusesAnEndlessOne)
{
    for (const char* word : {"Series", "Group", "Table"}) {
        SCOPED_TRACE(word);
        Endless storage(word);
        EXPECT_THAT(messagesOf([&] { KRVariableStructure::readVariableStructureFor("v", storage); }),
            ElementsAre(HasSubstr("nested too deeply")));
    }
    int levels = -1;
    EXPECT_THAT(messagesOf([&] {
        for (Structure deep = plain("Path2D"); deep; deep = series(deep))
            ++levels;
    }),
        ElementsAre("A variable structure is nested too deeply."));
    EXPECT_EQ(levels, KRVariableStructure::kMostNesting);
}

TEST(VariableStructure, IsEqualByKindAndParts)
{
    const std::vector<Structure> different{plain("Path2D"), plain("Point2D"), plain("Group"), plain("Table"),
        plain("Series"), series(plain("Path2D")), series(plain("Point2D")), group({"a"}, {plain("Path2D")}),
        group({"b"}, {plain("Path2D")}), group({"a"}, {plain("Point2D")}), table({"a"}, {plain("Path2D")}),
        table({"a", "b"}, {plain("Path2D"), plain("Path2D")}),
        table({"b", "a"}, {plain("Path2D"), plain("Path2D")}), group({"Path2D"}, {plain("Path2D")}),
        everything()};
    for (const auto& a : different) {
        EXPECT_FALSE(a->isEqual(nullptr));
        for (const auto& b : different)
            EXPECT_EQ(a->isEqual(b), &a == &b) << shown(a) << "\n" << shown(b);
    }
    EXPECT_TRUE(everything()->isEqual(everything()));
}

TEST(VariableStructure, AnswersAndReportsWrongQuestions)
{
    const Structure it = plain("Path2D");
    Names wrong;
    for (const auto& [question, kind] : {std::pair("seriesType", "Series"), {"groupNames", "Group"},
             {"groupTypes", "Group"}, {"typeForGroupName", "Group"}, {"tableNames", "Table"},
             {"tableTypes", "Table"}, {"typeForTableName", "Table"}})
        wrong.push_back(fmt::format("Calling {} for a variableStructure that is not a {}", question, kind));
    wrong.emplace_back("Internal, in typeForTableName an unexpected table name.");
    EXPECT_EQ(messagesOf([&] {
        EXPECT_FALSE(it->seriesType());
        EXPECT_TRUE(it->groupNames().empty() && it->groupTypes().empty());
        EXPECT_FALSE(it->typeForGroupName("a"));
        EXPECT_TRUE(it->tableNames().empty() && it->tableTypes().empty());
        EXPECT_FALSE(it->typeForTableName("a"));
        EXPECT_FALSE(table({"a"}, {it})->typeForTableName("b"));
    }),
        wrong);
    EXPECT_EQ(group({"b", "a"}, {plain("Group"), it})->typeForGroupName("a"), it);
    EXPECT_EQ(group({"a", "a"}, {plain("Group"), it})->typeForGroupName("a"), it);
    EXPECT_EQ(table({"b", "a"}, {plain("Group"), it})->typeForTableName("a"), it);
    EXPECT_EQ(series(it)->seriesType(), it);
    EXPECT_FALSE(series(nullptr)->seriesType() || group({"b"}, {it})->typeForGroupName("c"));
    EXPECT_TRUE(group({"g"}, {group({"s"}, {series(it)})})->groupContainsSeries());
    EXPECT_FALSE(group({"t"}, {table({"s"}, {series(it)})})->groupContainsSeries());
    EXPECT_FALSE(series(it)->groupContainsSeries());
}

TEST(VariableStructure, RefusesWhatIsNoStructure)
{
    const Structure it = plain("Path2D");
    EXPECT_EQ(messagesOf([&] {
        EXPECT_FALSE(KRVariableStructure::createWithType({}));
        EXPECT_FALSE(KRVariableStructure::createWithType(7));
        EXPECT_FALSE(group({"a"}, {}));
        EXPECT_FALSE(group({"a"}, {nullptr}));
        EXPECT_FALSE(table({}, {it}));
        EXPECT_FALSE(table({"a", "b"}, {it, nullptr}));
        EXPECT_EQ(shown(KRVariableStructure::createSeriesWithType("Path2D")), "Series of Path2D\n");
    }),
        (Names{"Internal error, invalid variable structure definition", "Wrong type (needs to be a string)",
            "Internal error, invalid group structure definition",
            "Internal error, invalid type in group structure definition",
            "Internal error, invalid table structure definition",
            "Internal error, invalid type in table structure definition", "Invalid series type definition"}));
}

TEST(VariableStructure, HasAnOwnNameInTheLibrary)
{
    const auto nameOf = [](const Structure& it) { return it->SVSourceTypeName().value_or("none"); };
    for (const auto& [type, own, ofSeries] :
        {std::tuple("Path2D", "SVPath2D", "SVSeriesPath2D"),
            {"Real Number", "SVRealNumber", "SVSeriesRealNumber"},
            {"Array", "SVDoubleArray", "SVSeriesArray"}, {"NumberList", "SVNumberList", "SVSeriesNumberList"},
            {"Nonsense", "none", "none"}, {"Series", "none", "none"}}) {
        EXPECT_EQ(nameOf(plain(type)), own);
        EXPECT_EQ(nameOf(series(plain(type))), ofSeries);
    }
}

TEST(ReadingOperations, FindTheReaderOfAType)
{
    static std::string asked;
    ReadingOperations::add({.type = "test", .read = [](KRDataStorage&, const std::string& name) {
                                asked += name;
                                return ReadingOperations::Value();
                            }});
    const auto memory = memoryOf("v = w; w = 1");
    ReadingOperations::read("test", *memory, "v");
    KRDataStorageSharedReadWrite::createWithDataFile(memory.get())->readType("test", "v");
    EXPECT_EQ(asked, "vw") << "a shared reading follows references itself";
    EXPECT_FALSE(ReadingOperations::read("unknown", *memory, "v"));
    EXPECT_FALSE(ReadingOperations::createEmptyVariableWithType("test"));
    EXPECT_THAT(ReadingOperations::types(), testing::Contains("test"));
}

TEST(TypeCodes, NameTheirTypesAndNoOthers)
{
    Names named;
    for (int code = -2; code <= 40; ++code)
        if (variables::typeForCode(code) != "Unknown")
            named.push_back(std::to_string(code) + " " + variables::typeForCode(code));
    EXPECT_THAT(named,
        ElementsAre("1 Path2D", "2 Path3D", "3 Surface", "5 Mesh2D", "6 Mesh3D", "7 VectorCollection2D",
            "8 VectorCollection3D", "10 Bitmap2D", "11 String", "12 Point2D", "13 Point3D", "14 Vector2D",
            "15 Vector3D", "20 Vectorfield2D", "21 VectorField3D", "22 Real Number", "28 PointCollection2D"));
    for (const double code : {1e300, -1e300, double{NAN}, double{INFINITY}})
        EXPECT_EQ(variables::typeForCode(code), "Unknown");
    EXPECT_EQ(variables::typeForCode(22.9), "Real Number");
}

// The types of the program, from resources that a test writes.
class TypeRegistry : public testing::Test {
protected:
    void store(const std::string& name, const std::string& dictionary) const
    {
        storagetest::store(folder / name,
            "<?xml version=\"1.0\"?>\n<plist version=\"1.0\">\n" + dictionary + "\n</plist>\n");
    }
    KRVariableModulesPref::Pointer registry() const
    {
        return KRVariableModulesPref::createFromFolder(folder / "");
    }
    ScratchFolder folder;
};

TEST_F(TypeRegistry, OfTheProgramHoldsEveryBuiltInType)
{
    EXPECT_THAT(messagesOf([] {
        const auto shipped = KRVariableModulesPref::createFromFolder(platform::Places::resources());
        EXPECT_EQ(shipped->allVariableTypes().size(), std::size(variables::kBuiltInTypes));
        for (const auto& [type, interfaceName] : variables::kBuiltInTypes) {
            EXPECT_TRUE(shipped->isAVariableType(type)) << type;
            EXPECT_EQ(shipped->interfaceNameForType(std::string(type)), interfaceName);
            EXPECT_EQ(shipped->typeForInterfaceName(interfaceName), type);
        }
        EXPECT_EQ(shipped->variableInformation().find("Path2D")->textFor("DataType"), "SVPath2D");
        EXPECT_EQ(shipped->checkIfTypeChanged("RealNumber"), "Real Number");
    }),
        IsEmpty());
}

TEST_F(TypeRegistry, FollowsItsResources)
{
    store("TypeNames.plist",
        "<dict><key>beta</key><string>The B</string><key>Alpha</key><string>The A</string>"
        "<key>PrismMesh3D</key><string>Mesh</string><key>Gamma</key><string>3D Prizm Mesh</string></dict>");
    store("ChangedVariableModules.plist",
        "<dict><key>old</key><string>beta</string><key>older</key><dict><key>NewVariableTypeName</key>"
        "<string>Alpha</string></dict><key>odd</key><integer>3</integer><key>odder</key><dict/></dict>");
    EXPECT_THAT(messagesOf([&] {
        const auto types = registry();
        EXPECT_THAT(types->allVariableTypes(), ElementsAre("Alpha", "beta", "Gamma", "PrismMesh3D"));
        for (const auto& [shown, type] : {std::pair("The B", "beta"), {"3D Prizm Mesh", "PrismMesh3D"},
                 {"3D Prizm Grid", "PrismGrid3D"}, {"3D Prizm Vector Field", "PrismVectorField3D"}})
            EXPECT_EQ(types->typeForInterfaceName(shown), type);
        EXPECT_EQ(types->typeForInterfaceName("beta"), std::nullopt);
        EXPECT_EQ(types->interfaceNameForType("Alpha"), "The A");
        EXPECT_EQ(types->interfaceNameForType("none"), "none");
        for (const auto& [old, present] : {std::pair("old", "beta"), {"older", "Alpha"}, {"odd", "odd"},
                 {"odder", "odder"}, {"new", "new"}})
            EXPECT_EQ(types->checkIfTypeChanged(old), present);
        EXPECT_TRUE(types->variableInformation().dictionary()->empty());
        store("ExternalProgramVarDefinitions.plist",
            "<dict><key>beta</key><dict><key>boundingBox2D</key><true/><key>valueRange</key><false/></dict></"
            "dict>");
        EXPECT_TRUE(registry()->respondsTo("boundingBox2D", "beta"));
        EXPECT_FALSE(registry()->respondsTo("valueRange", "beta") || registry()->respondsTo("x", "beta")
            || types->respondsTo("boundingBox2D", "beta"));
    }),
        IsEmpty());
}

TEST_F(TypeRegistry, TellsTheLineOfAFaultAndGoesOn)
{
    const std::string types = "TypeNames.plist";
    for (const auto& [name, content, reason] :
        {std::tuple(types, "<dict>\n<key>a</key><string>A</string>\n<key>b</key><integer>1</integer></dict>",
             "can't be used: line 5: the interface name of \"b\" isn't a text"),
            {types, "<dict>\n<key>a</key>\n<strin>A</strin></dict>", "can't be read: line 5: "},
            {types, "<array/>", "can't be used: line 1: the list isn't a dictionary"},
            {"ChangedVariableModules.plist", "<dict>\n<key>", "can't be read: line "},
            {"ExternalProgramVarDefinitions.plist", "<array/>", "can't be used: line 1: the list isn't"}}) {
        SCOPED_TRACE(content);
        store(types, "<dict><key>Path2D</key><string>Path</string></dict>");
        store(name, content);
        EXPECT_THAT(messagesOf([&] {
            const auto found = registry();
            EXPECT_TRUE(found->isAVariableType("Path2D"));
            EXPECT_FALSE(found->isAVariableType("a"));
        }),
            ElementsAre(HasSubstr(name + " " + reason)));
        std::filesystem::remove(folder / name);
    }
    std::filesystem::remove(folder / types);
    EXPECT_THAT(messagesOf([&] { EXPECT_TRUE(registry()->isAVariableType("Range")); }),
        ElementsAre(HasSubstr("TypeNames.plist is missing")));
}

} // namespace
} // namespace variablestest
