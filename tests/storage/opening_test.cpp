// How a file finds its class, and what is told when it can't be opened or made.

#include "storage_testing.h"

#include "platform/files/Places.h"
#include "storage/stacks/KRDataFileStack.h"

#include <sys/stat.h>

namespace storagetest {
namespace {

struct Opening : testing::Test {
    ScratchFolder folder;
};

std::string typeOf(const File& file)
{
    return file ? file->dataFileType().value_or("?") : "none";
}

TEST_F(Opening, TheEndingTellsTheClass)
{
    const std::pair<const char*, const char*> endings[] = {{"a.svbin", "SVBinary"}, {"a.mat", "MatBinary"},
        {"a.ascii", "Ascii"}, {"a.svascii", "Ascii"}, {"a.svdata", "DataFileStack"}, {"a.other", "SVBinary"},
        {"a", "SVBinary"}};
    for (const auto& [name, type] : endings) {
        SCOPED_TRACE(name);
        EXPECT_EQ(typeOf(KRDataFile::openNewFileWithName(folder / name)), type);
        if (std::string(name).find('.') == 1 && std::string(name) != "a.other") {
            store(folder / name, "");
            messagesOf([&] { EXPECT_EQ(typeOf(KRDataFile::openFileName(folder / name)), type); });
        }
    }
    // A missing file with a known ending is made.
    EXPECT_EQ(typeOf(KRDataFile::openFileName(folder / "x/../made.svbin")), "SVBinary");
    EXPECT_EQ(contentOf(folder / "made.svbin"), "");
    // The whole ending counts, not the last extension.
    EXPECT_EQ(KRDataFile::nameOfIndexFor("/a.b/c.svbin"), "/a.b/c.index");
    EXPECT_EQ(KRDataFile::nameOfIndexFor("/a.b/c"), "/a.b/c.index");
    EXPECT_EQ(KRDataFile::nameOfIndexFor("/a.b/.c"), "/a.b/.c.index");
}

TEST_F(Opening, TheFirstBytesTellTheClassOtherwise)
{
    const std::string path = folder / "x.data";
    const std::string invalid = "The file \"" + path + "\" has an invalid format.";
    const auto header = [](std::vector<std::int32_t> fields) {
        return bytesOfNumbers(fields) + std::string("a\0", 2);
    };
    const std::string other = "The file \"x.data\" has incorrect format";
    const std::tuple<std::string, Names, std::vector<std::string>> cases[] = {
        {"none", {}, {""}},
        {"Ascii", {}, {"a\nNumber\n1\nbc\nNumber\n2\n", "gr\xC3\xBC\x6E\nNumber\n1\nbc\nNumber\n2\n"}},
        {"SVBinary", {other}, {"Sorvanta is no magic"}},
        {"MatBinary", {other}, {header({1000, 1, 1, 0, 2})}}, // Of the other order, by its bytes.
        // 19 bytes are too few, 0x9F is a control, and the order of this machine isn't known without an
        // ending.
        {"none", {invalid},
            {"a\nNumber\n1\n", "gr\xC3\xB6\xC3\x9F\x65\nNumber\n1\nbc\nNumber\n2\n",
                "a\tb\nNumber\n1\nbc\nNumber\n2\n", header({0, 1, 1, 0, 2}), header({1000, 1, 1, 0, 0}),
                header({1000, -1, 1, 0, 2}), header({1000, 1, -1, 0, 2}), header({1000, 1, 1, 1, 2}),
                header({1003, 1, 1, 0, 2}), header({2000, 1, 1, 0, 2})}},
    };
    for (const auto& [type, wanted, contents] : cases)
        for (const std::string& bytes : contents) {
            SCOPED_TRACE(testing::PrintToString(bytes));
            store(path, bytes);
            std::string found;
            EXPECT_EQ(messagesOf([&] { found = typeOf(KRDataFile::openFileName(path)); }), wanted);
            EXPECT_EQ(found, type);
        }
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(KRDataFile::openFileName(folder / "missing")); }),
        ElementsAre("Could not open the file \"" + (folder / "missing") + "\"."));
}

TEST_F(Opening, TellsWhyAFileCannotBeMade)
{
    std::filesystem::create_directory(folder / "folder.svbin");
    store(folder / "file", "text");
    ::mkfifo((folder / "pipe.svbin").c_str(), 0666);
    const std::string parent = std::filesystem::path(folder / "x").parent_path();
    const std::string tooLong = std::string(300, 'x') + ".svbin";
    // The text behind the file's own name.
    const std::tuple<std::string, std::string, std::string> causes[] = {
        {"folder.svbin", "Wanted to create", ", but there is a directory with the same name in that place."},
        {"file/x.svbin", "Could not create",
            ". The problem is that \"" + (folder / "file") + "\" is a file and not a directory."},
        {"pipe.svbin", "Wanted to empty",
            ", but could not. Make sure you own that file and can overwrite it."},
        {tooLong, "Could not create",
            ". but could not. Make sure that you can create a file inside the directory \"" + parent + "\"."},
        {"a/b/c/x.svbin", "Wanted to create",
            ", but could not. The first directory in the file path that doesn't exist is \"a\" in the \""
                + parent + "\" directory."},
    };
    for (const auto& [name, start, end] : causes) {
        const std::string path = folder / name;
        EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(KRDataFile::openNewFileWithName(path)); }),
            ElementsAre(
                "Could not create the file \"" + path + "\"|" + start + " the file \"" + path + "\"" + end));
    }
}

TEST_F(Opening, AHostileStructureGivesAnEmptyFile)
{
    using platform::Value;
    for (const Value& bad : {Value(), Value("SVBinary"), Value(Value::Dictionary{{"Type", "Other"}}),
             Value(Value::Dictionary{{"Type", 7}})})
        EXPECT_EQ(messagesOf([&] { EXPECT_FALSE(KRDataFile::createFromStructure(bad)); }),
            Names{"Internal error: Unexpected data file type in createFromStructure"});
    store(folder / "x.svbin", kMagic + nativeBytes({"a", 1, 2, 1, 1, raw(1.0) + raw(2.0)}));
    const auto good = opened(folder / "x.svbin")->structure();
    const Value entry =
        Value::Dictionary{{"O", INT64_MAX}, {"m", INT_MAX}, {"n", INT_MAX}, {"o", INT_MAX}, {"F", 0}};
    const Value values[] = {
        -1, INT64_MAX, 1.5, "text", Value::Array{1, 2}, entry, Value::Dictionary{{"a", entry}, {"b", 7}}};
    for (const auto& [key, old] : *good.dictionary())
        for (const Value& value : values)
            for (const char* type : {"SVBinary", "MatBinary", "Ascii", "DataFileStack"}) {
                auto bad = good;
                bad.mutableDictionary()[key] = value;
                if (key != "Type")
                    bad.mutableDictionary()["Type"] = type;
                messagesOf([&] {
                    const auto file = KRDataFile::createFromStructure(bad);
                    if (!file)
                        return;
                    file->updateFile();
                    for (const std::string& name : file->variablesNames()) {
                        EXPECT_LE(file->getSizeOfVariable(name)->m, static_cast<unsigned>(INT_MAX));
                        file->readDoubleArray(name);
                        file->readRawString(name);
                    }
                    EXPECT_FALSE(file->readDoubleArray("b"));
                });
            }
}

TEST_F(Opening, AnIndexMadeOnDemandLivesWithItsContainer)
{
    const auto file = KRDataFile::openNewFileWithName(folder / "x.svbin");
    file->writeNumber(StorageNumber(1.0), "n");
    EXPECT_FALSE(file->indexFileUpToDate());
    const auto given = KRContainerFileName::createWithName(folder / "given.index");
    file->createIndexFile(given);
    EXPECT_EQ(file->indexFileContainer(), given);
    // The file is listed from the index that it is opened with.
    const auto named = KRDataFile::openFileName(folder / "x.svbin", nullptr, given);
    EXPECT_EQ(named->variablesNames(), Names{"n"});
    EXPECT_EQ(named->indexFileContainer(), given);
    EXPECT_THAT(messagesOf([&] { file->createIndexFile(nullptr); }), IsEmpty());
    // Without one, it gets a temporary one.
    static const ScratchFolder places; // The service keeps its folder for the rest of the process.
    platform::Places::setRoot(places / "");
    KRContainerFileName::initializeTemporary();
    auto temporary = opened(folder / "x.svbin")->createIndexFileContainerIfNeeded();
    ASSERT_TRUE(temporary && temporary->isTemporaryFile());
    EXPECT_EQ(contentOf(temporary->fileName()), contentOf(folder / "given.index"));
    const std::string name = temporary->fileName();
    temporary.reset();
    EXPECT_FALSE(std::filesystem::exists(name));
    const auto container = KRContainerFileName::createWithName(folder / "x.svbin");
    EXPECT_EQ(KRDataFile::openFileContainer(container)->fileContainer(), container);
}

} // namespace
} // namespace storagetest
