#include "storage_testing.h"

#include "datafile/SVDataFileIndex.h"

#include <sys/resource.h>
#include <unistd.h>

namespace storagetest {
namespace {

std::shared_ptr<KRDataFileBinary> newNative(const std::string& path)
{
    return KRDataFileBinary::createNewFileWithName(path);
}

std::shared_ptr<KRDataFileBinary> native(const std::string& path)
{
    return std::dynamic_pointer_cast<KRDataFileBinary>(opened(path));
}

KRDataFile::FileName indexAt(const std::string& path)
{
    return KRContainerFileName::createWithName(path);
}

struct NativeFile : testing::Test {
    ScratchFolder folder;
    const std::string path = folder / "x.svbin";
};

// A file as the library writes it: an array of each type, a matrix, a text and a number.
void writeByLibrary(const std::string& path, SVFile::Endian order, bool indexBlock)
{
    SVDataFile file(SVFile(path, order, SVFile::NewReadWrite));
    const auto save = [&](auto... types) {
        (file.Save(svtest::counting<decltype(types)>(2), std::to_string(static_cast<int>(types))), ...);
    };
    using UChar = unsigned char;
    save(
        0.0, 1.0F, std::int32_t(2), std::int16_t(3), std::uint16_t(4), static_cast<signed char>(5), UChar(6));
    file.Save(svtest::counting<double>(2, 3), "d");
    file.Save("text", "t");
    file.Save(2.5, "number");
    if (indexBlock)
        file.SaveIndex();
}

TEST_F(NativeFile, WritesTheBytesOfTheFormat)
{
    const auto file = newNative(path);
    EXPECT_TRUE(file->writeDoubleArray(doubles({1, 0.5}), "x") && file->writeString("Hi", "t")
        && file->writeIntArray(shaped<std::int32_t>({}, 0, 5), "e") && file->writeDataBlock({7, 8}, "b"));
    const std::string wanted = kMagic + nativeBytes({"x", 1, 2, 1, 1, raw(1.0) + raw(0.5)})
        + nativeBytes({"t", 20, 1, 2, 1, "Hi"}) + nativeBytes({"e", 8, 0, 0, 0, ""})
        + nativeBytes({"b", 11, 2, 1, 1, "\x07\x08"});
    EXPECT_EQ(contentOf(path), wanted);
    EXPECT_EQ(file->fileSizeInBytes(), wanted.size());
    EXPECT_EQ(file->locationOfDataFor("x"), 54U);
    EXPECT_EQ(file->locationOfDataFor("missing"), 0U);
}

// Each way to find the content gives the same variables as the library has written, in both byte orders.
TEST_F(NativeFile, ReadsWhatTheLibraryWrote)
{
    for (const auto order : {SVFile::LittleEndian, SVFile::BigEndian})
        for (const bool indexBlock : {false, true})
            for (const bool indexFile : {false, true}) {
                SCOPED_TRACE(testing::Message() << order << indexBlock << indexFile);
                writeByLibrary(path, order, indexBlock);
                ::unlink((folder / "x.index").c_str());
                if (indexFile)
                    native(path)->createIndexFile(indexAt(folder / "x.index"));
                std::shared_ptr<KRDataFileBinary> file;
                EXPECT_THAT(messagesOf([&] { file = native(path); }), IsEmpty());
                // A block is no variable where it serves as the index.
                const bool listsBlock = indexBlock && order == SVFile::BigEndian;
                EXPECT_EQ(file->variablesNames().size(), listsBlock ? 11U : 10U);
                EXPECT_EQ(shown(*file, "d") + shown(*file, "number"), "2x3x1: 0 1 2 3 4 52.5");
                EXPECT_EQ(file->readRawString("t"), "text");
                for (int type = 0; type < kElementTypeCount; ++type) {
                    const std::string name = std::to_string(type);
                    EXPECT_EQ(file->readNativeArray(name).type(), static_cast<ElementType>(type));
                    EXPECT_TRUE(file->readArrayOfType(static_cast<ElementType>(type), name));
                    EXPECT_EQ(shown(*file, name), "2x1x1: 0 1");
                    EXPECT_EQ(file->savedAsFloat(name), type == 1);
                }
            }
}

TEST_F(NativeFile, TheLibraryReadsWhatItWrote)
{
    for (const bool indexBlock : {false, true}) {
        const auto file = newNative(path);
        file->writeDoubleArray(shaped(counted<double>(24), 2, 3, 4), "d");
        file->writeUShortArray(containerOf<std::uint16_t>({65535, 1}), "us");
        file->writeString("größe", "t");
        file->writeString("", "empty");
        if (indexBlock)
            file->addIndexBlock();
        EXPECT_EQ(KRDataFileBinary::fileEndsWithAnIndex(path), indexBlock);
        EXPECT_THAT(svtest::reportsOf([&] {
            const SVDataFile library(path, SVFile::ReadOnly);
            EXPECT_EQ(library.AllVariableNames().size(), 4U);
            EXPECT_EQ(library.ReadDoubleArray("d")(1, 2, 3), 24);
            EXPECT_EQ(library.ReadIntArray("us")(0), 65535);
            EXPECT_EQ(library.ReadString("t") + library.ReadString("empty"), "größe");
        }),
            IsEmpty());
    }
    EXPECT_FALSE(KRDataFileBinary::fileEndsWithAnIndex(folder / "missing"));
}

// What the two readers of the format decide differently, row by row of the table.
TEST_F(NativeFile, DiffersFromTheLibraryAsTheTableTellsAndRefusesTheMagicOfNoFormat)
{
    const std::string a = nativeBytes({"a", 1, 1, 1, 1, raw(1.0)});
    const std::string later = nativeBytes({"z", 1, 1, 1, 1, raw(2.0)});
    const std::string longName(255, 'n');
    std::string withoutName = nativeBytes({"", 1, 1, 1, 1, raw(1.0)});
    withoutName[24] = 0;
    const std::string error = "The file \"x.svbin\" has a format error in entry number 2.";
    // The entry, how many entries the library and the application list, and the application's report.
    const std::tuple<std::string, std::size_t, std::size_t, std::string> cases[] = {
        {nativeBytes({"r", 5, 1, 1, 1, raw(1.0)}), 3, 2,
            "Ran into problems reading the file (Incorrect type)."},
        {withoutName, 3, 1, error + " Name field had length 0."},
        {nativeBytes({longName, 1, 1, 1, 1, raw(1.0)}), 1, 1, error + " Name field had length 256."},
        {nativeBytes({"s", 1, 1, 1, 1, raw(1.0) + "12345678"}), 3, 1, error}, // Not the data's size.
        {nativeBytes({"s", 1, 1, 1, 1, "", -30}), 1, 1, error},
        {nativeBytes({"s", 1, -1, -1, 1, raw(1.0)}), 3, 1, error},
    };
    for (const auto& [entry, library, application, message] : cases) {
        SCOPED_TRACE(testing::PrintToString(entry));
        store(path, kMagic + a + entry + later);
        svtest::outcomeOf([&, count = library] {
            EXPECT_EQ(SVDataFile(path, SVFile::ReadOnly).AllVariableNames().size(), count);
        });
        EXPECT_THAT(
            messagesOf([&, count = application] { EXPECT_EQ(native(path)->variablesNames().size(), count); }),
            ElementsAre(message));
    }
    // In the first entry the whole file is in doubt.
    store(path, kMagic + nativeBytes({longName, 1, 1, 1, 1, raw(1.0)}));
    EXPECT_THAT(messagesOf([&] { native(path); }), ElementsAre("The file \"x.svbin\" has incorrect format"));

    SVDataFile library(folder / "taken.svbin", SVFile::NewReadWrite);
    library.Save(1.0, "a");
    library.Save(2.0, "a");
    library.Flush();
    EXPECT_EQ(native(folder / "taken.svbin")->readNumber("a"), StorageNumber(2.0));

    const std::string start = "Sorvanta Binary File ";
    const Names refused{"The file \"x.svbin\" has incorrect format"};
    const std::pair<std::string, Names> magics[] = {{"", {}}, {start + "LE", refused}, // Its NUL is missing.
        {start + std::string("XX\0", 3), refused}, {kMagic, {}}, {start + std::string("v1\0", 3), {}}};
    for (const auto& [bytes, messages] : magics) {
        store(path, bytes);
        EXPECT_EQ(messagesOf([&] { EXPECT_THAT(native(path)->variablesNames(), IsEmpty()); }), messages);
    }
}

// It is listed, but nothing behind it, nor is anything written there.
TEST_F(NativeFile, AnEntryOfUnknownTypeIsTheLastOne)
{
    const std::string a = nativeBytes({"a", 1, 1, 1, 1, raw(1.0)});
    store(path, kMagic + a + nativeBytes({"r", 5, 2, 1, 1, std::string(16, 'r')}) + a);
    std::shared_ptr<KRDataFileBinary> file;
    messagesOf([&] { file = native(path); });
    EXPECT_THAT(file->variablesNames(), ElementsAre("a", "r"));
    EXPECT_EQ(file->theContent()[1].second.description(), "An unknown object");
    EXPECT_EQ(file->fileSizeInBytes(), kMagic.size() + a.size());
    EXPECT_THAT(messagesOf([&] {
        EXPECT_EQ(file->updateFile(), 0);
        EXPECT_FALSE(file->readDoubleArray("r") || file->readNativeArray("r"));
    }),
        ElementsAre("DEBUG: Unknown variable type inside a datafile.", "Unexpected type (8)"));
    file->createIndexFile(indexAt(folder / "x.index"));
    messagesOf([&] { EXPECT_THAT(native(path)->variablesNames(), ElementsAre("a", "r")); });
    EXPECT_FALSE(KRDataFileBinaryEntry::createFromDictionary(
        KRDataFileBinaryEntry::dictionaryForm(file->theContent()[1].second)));
}

TEST_F(NativeFile, AnIndexFileCountsAsFarAsItReaches)
{
    const auto file = newNative(path);
    file->writeDoubleArray(doubles({1, 2}), "a");
    file->writeDoubleArray(doubles({3, 4}), "b");
    const auto record = [&](const std::string& name, std::uint64_t location, int m = 2, int type = 1) {
        std::string bytes;
        SVAppendFileRecord(
            bytes, {static_cast<std::int8_t>(type), m, 1, 1, static_cast<std::int64_t>(location), name});
        return bytes;
    };
    const std::string header(17, '?'); // Nobody looks at it.
    const std::uint64_t atA = file->locationOfDataFor("a");
    const std::uint64_t atB = file->locationOfDataFor("b");
    const Names scanned{"a", "b"};
    const Names partly{"b", "first"}; // The rest by scan.
    const std::string torn = record("temperature", atB);
    const std::pair<std::string, Names> indexes[] = {
        {record("renamed", atB, 2, 101), {"renamed"}}, // The type modulo 100.
        {record("first", atA), partly},
        {record("first", atA) + record("beyond", atB, 3), partly},
        {record("first", atA) + record("type", atB, 2, 5), partly},
        {record("", atB), scanned},
        {torn.substr(0, torn.size() - 5), scanned},
        {record("negative", atB, -2), scanned},
        {record("huge", atA, INT_MAX), scanned},
        {"12", scanned}, // 19 bytes are too few.
        {record("lost", static_cast<std::uint64_t>(-8)), scanned},
        {record("renamed", atB), {"renamed"}},
    };
    for (const auto& [records, names] : indexes) {
        store(folder / "x.index", header + records);
        std::shared_ptr<KRDataFileBinary> again;
        EXPECT_THAT(messagesOf([&] { again = native(path); }), IsEmpty());
        EXPECT_EQ(again->fileSizeInBytes(), contentOf(path).size());
        EXPECT_EQ(again->variablesNames(), names);
    }
    std::filesystem::resize_file(folder / "x.index", 400000001); // Too many.
    EXPECT_EQ(native(path)->variablesNames(), scanned);
}

TEST_F(NativeFile, AnIndexBlockThatLiesIsDropped)
{
    const auto file = newNative(path);
    file->writeDoubleArray(doubles({1, 2}), "a");
    const std::size_t start = contentOf(path).size();
    file->addIndexBlock();
    const std::string whole = contentOf(path);
    const std::size_t block = start + 28 + 17;
    const std::string error = "The file \"x.svbin\" has a format error in entry number 2.";
    EXPECT_EQ(native(path)->variablesNames(), Names{"a"});
    const std::tuple<std::size_t, std::string, Names> lies[] = {
        {start + 8, raw(std::int32_t(11)), {}}, // The type of the block's entry.
        {start + 12, raw(std::int32_t(100000)), {error}}, // Its m.
        {block, "\x02", {}}, // The version.
        {block + 1, "\x05", {"Ran into problems reading the file (Incorrect type)."}},
        {block + 2, raw(std::int32_t(-1)), {}},
        {block + 14, raw(std::int64_t(-1)), {}},
        {block + 14, raw(std::int64_t(1000000)), {}},
        {block + 2, raw(std::int32_t(1000)), {}}, // The data would end behind the file.
        {whole.size() - 8, raw(std::int64_t(24)), {}}, // No block there.
        {whole.size() - 8, raw(std::int64_t(-24)), {}},
    };
    for (const auto& [offset, lie, messages] : lies) {
        SCOPED_TRACE(offset);
        std::string bytes = whole;
        store(path, bytes.replace(offset, lie.size(), lie));
        std::shared_ptr<KRDataFileBinary> again;
        EXPECT_EQ(messagesOf([&] { again = native(path); }), messages);
        EXPECT_EQ(numbersOf(again->readDoubleArray("a")), (std::vector<double>{1, 2}));
    }
    // A matching index file counts before the block. With an entry behind it the block is a variable.
    store(path, whole);
    file->createIndexFile(indexAt(folder / "x.index"));
    EXPECT_THAT(native(path)->variablesNames(), ElementsAre(" SV Index block ", "a"));
    file->writeNumber(StorageNumber(1.0), "b");
    EXPECT_THAT(native(path)->variablesNames(), ElementsAre(" SV Index block ", "a", "b"));
}

// Kept for the readers that have come to depend on it: a text that a scan found goes into an index as bytes.
TEST_F(NativeFile, AScannedTextBecomesBytesThroughANewIndex)
{
    store(path, kMagic + nativeBytes({"t", 20, 3, 1, 1, std::string("Hi\0", 3)}));
    const auto file = native(path);
    EXPECT_TRUE(file->isAString("t"));
    file->createIndexFile(indexAt(folder / "x.index"));
    EXPECT_EQ(shown(*file), "t = 'Hi'; ");
    const auto again = native(path);
    EXPECT_EQ(shown(*again), "t = 3x1x1: 72 105 0; ");
    EXPECT_TRUE(again->isAnIntArray("t") && again->readUCharArray("t"));
    EXPECT_EQ(again->readRawString("t"), "Hi");
    // One that was written here stays a text.
    const auto ours = newNative(folder / "y.svbin");
    ours->writeString("Hi", "t");
    ours->createIndexFile(indexAt(folder / "y.index"));
    EXPECT_TRUE(native(folder / "y.svbin")->isAString("t"));
}

TEST_F(NativeFile, AFileOfTheOtherOrderGetsNoIndexBesideItAndNoEntries)
{
    writeByLibrary(path, SVFile::BigEndian, true);
    const std::string before = contentOf(path);
    const auto file = KRDataFileBinary::createWithName(path);
    ASSERT_TRUE(file->openFileWithProgress());
    file->createIndexFile(indexAt(folder / "x.index"));
    EXPECT_EQ(contentOf(folder / "x.index"), ""); // The library would read the data by it, unswapped.
    const auto elsewhere = indexAt(folder / "elsewhere.index");
    file->createIndexFile(elsewhere);
    std::string index = contentOf(elsewhere->fileName());
    store(elsewhere->fileName(), index.replace(index.find(std::string("4\0", 2)), 1, "U"));
    const auto indexed = KRDataFile::openFileName(path, nullptr, elsewhere);
    EXPECT_EQ(numbersOf(indexed->readUShortArray("U")), counted<std::uint16_t>(2, 0));
    // With an index of its first entry alone, the rest is scanned: the block is another machine's.
    std::string first;
    SVAppendFileRecord(first, {1, 2, 3, 1, static_cast<std::int64_t>(file->locationOfDataFor("d")), "first"});
    store(elsewhere->fileName(), std::string(17, '?') + first);
    File partly;
    EXPECT_THAT(messagesOf([&] { partly = KRDataFile::openFileName(path, nullptr, elsewhere); }), IsEmpty());
    EXPECT_EQ(partly->variablesNames().size(), 4U); // Of those behind "d", and the block.
    EXPECT_EQ(numbersOf(partly->readDoubleArray("first")), counted<double>(6, 0));
    EXPECT_THAT(refusalsBy(*file), ElementsAre(refusalOf(path, "it has the byte order of another machine")));
    EXPECT_EQ(contentOf(path), before);
    EXPECT_TRUE(file->structure().find("Swap"));
}

TEST_F(NativeFile, ATextIsUtf8OrMacRomanAndAnyArrayReadsAsText)
{
    const auto file = newNative(path);
    file->writeUCharArray(containerOf<unsigned char>({'a', 0x8A, 0xB0}), "mac");
    file->writeDoubleArray(doubles({72, 105, 0, 33}), "doubles");
    file->writeString("größe", "utf8");
    EXPECT_TRUE(file->writeNumber(StorageNumber(7.0), "n\xFF")); // A name's bytes are kept as they are.
    const auto again = native(path);
    EXPECT_EQ(KRDataFile::createFromStructure(again->structure())->readNumber("n\xFF"), StorageNumber(7.0));
    EXPECT_EQ(file->readRawString("mac"), "aä∞");
    EXPECT_EQ(file->readRawString("doubles"), "Hi");
    EXPECT_EQ(again->readRawString("utf8"), "größe");
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(file->writeString("x", "")); }),
        ElementsAre("Trying to write a variable with an empty name."));
}

// Sparse files have any size, and names any number of levels.
TEST_F(NativeFile, TakesNoMoreMemoryThanAnEntryNeeds)
{
    rlimit largest{};
    getrlimit(RLIMIT_FSIZE, &largest);
    if (largest.rlim_cur != RLIM_INFINITY)
        GTEST_SKIP() << "needs sparse files of 4 TB, and this login may not write them";
    const auto sparse = [&](int type) {
        NativeEntry entry{"x", type, INT_MAX, 2000, 1, ""};
        entry.extraSize = static_cast<std::int64_t>(INT_MAX) * 2000;
        store(path, kMagic + nativeBytes(entry));
        std::filesystem::resize_file(path, 54 + static_cast<std::uintmax_t>(entry.extraSize));
        return native(path);
    };
    const std::vector<std::string> report{"Failed at reading \"x\" from file \"" + path + "\""};
    EXPECT_EQ(messagesOf([&] { EXPECT_EQ(sparse(20)->theContent().size(), 1U); }), report);
    EXPECT_EQ(messagesOf([&] { EXPECT_FALSE(sparse(11)->readDataBlock("x")); }), report);

    store(folder / "y.svbin", kMagic + nativeBytes({"y", 1, 1, 1, 1, raw(1.0)}));
    std::string name = "y";
    for (int level = 0; level < 4000; ++level)
        name += "_b";
    std::string record;
    SVAppendFileRecord(record, {1, 1, 1, 1, 54, name});
    store(folder / "y.index", std::string(17, '?') + record);
    messagesOf([&] { EXPECT_TRUE(native(folder / "y.svbin")->readObject("y").isNull()); });
}

TEST_F(NativeFile, DescribesItsEntries)
{
    const auto described = [](int type, std::uint32_t m, std::uint32_t n, std::uint32_t o) {
        return KRDataFileBinaryEntry::createArrayAt(0, static_cast<std::uint8_t>(type), m, n, o)
            .description();
    };
    const char* const arrays[] = {"A double precision array (2x3x4).", "A single precision array (2x3x4).",
        "A 4 byte integer array (2x3x4).", "A 2 byte signed integer array (2x3x4).",
        "A 2 byte unsigned integer array (2x3x4).", "A 1 byte integer array (2x3x4).",
        "A 1 byte unsigned integer array (2x3x4).", "A string with size (2x3x4).", "An unknown object"};
    for (int type = 0; type < 9; ++type)
        EXPECT_EQ(described(type, 2, 3, 4), arrays[type]);
    EXPECT_EQ(described(2, 1, 1, 1), "A single int");
    EXPECT_EQ(KRDataFileBinaryEntry::createStringAt(0, 7, 1, 5, 1).description(), "A string with length 5");
    const char* const numbers[kElementTypeCount] = {"1.5 (double)", "1.5 (float)", "1 (int)", "1 (short int)",
        "1 (unsigned short int)", "1 (char)", "1 (unsigned char)"};
    for (int type = 0; type < kElementTypeCount; ++type) {
        auto entry = KRDataFileBinaryEntry::createArrayAt(0, static_cast<std::uint8_t>(type), 1, 1, 1);
        entry.setNumberValue(*StorageNumber::fromValue(1.5, static_cast<ElementType>(type)));
        EXPECT_EQ(entry.description(), numbers[type]);
    }
}

TEST_F(NativeFile, AnEntryComesBackFromItsDictionaryUnlessItIsAWrittenText)
{
    using Entry = KRDataFileBinaryEntry;
    auto number = Entry::createArrayAt(100, 2, 1, 1, 1);
    number.setNumberValue(StorageNumber(7));
    const auto dictionary = Entry::dictionaryForm(number);
    const auto back = Entry::createFromDictionary(dictionary);
    ASSERT_TRUE(back);
    EXPECT_TRUE(back->isSameAs(number));
    EXPECT_EQ(*back->numberValue(), StorageNumber(7));
    const auto scanned = Entry::createStringAt(50, 6, 3, 1, 1);
    EXPECT_TRUE(Entry::createFromDictionary(Entry::dictionaryForm(scanned))->isAString());
    EXPECT_FALSE(Entry::createFromDictionary(Entry::dictionaryForm(Entry::createStringAt(50, 7, 1, 3, 1))));
    for (const auto& [key, value] : std::vector<std::pair<std::string, platform::Value>>{{"O", -1}, {"m", -1},
             {"n", "1"}, {"o", 1.5}, {"F", 7}, {"F", 64}, {"F", 128}, {"F", -1}, {"m", platform::Value()}}) {
        auto bad = dictionary;
        bad.mutableDictionary()[key] = value;
        EXPECT_FALSE(Entry::createFromDictionary(bad)) << key;
    }
    EXPECT_FALSE(Entry::createFromDictionary("text"));
}

} // namespace
} // namespace storagetest
