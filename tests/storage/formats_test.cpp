// What all formats do alike, format by format.

#include "storage_testing.h"

#include "platform/plist/PropertyList.h"
#include "storage/stacks/KRDataFileSavingCache.h"

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace storagetest {
namespace {

struct Format {
    const char* ending;
    const char* type;
    bool hasSmallIntegers; // Short, unsigned short and unsigned bytes.
    bool hasSignedBytes;
    bool keepsShape; // Of three dimensions, for all types.
    bool isFollowed; // Reads what is new.
    const char* listing; // Behind the count in a description.
};
constexpr Format kFormats[] = {
    {"svbin", "SVBinary", true, true, true, true, " (theContent for full listing)"},
    {"mat", "MatBinary", true, false, false, true, ""},
    {"ascii", "Ascii", false, true, true, false, ""},
};

class EveryFormat : public testing::TestWithParam<Format> {
protected:
    std::string path(const std::string& name = "x") const
    {
        return folder / (name + "." + GetParam().ending);
    }
    File newFile(const std::string& name = "x") const { return KRDataFile::openNewFileWithName(path(name)); }
    // An old file, to go on with.
    File forWriting() const
    {
        const std::string type = GetParam().type;
        const File file = type == "SVBinary" ? File(KRDataFileBinary::createWithName(path()))
            : type == "MatBinary"            ? File(KRDataFileMatBinary::createWithName(path()))
                                             : File(KRDataFileAscii::createWithName(path()));
        EXPECT_TRUE(file->openFileWithProgress());
        return file;
    }
    // The object that wrote, and a new one.
    std::vector<File> bothViews(const File& file) const { return {file, opened(file->fileName())}; }
    std::string refusal(const std::string& name, const std::string& cause) const
    {
        return "Could not write the variable.|The variable \"" + name + "\" was not written into the file \""
            + path() + "\": " + cause + ".";
    }

    ScratchFolder folder;
};
INSTANTIATE_TEST_SUITE_P(Formats, EveryFormat, testing::ValuesIn(kFormats),
    [](const auto& format) { return std::string(format.param.ending); });

TEST_P(EveryFormat, ReadsBackWhatItWrote)
{
    const auto file = newFile();
    const std::vector<double> d{1.5, -2.25, 1e300, 0.1};
    EXPECT_TRUE(file->writeDoubleArray(doubles(d), "d"));
    EXPECT_TRUE(file->writeFloatArray(containerOf<float>({1.5F, -0.1F}), "f"));
    EXPECT_TRUE(file->writeIntArray(containerOf<std::int32_t>({INT_MIN, INT_MAX}), "i"));
    EXPECT_TRUE(file->writeDoubleArray(shaped(counted<double>(24), 2, 3, 4), "box"));
    EXPECT_TRUE(file->writeString("größe", "t"));
    EXPECT_TRUE(file->writeNumber(StorageNumber(2.5), "number"));
    if (GetParam().hasSmallIntegers) {
        EXPECT_TRUE(file->writeShortArray(containerOf<std::int16_t>({-32768, 2}), "s"));
        EXPECT_TRUE(file->writeUShortArray(containerOf<std::uint16_t>({65535, 2}), "us"));
        EXPECT_TRUE(file->writeUCharArray(containerOf<unsigned char>({255, 2}), "uc"));
    }
    if (GetParam().hasSignedBytes) {
        EXPECT_TRUE(file->writeCharacterArray(containerOf<signed char>({-128, 2}), "c"));
    }
    for (const File& view : bothViews(file)) {
        EXPECT_EQ(numbersOf(view->readDoubleArray("d")), d);
        EXPECT_EQ(numbersOf(view->readFloatArray("f")), (std::vector<float>{1.5F, -0.1F}));
        EXPECT_EQ(numbersOf(view->readDoubleArray("f"))[0], 1.5);
        EXPECT_EQ(numbersOf(view->readIntArray("i")), (std::vector<std::int32_t>{INT_MIN, INT_MAX}));
        const auto box = view->readFloatArray("box");
        ASSERT_TRUE(box);
        EXPECT_EQ(box->m() * 100 + box->n() * 10 + box->o(), 234);
        EXPECT_EQ(box->valueAtIndex(23), 24);
        EXPECT_EQ(view->getSizeOfVariable("box"), (KRDataStorage::Size{2, 3, 4}));
        EXPECT_TRUE(view->isAString("t"));
        EXPECT_EQ(view->readRawString("t"), "größe");
        EXPECT_EQ(view->readNumber("number")->doubleValue(), 2.5);
        EXPECT_TRUE(view->isAnIntArray("i"));
        EXPECT_FALSE(view->isAFloatArray("i"));
        EXPECT_TRUE(view->isAFloatArray("f"));
        EXPECT_EQ(view->isADoubleArray("d"), std::string(GetParam().type) != "Ascii");
        EXPECT_TRUE(view->isANumber("number"));
        EXPECT_FALSE(view->isANumber("t"));
        if (GetParam().hasSmallIntegers) {
            EXPECT_EQ(numbersOf(view->readShortArray("s")), (std::vector<std::int16_t>{-32768, 2}));
            EXPECT_EQ(numbersOf(view->readUShortArray("us")), (std::vector<std::uint16_t>{65535, 2}));
            EXPECT_EQ(numbersOf(view->readUCharArray("uc")), (std::vector<unsigned char>{255, 2}));
            EXPECT_EQ(view->readNativeArray("us").type(), ElementType::UShort);
            EXPECT_EQ(view->readDataBlock("uc"), (KRDataStorage::Bytes{255, 2}));
        }
        if (GetParam().hasSignedBytes) {
            EXPECT_EQ(numbersOf(view->readCharacterArray("c")), (std::vector<signed char>{-128, 2}));
        }
    }
}

TEST_P(EveryFormat, AnswersNothingForAMissingNameAndForAText)
{
    const auto file = newFile();
    file->writeString("text", "t");
    file->writeDoubleArray(doubles({1, 2}), "d");
    const auto messages = messagesOf([&] {
        for (const char* name : {"missing", "t"}) {
            EXPECT_FALSE(file->readDoubleArray(name));
            EXPECT_FALSE(file->readIntArray(name));
            EXPECT_FALSE(file->readNumber(name));
            if (GetParam().isFollowed) {
                EXPECT_FALSE(file->readNativeArray(name));
                EXPECT_FALSE(file->readDataBlock(name));
            }
        }
        EXPECT_FALSE(file->readRawString("missing"));
        EXPECT_FALSE(file->readNumber("d"));
        EXPECT_FALSE(file->getSizeOfVariable("missing"));
        EXPECT_FALSE(
            file->isANumber("missing") || file->isAString("missing") || file->isAnIntArray("missing"));
        EXPECT_FALSE(file->contains("missing"));
    });
    EXPECT_THAT(messages, IsEmpty());
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(file->contains(std::nullopt)); }),
        ElementsAre("KRDataFile contains:name : name==nil."));
}

TEST_P(EveryFormat, RefusesATakenNameAndLeavesTheFileAlone)
{
    const auto file = newFile();
    file->writeString("first", "a");
    file->writeDoubleArray(doubles({1, 2}), "b");
    const std::string before = contentOf(path());
    const auto messages = messagesOf([&] {
        EXPECT_FALSE(file->writeString("second", "a"));
        EXPECT_FALSE(file->writeDoubleArray(doubles({3}), "a"));
        EXPECT_FALSE(file->writeIntArray(containerOf<std::int32_t>({3}), "b"));
        EXPECT_FALSE(file->writeFloatArray(nullptr, "null"));
    });
    EXPECT_EQ(messages, Names(3, "Entry already exists, can't overwrite it."));
    EXPECT_EQ(contentOf(path()), before);
}

TEST_P(EveryFormat, ListsItsVariables)
{
    const auto file = newFile();
    const std::string name = "\"x." + std::string(GetParam().ending) + "\"";
    EXPECT_EQ(file->description(), name + " with no entries");
    file->writeString("1", "b_1");
    EXPECT_EQ(file->description(), name + " with 1 entry" + GetParam().listing);
    for (const char* variable : {"b_2", "a", "c"})
        file->writeString("1", variable);
    EXPECT_EQ(file->description(), name + " with 4 entries" + GetParam().listing);
    for (const File& view : bothViews(file)) {
        EXPECT_THAT(view->variablesNames(), ElementsAre("a", "b_1", "b_2", "c"));
        EXPECT_THAT(view->variablesWithPrefix("b_"), ElementsAre("b_1", "b_2"));
        EXPECT_THAT(view->variablesWithPrefix("d"), IsEmpty());
        const auto content = view->theContent();
        ASSERT_EQ(content.size(), 4U);
        EXPECT_EQ(content[1].first, "b_1");
        EXPECT_EQ(content[1].second.cachedEntry(), platform::Value("1"));
    }
    EXPECT_EQ(file->dataFileType(), GetParam().type);
    EXPECT_EQ(file->nameOfIndexFile(), folder / "x.index");
}

TEST_P(EveryFormat, FollowsRedirectionsAndFindsCirclesOfAnyLength)
{
    const auto file = newFile();
    const std::pair<const char*, const char*> links[] = {{"a", "b"}, {"b", "number"}, {"self", "self"},
        {"x", "y"}, {"y", "z"}, {"z", "y"}, {"lost", "nowhere"}};
    for (const auto& [from, to] : links)
        file->writeString(to, from);
    file->writeNumber(StorageNumber(1.0), "number");
    EXPECT_EQ(file->resolveNameAllowingRedirection("a"), "number");
    EXPECT_EQ(file->resolveNameAllowingRedirection("number"), "number");
    EXPECT_EQ(file->resolveNameAllowingRedirection("lost"), "nowhere");
    EXPECT_EQ(file->resolveNameAllowingRedirection("missing"), "missing");
    for (const char* circle : {"self", "x", "z"})
        EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(file->resolveNameAllowingRedirection(circle)); }),
            ElementsAre("Circular reference inside datafile."));
}

TEST_P(EveryFormat, IsRebuiltFromItsStructure)
{
    const auto written = newFile();
    written->writeDoubleArray(shaped(counted<double>(4), 2, 2), "d");
    written->writeNumber(StorageNumber(2.5), "n");
    written->writeString("kept", "t");
    const auto file = opened(path());
    const auto structure = file->structure();
    EXPECT_EQ(structure.textFor("Type"), GetParam().type);
    EXPECT_EQ(structure.textFor("File"), path());
    ASSERT_TRUE(platform::propertylist::writeAtomically(structure, folder / "structure.plist"));
    const auto sent = platform::propertylist::readFile(folder / "structure.plist");
    const auto rebuilt = KRDataFile::createFromStructure(*sent);
    ASSERT_TRUE(rebuilt);
    EXPECT_EQ(rebuilt->fileSizeInBytes(), file->fileSizeInBytes());
    EXPECT_EQ(rebuilt->variablesNames(), file->variablesNames());
    EXPECT_EQ(rebuilt->readNumber("n")->doubleValue(), 2.5);
    EXPECT_EQ(rebuilt->readRawString("t"), "kept");
    if (GetParam().isFollowed) {
        EXPECT_EQ(numbersOf(rebuilt->readDoubleArray("d")), counted<double>(4));
    }
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(rebuilt->writeNumber(StorageNumber(1.0), "new")); }),
        ElementsAre(refusal("new", "it is open for reading alone")));

    auto lost = structure;
    lost.mutableDictionary()["File"] = folder / "missing";
    File without;
    EXPECT_THAT(messagesOf([&] { without = KRDataFile::createFromStructure(lost); }),
        ElementsAre("Could not open file"));
    EXPECT_FALSE(without->fileIsOpen());
    written->deleteFileFromDisk();
    EXPECT_FALSE(std::filesystem::exists(path()));
    EXPECT_TRUE(written->structure().isNull());
    EXPECT_THAT(written->variablesNames(), IsEmpty());
}

TEST_P(EveryFormat, ACopyIsASnapshot)
{
    const auto file = newFile();
    file->writeDoubleArray(doubles({1, 2, 3}), "d");
    file->writeString("text", "t");
    const auto length = file->fileSizeInBytes();
    const auto copy = file->copyInto(folder / "copy");
    ASSERT_TRUE(copy);
    file->writeNumber(StorageNumber(1.0), "later");
    EXPECT_EQ(std::filesystem::file_size(folder / "copy"), length);
    EXPECT_THAT(copy->variablesNames(), ElementsAre("d", "t"));
    EXPECT_EQ(numbersOf(copy->readDoubleArray("d")), (std::vector<double>{1, 2, 3}));
    EXPECT_EQ(copy->fileSizeInBytes(), length);
    EXPECT_EQ(copy->dataFileType(), GetParam().type);

    const auto linked = file->copyInto(folder / "linked", {}, true);
    ASSERT_TRUE(linked);
    EXPECT_TRUE(std::filesystem::equivalent(path(), folder / "linked"));
    // Copying a file onto itself would empty it.
    const std::string before = contentOf(path());
    EXPECT_FALSE(file->copyInto(path()));
    EXPECT_FALSE(file->copyInto(folder / "linked"));
    EXPECT_EQ(contentOf(path()), before);
    EXPECT_FALSE(file->copyInto(""));
    EXPECT_FALSE(file->copyInto(folder / "no such folder/copy"));
}

TEST_P(EveryFormat, ACopyEndsWithTheUsersAbort)
{
    const auto file = newFile();
    file->writeDoubleArray(doubles(counted<double>(100)), "d");
    const auto controller = KRProgressController::create();
    const auto entry = KRProgressEntry::createWithDescription(std::string("Copying"), controller);
    const KRProgressCPP progress(entry);
    EXPECT_TRUE(file->copyInto(folder / "whole", progress));
    platform::MainLoop::main().runUntil([&] { return !controller->visibleEntries().empty(); }, 20);
    EXPECT_EQ(controller->visibleEntries().at(0)->currentFraction(), 1.0F);
    controller->visibleEntries().at(0)->abortButtonHit();
    EXPECT_FALSE(file->copyInto(folder / "aborted", progress));
    EXPECT_TRUE(std::filesystem::exists(folder / "aborted"));
}

// Trees of values.

TEST_P(EveryFormat, StoresATreeOfValues)
{
    const auto file = newFile();
    const auto array = doubles({1, 2})->convertToRawFormat();
    const platform::Value tree = platform::Value::Dictionary{{"text", "words"}, {"array", array},
        {"inner", platform::Value::Dictionary{{"n", 2.5}, {"", "base"}}}};
    EXPECT_TRUE(file->writeObject(tree, "tree"));
    EXPECT_THAT(file->variablesNames(), ElementsAre("tree_array", "tree_inner", "tree_inner_n", "tree_text"));
    platform::Value back;
    EXPECT_THAT(messagesOf([&] { back = file->readObject("tree"); }),
        ElementsAre("Unknown if this works.", "Unknown if this works."));
    EXPECT_EQ(*back.find("text"), platform::Value("words"));
    EXPECT_EQ(*back.find("inner"), *tree.find("inner"));
    if (GetParam().isFollowed) {
        EXPECT_EQ(*back.find("array"), array);
    }
    EXPECT_EQ(file->readObject("tree_text"), platform::Value("words"));

    platform::Value deep = "leaf";
    for (int level = 0; level < 6; ++level)
        deep = platform::Value::Dictionary{{"k", deep}};
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(file->writeObject(deep, "deep")); }),
        ElementsAre("Reached the recursive depth."));
    EXPECT_TRUE(file->writeObject(*deep.find("k"), "deep"));
    const platform::Value unknown = platform::Value::Dictionary{{"KRType", "Short"}};
    EXPECT_THAT(messagesOf([&] {
        EXPECT_FALSE(file->writeObject(unknown, "u") || file->writeObject(platform::Value(), "u"));
    }),
        ElementsAre(
            "Unknown saving type for saving a dictionary.", "Unknown saving type for saving a dictionary."));
}

TEST_P(EveryFormat, SavingTheSameArrayTwiceMakesARedirection)
{
    const auto file = newFile();
    KRDataFileSavingCache cache;
    const auto array = doubles({1, 2});
    EXPECT_TRUE(cache.writeArray(array, *file, "first"));
    EXPECT_TRUE(cache.writeArray(doubles({1, 2}), *file, "second"));
    EXPECT_TRUE(cache.writeArray(doubles({1, 3}), *file, "other"));
    EXPECT_EQ(file->readRawString("second"), "first");
    EXPECT_EQ(file->resolveNameAllowingRedirection("second"), "first");
    EXPECT_FALSE(file->isAString("other"));
    // Nothing refers to an array whose first writing failed.
    messagesOf([&] { EXPECT_FALSE(cache.writeArray(doubles({7, 8}), *file, "other")); });
    EXPECT_TRUE(cache.writeArray(doubles({7, 8}), *file, "again"));
    EXPECT_FALSE(file->isAString("again"));
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(cache.writeArray({}, *file, "none")); }),
        ElementsAre("Unrecognized array.  Could not write it (writeArray)"));
}

// Writing is complete or doesn't happen.

// Runs work in a child whose files can't grow beyond a size; answers whether the work answered true.
bool withLimit(std::uint64_t fileSize, const std::function<bool()>& work)
{
    const pid_t child = fork();
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{fileSize, fileSize};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        ::_exit(work() ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST_P(EveryFormat, AFullDiskLosesNothingAndIsTold)
{
    newFile()->writeDoubleArray(doubles({1, 2, 3}), "old");
    const std::string before = contentOf(path());
    const auto box = shaped(counted<double>(24), 2, 3, 4);
    const auto other = newFile("other");
    other->writeDoubleArray(box, "new");
    for (std::size_t room = 0; room + 25 < other->fileSizeInBytes(); room += 7) {
        const bool survived = withLimit(before.size() + room, [&] {
            const auto file = KRDataFile::openNewFileWithName(path("other"));
            const auto mine = GetParam().isFollowed ? File() : file;
            File again = std::string(GetParam().ending) == "svbin"
                ? File(KRDataFileBinary::createWithName(path()))
                : std::string(GetParam().ending) == "mat" ? File(KRDataFileMatBinary::createWithName(path()))
                                                          : File(KRDataFileAscii::createWithName(path()));
            again->openFileWithProgress();
            bool written = true;
            const auto messages = messagesOf([&] { written = again->writeDoubleArray(box, "new"); });
            return !written && messages == Names{refusal("new", "File too large")}
            && again->variablesNames() == Names{"old"} && again->fileSizeInBytes() == before.size()
                && numbersOf(again->readDoubleArray("old")) == std::vector<double>{1, 2, 3};
        });
        EXPECT_TRUE(survived) << room;
        EXPECT_EQ(contentOf(path()), before) << room;
    }
    EXPECT_THAT(opened(path())->variablesNames(), ElementsAre("old"));
}

TEST_P(EveryFormat, AFileThatIsOpenForReadingIsNotWritten)
{
    newFile()->writeNumber(StorageNumber(1.0), "old");
    const std::string before = contentOf(path());
    const auto file = opened(path());
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(file->writeNumber(StorageNumber(2.0), "new")); }),
        ElementsAre(refusal("new", "it is open for reading alone")));
    EXPECT_EQ(contentOf(path()), before);
    EXPECT_FALSE(file->contains("new"));
}

TEST_P(EveryFormat, NothingGoesIntoAFileThatHasLostItsName)
{
    const auto file = newFile();
    file->writeNumber(StorageNumber(1.0), "old");
    std::filesystem::rename(path(), path("moved"));
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(file->writeNumber(StorageNumber(2.0), "new")); }),
        ElementsAre(refusal("new", "it was removed or replaced")));
    std::filesystem::rename(path("moved"), path());
    EXPECT_TRUE(file->writeNumber(StorageNumber(2.0), "new"));
}

TEST_P(EveryFormat, RefusesWhatReadersWouldRefuse)
{
    const auto file = newFile();
    // A reader of texts counts the end of the line.
    const std::string longest(std::string(GetParam().type) == "Ascii" ? 253 : 254, 'n');
    EXPECT_TRUE(file->writeNumber(StorageNumber(1.0), longest));
    const std::string before = contentOf(path());
    const auto messages = messagesOf([&] {
        EXPECT_FALSE(file->writeNumber(StorageNumber(1.0), std::string(255, 'm')));
        EXPECT_FALSE(file->writeString("text", std::string("a\0b", 3)));
    });
    EXPECT_EQ(messages.size(), 2U);
    EXPECT_EQ(contentOf(path()), before);
    EXPECT_THAT(opened(path())->variablesNames(), ElementsAre(longest));
}

// Files that are not what they seem.

TEST_P(EveryFormat, OnlyARegularFileIsOpened)
{
    ::mkdir(path("folder").c_str(), 0777);
    ::mkfifo(path("pipe").c_str(), 0666);
    ::symlink("/dev/zero", path("device").c_str());
    for (const char* name : {"folder", "pipe", "device"}) {
        SCOPED_TRACE(name);
        const auto messages = messagesOf([&] {
            const auto file = KRDataFile::openFileName(path(name));
            EXPECT_TRUE(!file || file->variablesNames().empty());
            EXPECT_FALSE(KRDataFile::openNewFileWithName(path(name)));
        });
        EXPECT_THAT(messages, testing::Contains(testing::HasSubstr("Could not create the file")));
    }
    EXPECT_FALSE(KRDataFile::openFileName(""));
    EXPECT_FALSE(KRDataFile::openFileContainer(nullptr));
    EXPECT_FALSE(KRDataFile::openNewFileWithName(""));
}

TEST_P(EveryFormat, AFileThatShrinksGivesNoArrays)
{
    const auto written = newFile();
    written->writeDoubleArray(doubles(counted<double>(1000)), "d");
    const auto file = opened(path());
    std::filesystem::resize_file(path(), 500);
    const auto messages = messagesOf([&] { EXPECT_FALSE(file->readDoubleArray("d")); });
    ASSERT_EQ(messages.size(), 1U);
    const bool isText = std::string(GetParam().ending) == "ascii";
    EXPECT_THAT(messages[0],
        isText ? testing::StartsWith(
            "Could not read the array \"d\"|Could not read the array \"d\" from the file \"" + path()
            + "\".  Could only read ")
               : testing::StartsWith("Failed at reading \"d\" from file \"" + path() + "\""));
    EXPECT_EQ(file->updateFile(), GetParam().isFollowed ? -1 : 0);
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(written->writeNumber(StorageNumber(1.0), "new")); }),
        ElementsAre(refusal("new", "it was cut by another program")));
}

TEST_P(EveryFormat, EndingsAndTheirSideFiles)
{
    store(folder / "x.index", "old");
    const auto file = newFile();
    // The ascii format has no index; the others remove that of a new file.
    EXPECT_EQ(std::filesystem::exists(folder / "x.index"), !GetParam().isFollowed);
    store(folder / "x.index", "left");
    file->deleteFileFromDisk();
    EXPECT_EQ(contentOf(folder / "x.index"), "left");
    EXPECT_FALSE(KRContainerFileName::createEmpty());
}

} // namespace
} // namespace storagetest
