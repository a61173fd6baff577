// Files that another process writes while they are read.

#include "storage_testing.h"

#include <atomic>
#include <cstdlib>
#include <random>

namespace storagetest {
namespace {

struct Following {
    const char* ending;
    std::string (*entry)(const std::string& name, int count);
    std::string head;
    std::size_t header; // Length of an entry's header.
    File (*forWriting)(const std::string& path);
};

std::string nativeEntry(const std::string& name, int count)
{
    return nativeBytes({name, 1, count, 1, 1, bytesOfNumbers(counted<double>(count))});
}

std::string matlabEntry(const std::string& name, int count)
{
    return matrix(0, count, 1, 0, name, bytesOfNumbers(counted<double>(count)));
}

struct FollowedFile : testing::TestWithParam<Following> {
    std::string path() const { return folder / (std::string("x.") + GetParam().ending); }
    std::string entry(const std::string& name, int count = 2) const { return GetParam().entry(name, count); }
    void append(const std::string& bytes) const
    {
        std::ofstream(path(), std::ios::binary | std::ios::app) << bytes;
    }
    // Begins with a whole entry: a younger file is reported.
    File begun() const
    {
        store(path(), GetParam().head + entry("a"));
        return opened(path());
    }

    ScratchFolder folder;
};
INSTANTIATE_TEST_SUITE_P(Formats, FollowedFile,
    testing::Values(Following{"svbin", nativeEntry, kMagic, 28, openForWriting<KRDataFileBinary>},
        Following{"mat", matlabEntry, "", 20, openForWriting<KRDataFileMatBinary>}),
    [](const auto& format) { return std::string(format.param.ending); });

TEST_P(FollowedFile, ListsWhatIsNewBehindTheLocationItIsGivenAndNothingElse)
{
    const auto file = begun();
    EXPECT_EQ(file->updateFile(), 0);
    append(entry("b") + entry("c", 4));
    EXPECT_EQ(file->updateFile(), 1);
    EXPECT_EQ(shown(*file), "a = 2x1x1: 1 2; b = 2x1x1: 1 2; c = 4x1x1: 1 2 3 4; ");
    EXPECT_EQ(file->updateFile(), 0);
    append(entry("a", 3)); // The later one of a name counts.
    EXPECT_EQ(file->updateFile(), 1);
    EXPECT_EQ(shown(*file, "a"), "3x1x1: 1 2 3");
    EXPECT_EQ(file->updateFile(), 0);
    EXPECT_EQ(file->fileSizeInBytes(), std::filesystem::file_size(path()));

    // A location decides whether to look, not how far.
    const auto later = begun();
    const auto known = static_cast<std::int64_t>(later->fileSizeInBytes());
    append(entry("b") + entry("c"));
    EXPECT_EQ(later->updateFile(known), 0);
    EXPECT_EQ(later->updateFile(known - 1), -1);
    EXPECT_EQ(later->updateFile(known + 1), 1);
    EXPECT_THAT(later->variablesNames(), ElementsAre("a", "b", "c"));
    EXPECT_EQ(later->updateFile(1000000), 0);
}

TEST_P(FollowedFile, AnIncompleteEntryIsNotThereYet)
{
    const std::string next = entry("b", 3);
    for (std::size_t size = 1; size <= next.size(); ++size) {
        SCOPED_TRACE(size);
        const auto file = begun();
        const auto complete = file->fileSizeInBytes();
        const bool isWhole = size == next.size();
        const auto messages = messagesOf([&] {
            append(next.substr(0, size));
            EXPECT_EQ(file->updateFile(), isWhole ? 1 : 0);
            EXPECT_EQ(file->fileSizeInBytes(), complete + (isWhole ? size : 0));
            EXPECT_EQ(file->contains("b"), isWhole);
            EXPECT_EQ(file->updateFile(), 0);
            // A scan that ends within a header is resumed at the entry before it, which isn't new then.
            const auto late = opened(path());
            const bool isInHeader = size <= GetParam().header;
            EXPECT_EQ(late->fileSizeInBytes(),
                isInHeader ? GetParam().head.size() : complete + (isWhole ? size : 0));
            EXPECT_EQ(late->contains("b"), isWhole);
            EXPECT_EQ(late->updateFile(), 0);
            append(next.substr(size));
            EXPECT_EQ(file->updateFile(), isWhole ? 0 : 1);
            EXPECT_EQ(late->updateFile(), isWhole ? 0 : 1);
            EXPECT_EQ(shown(*file), "a = 2x1x1: 1 2; b = 3x1x1: 1 2 3; ");
        });
        EXPECT_THAT(messages, IsEmpty());
    }
}

TEST_P(FollowedFile, ATornFileKeepsEveryCompleteEntryAndTakesNoMore)
{
    const std::string whole = GetParam().head + entry("a") + entry("b");
    const std::size_t first = GetParam().head.size() + entry("a").size();
    for (std::size_t size = first + 1; size < whole.size(); ++size) {
        SCOPED_TRACE(size);
        store(path(), whole.substr(0, size));
        const File file = GetParam().forWriting(path());
        EXPECT_THAT(file->variablesNames(), ElementsAre("a"));
        const std::string cause = "the bytes from " + std::to_string(first)
            + " on are no complete entry, and nothing that is written behind them could be read";
        EXPECT_THAT(refusalsBy(*file), ElementsAre(refusalOf(path(), cause)));
        EXPECT_EQ(std::filesystem::file_size(path()), size);
        // Once the tail is complete, writing goes on behind it, and the next look finds what came in between.
        append(whole.substr(size));
        EXPECT_TRUE(file->writeNumber(StorageNumber(1.0), "new"));
        EXPECT_THAT(opened(path())->variablesNames(), ElementsAre("a", "b", "new"));
        EXPECT_EQ(file->updateFile(), 1);
        EXPECT_EQ(file->updateFile(), 0);
    }
}

TEST_P(FollowedFile, TellsAFileThatWasCutOrReplaced)
{
    const auto cut = begun();
    std::filesystem::resize_file(path(), std::filesystem::file_size(path()) - 1);
    EXPECT_EQ(cut->updateFile(), -1);
    const auto replaced = begun();
    store(folder / "other", GetParam().head + entry("a") + entry("b"));
    std::filesystem::rename(folder / "other", path());
    EXPECT_EQ(replaced->updateFile(), -1);
    EXPECT_EQ(numbersOf(replaced->readDoubleArray("a")), counted<double>(2)); // Of the old file, still open.
    replaced->lockFileAccess();
    replaced->closeFile();
    replaced->unlockFileAccess();
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(replaced->readDoubleArray("a")); }),
        ElementsAre("Could not open the file \"" + path() + "\""));
    const auto removed = begun();
    std::filesystem::remove(path());
    EXPECT_EQ(removed->updateFile(), -1);
}

TEST_P(FollowedFile, ReportsALastingFormatErrorOnce)
{
    const auto file = begun();
    append(entry("b") + std::string(200, '\x7F'));
    const auto messages = messagesOf([&] {
        EXPECT_EQ(file->updateFile(), 1);
        EXPECT_EQ(file->updateFile(), 0);
        append("more");
        EXPECT_EQ(file->updateFile(), 0);
    });
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_THAT(messages[0], testing::HasSubstr("has a format error in entry number 2."));
    EXPECT_THAT(file->variablesNames(), ElementsAre("a", "b"));
    // It begins again at the start of the entry that was read last.
    EXPECT_EQ(file->fileSizeInBytes(), GetParam().head.size() + entry("a").size());
    // Mended, the file is read on; a later fault is another one.
    std::filesystem::resize_file(path(), GetParam().head.size() + entry("a").size() + entry("b").size());
    append(entry("c"));
    EXPECT_THAT(messagesOf([&] { EXPECT_EQ(file->updateFile(), 1); }), IsEmpty());
    append(std::string(200, '\x7F'));
    EXPECT_EQ(messagesOf([&] {
        EXPECT_EQ(file->updateFile(), 0);
        EXPECT_EQ(file->updateFile(), 0);
    }).size(),
        1U);
}

// Readers on four threads follow a file that a second process appends to.

// Entry i has i modulo 300 numbers and one more, all of them i.
void writeEntries(const std::string& path, int count)
{
    const auto write = [&](auto&& file) {
        for (int i = 1; i < count; ++i) {
            SVMutableDoubleArray numbers(1 + i % 300);
            numbers = i;
            file.Save(numbers, std::to_string(i));
            file.Flush();
        }
    };
    if (path.ends_with(".mat"))
        write(SVMatlabDataFile(path, SVFile::ExistingReadWrite));
    else
        write(SVDataFile(path, SVFile::ExistingReadWrite));
}

void beginFile(const std::string& path)
{
    const auto file = KRDataFile::openNewFileWithName(path);
    ASSERT_TRUE(file->writeNumber(StorageNumber(0.0), "0"));
}

// All entries from 0 on, without a gap, each of them complete; answers how many.
int checkAll(KRDataFile& file, int from)
{
    const auto count = static_cast<int>(file.variablesNames().size());
    for (int i = from; i < count; ++i) {
        const auto numbers = numbersOf(file.readDoubleArray(std::to_string(i)));
        EXPECT_EQ(numbers, std::vector<double>(static_cast<std::size_t>(1 + i % 300), i)) << i;
    }
    return count;
}

struct FollowingThreads : testing::TestWithParam<const char*> {
    ScratchFolder folder;
    const std::string path = folder / GetParam();
};
INSTANTIATE_TEST_SUITE_P(Formats, FollowingThreads, testing::Values("x.svbin", "x.mat"),
    [](const auto& name) { return std::string(name.param).substr(2); });

TEST_P(FollowingThreads, SeeEachEntryWholeAndOnce)
{
    beginFile(path);
    constexpr int kEntries = 3000;
    AnotherProcess writer([&](auto&) { writeEntries(path, kEntries); });
    const auto messages = messagesOf([&] {
        const auto file = opened(path);
        std::atomic<int> failures = 0;
        onThreads(4, [&](int reader) {
            const auto center = KRMessageCenter::create();
            KRMessageCenter::setCenterOfThread(center);
            for (int known = 0; known < kEntries && !testing::Test::HasFailure();) {
                failures += file->updateFile() < 0 ? 1 : 0;
                const int count = checkAll(*file, std::max(known - 3, reader));
                failures += count < known ? 1 : 0;
                known = count;
            }
            failures += center->waitingCount();
            KRMessageCenter::setCenterOfThread(nullptr);
        });
        EXPECT_EQ(failures, 0);
        EXPECT_EQ(file->updateFile(), 0);
    });
    EXPECT_THAT(messages, IsEmpty());
}

// TRELKIND_KILLS sets how often.
TEST_P(FollowingThreads, AKilledWriterLeavesNothingHalf)
{
    const char* wanted = std::getenv("TRELKIND_KILLS");
    const int rounds = wanted ? std::atoi(wanted) : 15;
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
        beginFile(path);
        AnotherProcess writer([&](auto&) { writeEntries(path, 1000000); });
        const auto file = opened(path);
        const auto size = std::uniform_int_distribution<std::uint64_t>(1, 3000000)(random);
        const auto messages = messagesOf([&] {
            for (int known = 0; std::filesystem::file_size(path) < size;) {
                EXPECT_GE(file->updateFile(), 0);
                known = checkAll(*file, known);
            }
            writer.kill();
            EXPECT_GE(file->updateFile(), 0);
            const int count = checkAll(*file, 0);
            EXPECT_EQ(opened(path)->variablesNames(), file->variablesNames());
            EXPECT_GT(count, 1);
        });
        EXPECT_THAT(messages, IsEmpty());
    }
}

TEST(StorageThreads, ShareAFileUntilTheLastOneGoes)
{
    const ScratchFolder folder;
    const std::string path = folder / "x.svbin";
    beginFile(path);
    auto file = KRDataFile::openNewFileWithName(path);
    for (int i = 0; i < 100; ++i)
        file->writeDoubleArray(doubles({1.0 * i, 2, 3}), std::to_string(i));
    file->writeString(std::string(100, 't'), "text");
    onThreads(4, [last = std::exchange(file, nullptr), &folder](int number) {
        const File mine = last;
        for (int round = 0; round < 50; ++round) {
            const std::string name = std::to_string((number * 37 + round) % 100);
            EXPECT_EQ(mine->readDoubleArray(name)->valueAtIndex(0), std::stod(name));
            EXPECT_EQ(mine->readRawString("text"), std::string(100, 't'));
            EXPECT_TRUE(mine->writeNumber(StorageNumber(1.0), "n" + std::to_string(number * 1000 + round)));
            if (round % 10 == 0) {
                const auto copy = mine->copyInto(folder / ("copy" + std::to_string(number)));
                EXPECT_EQ(copy->readDoubleArray("7")->valueAtIndex(0), 7);
                EXPECT_GE(mine->theContent().size(), 101U);
            }
            EXPECT_EQ(mine->updateFile(), 0);
        }
    });
    EXPECT_EQ(opened(path)->variablesNames().size(), 301U);
}

// The cap on open files, with the list of all of them. It stays on for the rest of the process.
TEST(StorageThreads, TooManyOpenFilesAreClosedAndOpenAgainByThemselves)
{
    const ScratchFolder folder;
    KRDataFile::keepTrackOfDataFiles();
    const int before = OpenFiles::shared().howManyOpenFiles();
    std::vector<File> files;
    for (int i = 0; i < 400; ++i) {
        files.push_back(KRDataFile::openNewFileWithName(folder / (std::to_string(i) + ".svbin")));
        ASSERT_TRUE(files.back()->writeDoubleArray(doubles({1.0 * i, 2}), "d"));
        ASSERT_LT(OpenFiles::shared().howManyOpenFiles() - before, 191);
    }
    EXPECT_FALSE(files[0]->fileIsOpen());
    EXPECT_TRUE(files[399]->fileIsOpen());
    onThreads(4, [&](int number) {
        for (auto i = static_cast<std::size_t>(number); i < files.size(); i += 3)
            EXPECT_EQ(files[i]->readDoubleArray("d")->valueAtIndex(0), i);
    });
    EXPECT_LT(OpenFiles::shared().howManyOpenFiles() - before, 191);
    // A file whose lock is held is left alone, whatever its age.
    files[0]->readDoubleArray("d");
    files[0]->lockFileAccess();
    for (std::size_t i = 1; i < files.size(); ++i)
        files[i]->readDoubleArray("d");
    EXPECT_TRUE(files[0]->fileIsOpen());
    files[0]->unlockFileAccess();
    files.clear();
    EXPECT_EQ(OpenFiles::shared().howManyOpenFiles(), before);
}

} // namespace
} // namespace storagetest
