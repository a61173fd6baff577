#include "storage_testing.h"

#include "platform/ProcessInfo.h"
#include "platform/files/Paths.h"
#include "storage/stacks/KRDataFileReadingCache.h"
#include "storage/stacks/KRDataFileSavingCache.h"
#include "storage/stacks/KRDataFileStack.h"

namespace storagetest {
namespace {

// One file of each kind in a folder, two of them with a common name, and a stack in the stack.
struct Stack : testing::Test {
    Stack()
    {
        std::filesystem::create_directories(folder / "s.svdata/inner.svdata");
        const auto put = [&](const std::string& name, const std::string& variable, double value) {
            const auto file = KRDataFile::openNewFileWithName(folder / ("s.svdata/" + name));
            EXPECT_TRUE(file->writeDoubleArray(doubles({value, value}), variable)
                && file->writeNumber(StorageNumber(value), "number" + std::to_string(value)));
            size += file->fileSizeInBytes();
        };
        put("a.svbin", "both", 1);
        put("b.mat", "both", 2);
        put("c.svascii", "text", 3);
        put("inner.svdata/d.svbin", "inner", 4);
        const auto file = KRDataFile::openNewFileWithName(folder / "s.svdata/e.svbin");
        file->writeString("both", "link");
        file->writeShortArray(containerOf<std::int16_t>({5, 6}), "small");
        size += file->fileSizeInBytes();
        store(folder / "s.svdata/notes.txt", "not a member");
        store(folder / "s.svdata/x.ascii", "n\nNumber\n1\n"); // This ending makes no member.
        messagesOf([&] { stack = std::dynamic_pointer_cast<KRDataFileStack>(opened(folder / "s.svdata")); });
    }

    ScratchFolder folder;
    std::uint64_t size = 0;
    std::shared_ptr<KRDataFileStack> stack;
};

TEST_F(Stack, ReadsFromTheFirstMemberThatHasTheVariable)
{
    ASSERT_TRUE(stack);
    EXPECT_EQ(shown(*stack),
        "both = 2x1x1: 1 1; inner = 2x1x1: 4 4; link = 'both'; number1.000000 = 1; number2.000000 = 2; "
        "number3.000000 = 3; number4.000000 = 4; small = 2x1x1: 5 6; text = 2x1x1: 3 3; ");
    EXPECT_EQ(stack->fileWithVariable("both")->fileName(), folder / "s.svdata/a.svbin");
    EXPECT_EQ(numbersOf(stack->readFloatArray("text")), (std::vector<float>{3, 3}));
    EXPECT_THAT(messagesOf([&] {
        EXPECT_EQ(numbersOf(stack->readShortArray("small")), (std::vector<std::int16_t>{5, 6}));
        EXPECT_FALSE(stack->readDataBlock("missing"));
    }),
        testing::IsEmpty());
    EXPECT_EQ(stack->readNativeArray("small").type(), ElementType::Short);
    EXPECT_EQ(stack->readDataBlock("small")->size(), 4U);
    // The member follows a redirection among its own variables.
    EXPECT_EQ(stack->resolveNameAllowingRedirection("link"), "both");
    EXPECT_EQ(stack->resolveNameAllowingRedirection("missing"), "missing");
    EXPECT_TRUE(stack->isADoubleArray("inner") && stack->isAFloatArray("text") && stack->isAnIntArray("small")
        && stack->isAString("link") && stack->isANumber("number1.000000"));
    EXPECT_FALSE(stack->isADoubleArray("missing") || stack->contains("missing") || stack->isAString("missing")
        || stack->isANumber("missing") || stack->isAnIntArray("missing") || stack->isAFloatArray("missing"));
}

TEST_F(Stack, ListsEachNameOnceAndEachMemberAndCannotBeWritten)
{
    EXPECT_THAT(stack->variablesWithPrefix("b"), ElementsAre("both"));
    EXPECT_EQ(stack->theContent().size(), 10U);
    EXPECT_EQ(stack->fileSizeInBytes(), size);
    EXPECT_EQ(stack->description(), "\"s.svdata\" with 5 entries (theContent for full listing)");
    EXPECT_EQ(stack->createIndexFileContainerIfNeeded(), nullptr);
    EXPECT_EQ(stack->updateFile(), 0);
    EXPECT_FALSE(stack->copyInto(folder / "copy"));
    const auto rebuilt = KRDataFile::createFromStructure(stack->structure());
    ASSERT_TRUE(rebuilt);
    EXPECT_EQ(shown(*rebuilt), shown(*stack));
    EXPECT_EQ(rebuilt->fileSizeInBytes(), size);

    const auto messages = messagesOf([&] {
        EXPECT_FALSE(stack->writeDoubleArray(doubles({1}), "new")
            || stack->writeUShortArray(containerOf<std::uint16_t>({1}), "new")
            || stack->writeString("text", "new"));
    });
    EXPECT_THAT(messages, IsEmpty());
    EXPECT_THAT(
        messagesOf([&] { EXPECT_FALSE(stack->writeUCharArray(containerOf<unsigned char>({1}), "new")); }),
        ElementsAre("Need to overwrite writeCharacterArray"));
}

TEST_F(Stack, AFolderThatCannotBeReadHasNoMembers)
{
    store(folder / "file.svdata", "text");
    for (const char* name : {"missing.svdata", "file.svdata"}) {
        const auto empty = KRDataFileStack::createWithName(folder / name);
        EXPECT_TRUE(empty->openFileWithProgress());
        EXPECT_EQ(empty->description(), "\"" + std::string(name) + "\" with no entries");
    }
    std::filesystem::create_directory(folder / "empty.svdata");
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(opened(folder / "empty.svdata")->copyInto(folder / "copy")); }),
        ElementsAre("Internal error, can not take a copy of this type of data file."));
    // One that holds itself ends there.
    std::filesystem::create_directory(folder / "loop.svdata");
    std::filesystem::create_directory_symlink(folder / "loop.svdata", folder / "loop.svdata/a.svdata");
    std::filesystem::create_directory_symlink(folder / "loop.svdata", folder / "loop.svdata/b.svdata");
    EXPECT_EQ(opened(folder / "loop.svdata")->description(),
        "\"loop.svdata\" with 2 entries (theContent for full listing)");
    EXPECT_EQ(opened(folder / "loop.svdata")->updateFile(), 0);
}

TEST_F(Stack, FollowsItsMembers)
{
    const auto expectFinds = [this](const std::string& name, int answer, bool isThere = true) {
        EXPECT_EQ(stack->updateFile(), answer) << name;
        EXPECT_EQ(stack->contains(name), isThere) << name;
    };
    expectFinds("b", 0, false);
    for (const std::string member : {"b.mat", "inner.svdata/new.mat", "c.svascii", "new.svascii"})
        for (const char* round : {" 1", " 2"}) {
            const std::string more = folder / ("more." + platform::paths::extension(member));
            KRDataFile::openNewFileWithName(more)->writeDoubleArray(doubles({7, 8}), member + round);
            const std::string path = folder / ("s.svdata/" + member);
            store(path, contentOf(path) + contentOf(more));
            expectFinds(member + round, 1);
        }
    std::filesystem::rename(folder / "s.svdata/a.svbin", folder / "gone");
    expectFinds("number1.000000", 1, false);
    std::filesystem::rename(folder / "gone", folder / "s.svdata/e.svbin"); // Another file by this name.
    expectFinds("number1.000000", 1);
    expectFinds("small", 0, false);
    std::filesystem::remove_all(folder / "s.svdata");
    expectFinds("number1.000000", -1);
}

struct ReadingCache : testing::Test {
    ReadingCache()
    {
        file = KRDataFile::openNewFileWithName(folder / "x.svbin");
        for (const char* name : {"a", "b", "c", "d"})
            file->writeFloatArray(containerOf(std::vector<float>(25, static_cast<float>(name[0]))), name);
        file->writeString("a", "link");
        platform::setSystemLogReader([this](const std::string& line) { lines.push_back(line); });
    }
    ~ReadingCache() override { platform::setSystemLogReader({}); }

    ScratchFolder folder;
    File file;
    Names lines; // Of the system's log.
};

TEST_F(ReadingCache, GivesTheSameArrayUnderEachNameAndType)
{
    KRDataFileReadingCache cache(file, 1000);
    const auto first = cache.readFloatArray("a");
    EXPECT_TRUE(cache.readFloatArray("a") == first && cache.readFloatArray("link") == first);
    EXPECT_TRUE(cache.readNativeArray("a").sharesWith(first));
    // The first type stays: what names another one gets its numbers.
    EXPECT_TRUE(cache.readArrayOfType(ElementType::Double, "a").sharesWith(first));
    EXPECT_EQ(numbersOf(cache.readDoubleArray("a")), std::vector<double>(25, 'a'));
    EXPECT_FALSE(cache.readFloatArray("missing") || cache.readNumber("a"));
    EXPECT_EQ(cache.currentlyInCache(), 100);
    EXPECT_TRUE(cache.isAFloatArray("link") && cache.contains("link"));
    EXPECT_FALSE(cache.isADoubleArray("link") || cache.isAnIntArray("link"));
    EXPECT_EQ(cache.getSizeOfVariable("link"), (KRDataStorage::Size{25, 1, 1}));
    EXPECT_EQ(cache.readDataBlock("link")->size(), 100U);
    EXPECT_EQ(shown(cache, "link"), "'a'");
    EXPECT_TRUE(lines.empty());
}

TEST_F(ReadingCache, RemovesTheNewestFirstUntilATenthIsFreeAndServesThreads)
{
    KRDataFileReadingCache cache(file, 350);
    std::uint64_t time = 0;
    for (const char* name : {"a", "b", "c"})
        cache.addToCache(file->readFloatArray(name), name, ++time);
    EXPECT_EQ(cache.currentlyInCache(), 300);
    cache.addToCache(file->readFloatArray("d"), "d", ++time);
    // 400 bytes are above the limit. Below 315 there is room for three.
    EXPECT_EQ(cache.currentlyInCache(), 300);
    EXPECT_EQ(lines, Names{"here"});
    const auto a = cache.readFloatArray("a");
    cache.addToCache(file->readFloatArray("d"), "d", 0); // The oldest now.
    EXPECT_EQ(cache.currentlyInCache(), 300);
    EXPECT_NE(cache.readFloatArray("a"), a); // The newest use was that of "a".
    cache.addToCache(nullptr, "none", 1);

    KRDataFileReadingCache small(file, 50);
    EXPECT_TRUE(small.readFloatArray("a"));
    EXPECT_EQ(small.currentlyInCache(), 0);
    KRDataFileReadingCache without(nullptr, 50);
    EXPECT_FALSE(without.readFloatArray("a") || without.contains("a") || without.getSizeOfVariable("a"));

    KRDataFileReadingCache shared(file, 250);
    onThreads(4, [&](int number) {
        for (int round = 0; round < 100; ++round) {
            const std::string name(1, static_cast<char>('a' + (number + round) % 4));
            EXPECT_EQ(shared.readFloatArray(name)->valueAtIndex(24), static_cast<float>(name[0]));
        }
    });
    EXPECT_LT(shared.currentlyInCache(), 250);
}

TEST(SavingCache, WritesEachArrayOnceForAllThreads)
{
    const ScratchFolder folder;
    const File file = KRDataFile::openNewFileWithName(folder / "x.svbin");
    KRDataFileSavingCache cache;
    const auto name = [](int thread, int value) { return std::to_string(thread * 100 + value); };
    onThreads(4, [&](int thread) {
        for (int value = 0; value < 50; ++value)
            EXPECT_TRUE(cache.writeArray(doubles({1.0 * value, 1}), *file, name(thread, value)));
    });
    for (int value = 0; value < 50; ++value) {
        int arrays = 0;
        for (int thread = 0; thread < 4; ++thread) {
            arrays += file->isADoubleArray(name(thread, value));
            const auto target = *file->resolveNameAllowingRedirection(name(thread, value));
            EXPECT_EQ(file->readDoubleArray(target)->valueAtIndex(0), value);
        }
        EXPECT_EQ(arrays, 1);
    }
}

} // namespace
} // namespace storagetest
