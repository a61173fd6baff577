// What all formats do alike, format by format.

#include "storage_testing.h"

#include "platform/FullDisk.h"
#include "platform/loop/Pace.h"
#include "platform/plist/PropertyList.h"
#include "storage/stacks/KRDataFileSavingCache.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace storagetest {
namespace {

struct Format {
    const char* ending;
    const char* type;
    bool hasSmallIntegers; // Short, unsigned short and unsigned bytes.
    bool hasSignedBytes;
    bool isFollowed; // Reads what is new. It has an index, too.
    const char* listing; // Behind the count in a description.
    std::size_t longestName; // Bytes.
    std::size_t longestKept; // Of a text, in bytes.
    File (*forWriting)(const std::string& path);
};
const Format kFormats[] = {
    {"svbin", "SVBinary", true, true, true, " (theContent for full listing)", 254, 39,
        openForWriting<KRDataFileBinary>},
    {"mat", "MatBinary", true, false, true, "", 254, 49, openForWriting<KRDataFileMatBinary>},
    {"ascii", "Ascii", false, true, false, "", 253, 253, openForWriting<KRDataFileAscii>},
};

struct EveryFormat : testing::TestWithParam<Format> {
    std::string path(const std::string& name = "x") const
    {
        return folder / (name + "." + GetParam().ending);
    }
    File newFile(const std::string& name = "x") const { return KRDataFile::openNewFileWithName(path(name)); }
    File forWriting() const { return GetParam().forWriting(path()); }
    // The object that wrote, and a new one.
    std::vector<File> bothViews(const File& file) const { return {file, opened(file->fileName())}; }
    std::string refusal(const std::string& cause) const { return refusalOf(path(), cause); }

    ScratchFolder folder;
};
INSTANTIATE_TEST_SUITE_P(Formats, EveryFormat, testing::ValuesIn(kFormats),
    [](const auto& format) { return std::string(format.param.ending); });

TEST_P(EveryFormat, ReadsBackWhatItWrote)
{
    const auto file = newFile();
    // Calls work with a name and an array of each type that the format has.
    const auto forEachType = [](const auto& work) {
        work("d", std::vector<double>{1.5, -2.25, 1e300, 0.1});
        work("f", std::vector<float>{1.5F, -0.1F});
        work("i", std::vector<std::int32_t>{INT_MIN, INT_MAX});
        if (GetParam().hasSmallIntegers) {
            work("s", std::vector<std::int16_t>{-32768, 2});
            work("us", std::vector<std::uint16_t>{65535, 2});
            work("uc", std::vector<unsigned char>{255, 2});
        }
        if (GetParam().hasSignedBytes)
            work("c", std::vector<signed char>{-128, 2});
    };
    forEachType([&](const char* name, const auto& numbers) {
        EXPECT_TRUE(file->writeArray(KRAnyArray(containerOf(numbers)), name));
    });
    EXPECT_TRUE(file->writeDoubleArray(shaped(counted<double>(6), 1, 2, 3), "box")
        && file->writeString("größe", "t") && file->writeNumber(StorageNumber(2.5), "number"));
    for (const File& view : bothViews(file)) {
        forEachType([&]<class T>(const char* name, const std::vector<T>& numbers) {
            EXPECT_EQ(numbersOf(view->readArrayOfType(kElementTypeOf<T>, name).template as<T>()), numbers);
        });
        EXPECT_EQ(numbersOf(view->readDoubleArray("f"))[0], 1.5);
        EXPECT_EQ(
            shown(*view, "box") + shown(*view, "t") + shown(*view, "number"), "1x2x3: 1 2 3 4 5 6'größe'2.5");
        const auto box = view->readFloatArray("box");
        EXPECT_EQ(box->m() * 100 + box->n() * 10 + box->o(), 123);
        EXPECT_EQ(box->valueAtIndex(5), 6);
        EXPECT_TRUE(view->isAnIntArray("i") && view->isAFloatArray("f") && view->isANumber("number"));
        EXPECT_FALSE(view->isAFloatArray("i") || view->isANumber("t"));
        EXPECT_EQ(view->isADoubleArray("d"), std::string(GetParam().type) != "Ascii");
        if (GetParam().hasSmallIntegers) {
            EXPECT_EQ(view->readNativeArray("us").type(), ElementType::UShort);
            EXPECT_EQ(view->readDataBlock("uc"), (KRDataStorage::Bytes{255, 2}));
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
            EXPECT_FALSE(file->readDoubleArray(name) || file->readIntArray(name) || file->readNumber(name));
            // The ascii format reports that it doesn't have these.
            EXPECT_FALSE(GetParam().isFollowed && (file->readNativeArray(name) || file->readDataBlock(name)));
        }
        EXPECT_FALSE(file->readRawString("missing") || file->readNumber("d")
            || file->getSizeOfVariable("missing") || file->isANumber("missing") || file->isAString("missing")
            || file->isAnIntArray("missing") || file->contains("missing"));
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
        EXPECT_FALSE(file->writeString("second", "a") || file->writeDoubleArray(doubles({3}), "a")
            || file->writeIntArray(containerOf<std::int32_t>({3}), "b")
            || file->writeFloatArray(nullptr, "null"));
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
        EXPECT_EQ(content.size(), 4U);
        EXPECT_EQ(content.at(1).first + *content.at(1).second.stringValue(), "b_11");
    }
    EXPECT_EQ(file->dataFileType(), GetParam().type);
    EXPECT_EQ(file->nameOfIndexFile(), folder / "x.index");
    EXPECT_TRUE(!GetParam().isFollowed || (file->removeVariables({}) && !file->removeVariables({"a"})));
    EXPECT_TRUE(file->contains("a"));
}

TEST_P(EveryFormat, FollowsRedirectionsAndFindsCirclesOfAnyLength)
{
    const auto file = newFile();
    for (const char* link : {"ab", "bn", "ss", "xy", "yz", "zy", "lm"}) // From, to.
        file->writeString(link + 1, std::string(1, link[0]));
    file->writeNumber(StorageNumber(1.0), "n");
    for (const auto& [from, to] : {std::pair("a", "n"), {"n", "n"}, {"l", "m"}, {"m", "m"}})
        EXPECT_EQ(file->resolveNameAllowingRedirection(from), to);
    for (const char* circle : {"s", "x", "z"})
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
    // The ascii format takes a real array for an integer one.
    EXPECT_TRUE(!GetParam().isFollowed || shown(*rebuilt) == shown(*file));
    EXPECT_EQ(shown(*rebuilt, "n") + shown(*rebuilt, "t"), "2.5'kept'");
    const std::string before = contentOf(path());
    for (const File& view : {rebuilt, file})
        EXPECT_THAT(refusalsBy(*view), ElementsAre(refusal("it is open for reading alone")));
    EXPECT_EQ(contentOf(path()), before);

    auto lost = structure;
    lost.mutableDictionary()["File"] = folder / "missing";
    File without;
    EXPECT_EQ(
        messagesOf([&] { without = KRDataFile::createFromStructure(lost); }), Names{"Could not open file"});
    EXPECT_FALSE(without->fileIsOpen());
}

TEST_P(EveryFormat, GoesAloneAndRemovesTheIndexOfAnOldFile)
{
    store(folder / "x.index", "old");
    const auto file = newFile();
    EXPECT_EQ(std::filesystem::exists(folder / "x.index"), !GetParam().isFollowed);
    store(folder / "x.index", "left");
    file->writeNumber(StorageNumber(1.0), "n");
    file->deleteFileFromDisk();
    EXPECT_FALSE(std::filesystem::exists(path()));
    EXPECT_TRUE(file->structure().isNull());
    EXPECT_THAT(file->variablesNames(), IsEmpty());
    EXPECT_EQ(contentOf(folder / "x.index"), "left");
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
    EXPECT_EQ(shown(*copy), "d = 3x1x1: 1 2 3; t = 'text'; ");
    for (const auto size : {std::filesystem::file_size(folder / "copy"), copy->fileSizeInBytes()})
        EXPECT_EQ(size, length);
    EXPECT_EQ(copy->dataFileType(), GetParam().type);

    ASSERT_TRUE(file->copyInto(folder / "linked", {}, true));
    EXPECT_TRUE(std::filesystem::equivalent(path(), folder / "linked"));
    // Copying a file onto itself would empty it.
    const std::string before = contentOf(path());
    EXPECT_FALSE(file->copyInto(path()) || file->copyInto(folder / "linked"));
    EXPECT_EQ(contentOf(path()), before);
    EXPECT_FALSE(file->copyInto("") || file->copyInto(folder / "no such folder/copy"));
}

TEST_P(EveryFormat, TheUserSeesProgressAndEndsAReadingOrACopy)
{
    const auto file = newFile();
    for (int number = 0; number < 200; ++number)
        file->writeDoubleArray(doubles(counted<double>(100)), std::to_string(number));
    const auto controller = KRProgressController::create();
    const auto entry = KRProgressEntry::createWithDescription(std::string("Copying"), controller);
    const KRProgressCPP progress(entry);
    platform::Pace::setFactor(0); // At each chance to look.
    const auto namesRead = [&] {
        return KRDataFile::openFileName(path(), progress)->variablesNames().size();
    };
    EXPECT_EQ(namesRead(), 200U);
    EXPECT_TRUE(file->copyInto(folder / "whole", progress));
    platform::MainLoop::main().runUntil([&] { return !controller->visibleEntries().empty(); }, 20);
    EXPECT_EQ(controller->visibleEntries().at(0)->currentFraction(), 1.0F);
    controller->visibleEntries().at(0)->abortButtonHit();
    EXPECT_EQ(namesRead(), GetParam().isFollowed ? 63U : 0U); // It looks at each 64th entry, or at each.
    EXPECT_FALSE(file->copyInto(folder / "aborted", progress));
    EXPECT_TRUE(std::filesystem::exists(folder / "aborted"));
    platform::Pace::setFactor(1);
}

// Whatever part of an entry the end of a reader's window falls on. What readers would refuse isn't written.
TEST_P(EveryFormat, TakesNamesUpToTheLongest)
{
    const auto file = newFile();
    for (std::size_t length = 1; length <= GetParam().longestName; ++length)
        file->writeNumber(StorageNumber(static_cast<double>(length)), std::string(length, 'n'));
    const std::string before = contentOf(path());
    for (const std::string& name : {std::string(GetParam().longestName + 1, 'm'), std::string("a\0b", 3)})
        EXPECT_EQ(refusalsBy(*file, name).size(), 1U);
    EXPECT_EQ(contentOf(path()), before);
    const auto again = opened(path());
    EXPECT_EQ(again->variablesNames().size(), GetParam().longestName);
    for (const std::string& name : again->variablesNames())
        EXPECT_EQ(again->readNumber(name)->doubleValue(), static_cast<double>(name.size()));
}

TEST_P(EveryFormat, KeepsShortTextsAndReadsLongOnesFromTheFile)
{
    const auto file = newFile();
    const std::size_t longest = GetParam().longestKept;
    file->writeString(std::string(longest, 'k'), "a");
    if (GetParam().isFollowed)
        file->writeString(std::string(longest + 1, 'k'), "b");
    const auto views = bothViews(file);
    std::string bytes = contentOf(path());
    std::replace(bytes.begin() + 24, bytes.end(), 'k', 'K');
    std::ofstream(path(), std::ios::in | std::ios::out | std::ios::binary) << bytes;
    for (const File& view : views) {
        // A scan of the native format passes over all texts.
        const bool isKept = view == file || std::string(GetParam().ending) != "svbin";
        EXPECT_EQ(view->readRawString("a"), std::string(longest, isKept ? 'k' : 'K'));
        EXPECT_TRUE(!GetParam().isFollowed || view->readRawString("b") == std::string(longest + 1, 'K'));
    }
}

TEST_P(EveryFormat, IsClosedAndOpensByItself)
{
    const auto file = newFile();
    file->writeNumber(StorageNumber(1.0), "n");
    const auto close = [&] {
        file->lockFileAccess();
        file->closeFile();
        file->unlockFileAccess();
        file->flush();
        return !file->fileIsOpen();
    };
    const double before = OpenFiles::now();
    EXPECT_TRUE(close() && file->fileIsValid() && file->fileIsOpen());
    EXPECT_GE(file->lastFileAccess(), before);
    EXPECT_TRUE(close());
    std::filesystem::remove(path());
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(file->fileIsValid()); }),
        ElementsAre("Could not open the file \"" + path() + "\""));
}

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
    EXPECT_TRUE(!GetParam().isFollowed || *back.find("array") == array);
    EXPECT_EQ(file->readObject("tree_text"), platform::Value("words"));

    platform::Value deep = "leaf";
    for (int level = 0; level < 6; ++level)
        deep = platform::Value::Dictionary{{"k", deep}};
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(file->writeObject(deep, "deep")); }),
        ElementsAre("Reached the recursive depth."));
    EXPECT_TRUE(file->writeObject(*deep.find("k"), "deep"));
    for (const platform::Value& unknown :
        {platform::Value(platform::Value::Dictionary{{"KRType", "Short"}}), platform::Value()})
        EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(file->writeObject(unknown, "u")); }),
            ElementsAre("Unknown saving type for saving a dictionary."));
}

TEST_P(EveryFormat, SavingTheSameArrayTwiceMakesARedirection)
{
    const auto file = newFile();
    KRDataFileSavingCache cache;
    const auto array = doubles({1, 2});
    EXPECT_TRUE(cache.writeArray(array, *file, "first") && cache.writeArray(doubles({1, 2}), *file, "second")
        && cache.writeArray(doubles({1, 3}), *file, "other"));
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

// Files that can't grow stand for a disk that is full at any byte of an entry.
TEST_P(EveryFormat, AFullDiskLosesNothingAndIsTold)
{
    newFile()->writeDoubleArray(doubles({1, 2, 3}), "old");
    const std::string before = contentOf(path());
    const auto box = shaped(counted<double>(24), 2, 3, 4);
    const auto other = newFile("other");
    other->writeDoubleArray(box, "new");
    for (std::size_t room = 0; room + 25 < other->fileSizeInBytes(); room += 7) {
        const auto work = [&] {
            const FullDisk full(before.size() + room);
            const File file = forWriting();
            EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(file->writeDoubleArray(box, "new")); }),
                ElementsAre(refusal("File too large")));
            EXPECT_EQ(shown(*file), "old = 3x1x1: 1 2 3; ");
            EXPECT_EQ(file->fileSizeInBytes(), before.size());
            EXPECT_EQ(contentOf(path()), before);
            const FullDisk smaller(before.size() - 1);
            EXPECT_FALSE(file->copyInto(folder / "copy"));
            return !HasFailure();
        };
        EXPECT_EQ(inAnotherProcess(AsUser::Same, "", work), 0) << room;
    }
}

TEST_P(EveryFormat, ASmallDiskThatFillsUpKeepsWhatFitted)
{
    const std::string disk = folder / "disk";
    std::filesystem::create_directory(disk);
    constexpr int kNoSmallDisk = 77;
    const int status = inAnotherProcess(AsUser::Same, "", [&] {
        if (::unshare(CLONE_NEWNS | (::geteuid() == 0 ? 0 : CLONE_NEWUSER)) != 0
            || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
            || ::mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=64k,nr_inodes=16") != 0)
            ::_exit(kNoSmallDisk);
        const File file = KRDataFile::openNewFileWithName(disk + "/x." + GetParam().ending);
        int written = 0;
        EXPECT_THAT(messagesOf([&] {
            while (file->writeDoubleArray(doubles(counted<double>(1000)), std::to_string(written)))
                ++written;
        }),
            ElementsAre(testing::EndsWith("\": No space left on device.")));
        EXPECT_GT(written, 1);
        EXPECT_EQ(shown(*opened(disk + "/x." + GetParam().ending)), shown(*file));
        EXPECT_FALSE(file->copyInto(disk + "/copy"));
        return !HasFailure();
    });
    if (status == kNoSmallDisk && ::geteuid() != 0)
        GTEST_SKIP() << "this user can't have a file system of a test's own";
    EXPECT_EQ(status, 0);
}

TEST_P(EveryFormat, IsReadAndWrittenOnlyWithPermission)
{
    const auto work = [&] {
        newFile()->writeNumber(StorageNumber(1.0), "old");
        const std::string before = contentOf(path());
        const File reader = opened(path());
        EXPECT_TRUE(forWriting()->writeNumber(StorageNumber(2.0), "later"));
        ::chmod(path().c_str(), 0400);
        EXPECT_EQ(reader->updateFile(), GetParam().isFollowed ? 1 : 0);
        const File file = forWriting();
        EXPECT_EQ(file->readNumber("later")->doubleValue(), 2);
        EXPECT_THAT(refusalsBy(*file), ElementsAre(refusal("it is open for reading alone")));
        ::chmod(path().c_str(), 0);
        EXPECT_THAT(messagesOf([&] {
            const File none = KRDataFile::openFileName(path());
            EXPECT_TRUE(!none || none->variablesNames().empty());
        }),
            testing::Contains(testing::StartsWith("Could not open the ")));
        EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(KRDataFile::openNewFileWithName(path())); }),
            ElementsAre(testing::StartsWith("Could not create the file ")));
        ::chmod(path().c_str(), 0600);
        EXPECT_THAT(contentOf(path()), testing::StartsWith(before));
        return !HasFailure();
    };
    EXPECT_EQ(inAnotherProcess(AsUser::Nobody, folder / "", work), 0);
}

TEST_P(EveryFormat, OnlyARegularFileIsOpened)
{
    ::mkdir(path("folder").c_str(), 0777);
    ::mkfifo(path("pipe").c_str(), 0666);
    ::mknod(path("socket").c_str(), S_IFSOCK | 0666, 0);
    ::symlink("/dev/zero", path("device").c_str());
    for (const char* name : {"folder", "pipe", "socket", "device"}) {
        SCOPED_TRACE(name);
        const auto messages = messagesOf([&] {
            const auto file = KRDataFile::openFileName(path(name));
            EXPECT_TRUE(!file || file->variablesNames().empty());
            EXPECT_FALSE(KRDataFile::openNewFileWithName(path(name)));
        });
        EXPECT_THAT(messages, testing::Contains(testing::HasSubstr("Could not create the file")));
    }
    EXPECT_FALSE(KRDataFile::openFileName("") || KRDataFile::openFileContainer(nullptr)
        || KRDataFile::openNewFileWithName(""));
}

TEST_P(EveryFormat, AFileThatShrinksGivesNoArraysAndOneWithoutItsNameTakesNone)
{
    const auto written = newFile();
    written->writeDoubleArray(doubles(counted<double>(1000)), "d");
    const auto file = opened(path());
    std::filesystem::resize_file(path(), 500);
    const auto messages = messagesOf([&] { EXPECT_FALSE(file->readDoubleArray("d")); });
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(file->readNativeArray("d")); }),
        GetParam().isFollowed ? Names({messages[0], "Couldn't read the array d"})
                              : notProvided({"readNativeArray"}));
    EXPECT_THAT(messages[0],
        testing::StartsWith(GetParam().isFollowed
                ? "Failed at reading \"d\" from file \"" + path() + "\""
                : "Could not read the array \"d\"|Could not read the array \"d\" from the file \"" + path()));
    EXPECT_EQ(file->updateFile(), GetParam().isFollowed ? -1 : 0);
    EXPECT_THAT(refusalsBy(*written), ElementsAre(refusal("it was cut by another program")));

    const auto lost = newFile();
    lost->writeNumber(StorageNumber(1.0), "old");
    std::filesystem::rename(path(), path("moved"));
    EXPECT_THAT(refusalsBy(*lost), ElementsAre(refusal("it was removed or replaced")));
    std::filesystem::rename(path("moved"), path());
    EXPECT_TRUE(lost->writeNumber(StorageNumber(2.0), "new"));
}

} // namespace
} // namespace storagetest
