#include "platform/files/FileManager.h"

#include "platform/FullDisk.h"
#include "platform/TemporaryFolder.h"
#include "platform/files/FolderLock.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <tuple>
#include <unistd.h>

namespace {
// Closes of numbers that were not open. In another thread's moment the number belongs to somebody else.
std::atomic<int> vainCloses = 0;
} // namespace

// In place of the C library's, for all of this program.
extern "C" int close(int descriptor)
{
    const auto result = static_cast<int>(syscall(SYS_close, descriptor));
    if (result != 0 && errno == EBADF)
        ++vainCloses;
    return result;
}

namespace {

using testing::UnorderedElementsAre;
namespace files = platform::files;

struct FileManagerTest : testing::Test {
    void SetUp() override { vainCloses = 0; }
    void TearDown() override { EXPECT_EQ(vainCloses, 0) << "a descriptor was closed twice"; }
    int openDescriptors() const
    {
        return static_cast<int>(files::contentsOfDirectory("/proc/self/fd")->size());
    }
    std::uint32_t mode(const std::string& name)
    {
        const auto found = files::attributes(folder / name);
        return found ? found->permissions : 0;
    }
    TemporaryFolder folder;
};

TEST_F(FileManagerTest, AnAtomicWriteIsCompleteOrLeavesEverythingAsItWasAndKeepsALink)
{
    const std::string path = folder / "file";
    ASSERT_TRUE(files::writeFileAtomically(path, "old", 0640));
    EXPECT_EQ(mode("file") & 0700, 0600U);
    EXPECT_TRUE(files::setPermissions(path, 0604));
    ASSERT_TRUE(files::writeFileAtomically(path, "new", 0777));
    EXPECT_EQ(mode("file"), 0604U) << "an existing file keeps its permissions";
    {
        const FullDisk full(1000);
        EXPECT_FALSE(files::writeFileAtomically(path, std::string(5000, 'x')));
    }
    EXPECT_FALSE(files::writeFileAtomically(folder / "absent/file", "x"));
    ASSERT_TRUE(files::createDirectory(folder / "sub"));
    EXPECT_FALSE(files::writeFileAtomically(folder / "sub", "x"));
    EXPECT_EQ(files::readFile(path), "new");
    EXPECT_THAT(*files::contentsOfDirectory(folder.path()), UnorderedElementsAre("file", "sub"));

    EXPECT_TRUE(files::writeFile(folder / "real", "old"));
    ASSERT_EQ(symlink("real", (folder / "link").c_str()), 0);
    ASSERT_TRUE(files::writeFileAtomically(folder / "link", "new"));
    EXPECT_EQ(files::readFile(folder / "real"), "new");
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
}

TEST_F(FileManagerTest, OnlyRegularFilesAreReadAndOnlyValidUtf8AsText)
{
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_FALSE(files::readFile(folder / "pipe") || files::writeFile(folder / "pipe", "x"));
    EXPECT_EQ(files::readFile(folder.path(), 100).error().text, folder.path() + " is a folder");
    EXPECT_TRUE(files::writeFile(folder / "large", std::string(101, 'x')));
    EXPECT_EQ(files::readFile(folder / "large", 100).error().text,
        (folder / "large") + " is larger than 100 bytes");
    EXPECT_TRUE(files::readFile(folder / "large", 101));
    EXPECT_FALSE(files::readFile("/proc/self/status")->empty()) << "a file whose length is told as 0";

    const std::pair<const char*, bool> cases[] = {{"", true},
        {"na\xC3\xAFve \xE2\x82\xAC \xF0\x9F\x98\x80", true}, {"\xC0\xAF", false}, {"\xE0\x80\xAF", false},
        {"\xED\xA0\x80", false}, {"\xF4\x90\x80\x80", false}, {"\xE2\x82", false}, {"\x80", false},
        {"\xFF", false}};
    for (const auto& [text, valid] : cases)
        EXPECT_EQ(files::isValidUtf8(text), valid) << testing::PrintToString(text);
    EXPECT_TRUE(files::writeFile(folder / "latin", "caf\xE9"));
    EXPECT_FALSE(files::readUtf8(folder / "latin"));
}

TEST_F(FileManagerTest, EveryFailureNamesItsPathAndItsReason)
{
    const std::string file = folder / "file";
    const std::string full = folder / "full";
    const std::string below = file + "/below";
    const std::string absent = folder / "absent";
    const std::string dot = folder / "empty/.";
    ASSERT_TRUE(files::writeFile(file, "x") && files::createDirectory(folder / "empty"));
    ASSERT_TRUE(files::createDirectories(full + "/inner"));
    ASSERT_TRUE(files::writeFile(full + "/inner/big", std::string(3000, 'x')));
    ASSERT_EQ(symlink("nowhere", (folder / "link").c_str()), 0);
    const std::pair<platform::Status, std::string> cases[] = {
        {files::writeFile(below, "x"), below + ": Not a directory"},
        {files::appendToFile(full, "x"), full + ": Is a directory"},
        {files::writeFileAtomically(full, "x"), full + " is a folder"},
        {files::writeFileAtomically(below, "x"), below + ": Not a directory"},
        {files::createDirectory(full), full + ": File exists"},
        {files::createDirectories(below + "/more"), file + ": File exists"},
        {files::createDirectories(""), "there is no folder without a name"},
        {files::setPermissions(absent, 0600), absent + ": No such file or directory"},
        {files::remove(absent), absent + ": No such file or directory"},
        {files::remove(below), below + ": Not a directory"},
        {files::remove(dot), dot + ": Invalid argument"},
        {files::remove("/"), "the root folder can't be removed"},
        {files::copy(absent, folder / "to"), absent + ": No such file or directory"},
        {files::copy(folder / "link", folder / "to"), (folder / "link") + ": No such file or directory"},
        {files::copy(file, full), full + ": File exists"},
        {files::copy(full, file), file + ": File exists"},
        {files::copy(full, full + "/inner/to"), "a folder can't be copied into itself"},
        {files::copy("/dev/null", folder / "to"), "/dev/null is no regular file"},
        {files::copy("/proc/self/mem", folder / "to"), "/proc/self/mem: Input/output error"},
        {files::move(file, full), full + ": File exists"},
        {files::move(absent, folder / "to"), (folder / "to") + ": No such file or directory"},
    };
    for (const auto& [status, text] : cases) {
        ASSERT_FALSE(status) << text;
        EXPECT_EQ(status.error().text, text);
    }
    EXPECT_EQ(files::contentsOfDirectory(file).error().text, file + ": Not a directory");
    EXPECT_EQ(files::contentsOfDirectory(absent).error().text, absent + ": No such file or directory");
    EXPECT_EQ(files::readFile(absent).error().text, absent + ": No such file or directory");
    const FullDisk disk(1000);
    EXPECT_EQ(files::copy(full, folder / "to").error().text, "big: File too large");
    EXPECT_EQ(files::writeFile(file, std::string(3000, 'x')).error().text, file + ": File too large");
    EXPECT_EQ(
        files::writeFileAtomically(file, std::string(3000, 'x')).error().text, file + ": File too large");
}

TEST_F(FileManagerTest, RemovingATreeNeverGoesThroughALink)
{
    EXPECT_TRUE(files::createDirectories(folder / "kept/inner"));
    EXPECT_TRUE(files::writeFile(folder / "kept/precious", "x"));
    EXPECT_TRUE(files::createDirectories(folder / "tree/a/b"));
    EXPECT_TRUE(files::writeFile(folder / "tree/a/file", "x"));
    ASSERT_EQ(symlink("../../kept", (folder / "tree/a/out").c_str()), 0);
    ASSERT_EQ(symlink("kept", (folder / "alias").c_str()), 0);
    EXPECT_TRUE(files::remove(folder / "alias/")) << "the slash must not make it the folder behind the link";
    EXPECT_TRUE(files::remove(folder / "tree"));
    EXPECT_FALSE(files::remove(folder / "tree"));
    EXPECT_TRUE(files::exists(folder / "kept/precious"));
    EXPECT_THAT(*files::contentsOfDirectory(folder.path()), UnorderedElementsAre("kept"));
}

// Deeper than a process has descriptors, and deeper than a path can say.
TEST_F(FileManagerTest, RemovesATreeOfAnyDepth)
{
    const int start = open(folder.path().c_str(), O_DIRECTORY | O_CLOEXEC);
    int current = dup(start);
    for (int depth = 0; depth < 1200; ++depth) {
        ASSERT_EQ(mkdirat(current, "deep-folder", 0700), 0);
        const int next = openat(current, "deep-folder", O_DIRECTORY | O_CLOEXEC);
        close(current);
        current = next;
    }
    close(current);
    close(start);
    EXPECT_TRUE(files::remove(folder / "deep-folder") && files::contentsOfDirectory(folder.path())->empty());
}

TEST_F(FileManagerTest, CopiesTreesWithModesDatesAndLinks)
{
    EXPECT_TRUE(files::createDirectories(folder / "from/sub"));
    EXPECT_TRUE(files::writeFile(folder / "from/sub/program", std::string(3 << 20, 'p')));
    EXPECT_TRUE(files::setPermissions(folder / "from/sub/program", 0751));
    ASSERT_EQ(symlink("sub/program", (folder / "from/link").c_str()), 0);
    EXPECT_TRUE(files::setPermissions(folder / "from/sub", 0550));
    const timespec dates[2] = {{1000, 0}, {2000, 500000000}};
    utimensat(AT_FDCWD, (folder / "from/sub/program").c_str(), dates, 0);

    ASSERT_TRUE(files::copy(folder / "from", folder / "to"));
    EXPECT_EQ(files::readFile(folder / "to/sub/program"), files::readFile(folder / "from/sub/program"));
    EXPECT_EQ(mode("to/sub/program"), 0751U);
    EXPECT_EQ(mode("to/sub"), 0550U);
    EXPECT_EQ(files::attributes(folder / "to/sub/program")->modified, 2000.5);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "to/link"));
    EXPECT_FALSE(files::copy(folder / "from", folder / "to")) << "the target is there";
    EXPECT_TRUE(files::copy(folder / "from/link", folder / "program")) << "a link that is named is followed";
    EXPECT_EQ(files::size(folder / "program"), std::uint64_t{3 << 20});
    EXPECT_FALSE(files::copy(folder / "from", folder / "from/sub/inside"));
    EXPECT_FALSE(files::exists(folder / "from/sub/inside"));
}

TEST_F(FileManagerTest, ACopyThatFailsLeavesNoHalfOfIt)
{
    EXPECT_TRUE(files::createDirectories(folder / "from") && files::writeFile(folder / "from/a", "small"));
    EXPECT_TRUE(files::writeFile(folder / "from/b", std::string(100000, 'b')));
    {
        const FullDisk full(50000);
        EXPECT_FALSE(files::copy(folder / "from", folder / "to"));
        EXPECT_FALSE(files::copy(folder / "from/b", folder / "b"));
    }
    ASSERT_EQ(mkfifo((folder / "from/pipe").c_str(), 0600), 0);
    EXPECT_FALSE(files::copy(folder / "from", folder / "to"));
    EXPECT_THAT(*files::contentsOfDirectory(folder.path()), UnorderedElementsAre("from"));
}

TEST_F(FileManagerTest, MovingNeverReplaces)
{
    EXPECT_TRUE(files::writeFile(folder / "a", "a") && files::writeFile(folder / "b", "b"));
    EXPECT_FALSE(files::move(folder / "a", folder / "b"));
    EXPECT_EQ(files::readFile(folder / "b"), "b");
    EXPECT_TRUE(files::move(folder / "a", folder / "c"));
    EXPECT_FALSE(files::exists(folder / "a"));
    if (files::isDirectory("/dev/shm")) { // Another file system.
        const std::string there = "/dev/shm/trelkind-test-" + std::to_string(getpid());
        EXPECT_TRUE(files::createDirectories(folder / "tree/sub"));
        EXPECT_TRUE(files::writeFile(folder / "tree/sub/file", "x") && files::move(folder / "tree", there));
        EXPECT_EQ(files::readFile(there + "/sub/file"), "x");
        EXPECT_FALSE(files::exists(folder / "tree"));
        std::ignore = files::remove(there);
    }
}

TEST_F(FileManagerTest, ADescriptorIsClosedOnce)
{
    using platform::Descriptor;
    const int before = openDescriptors();
    const auto opened = [] { return Descriptor(::open("/dev/null", O_RDWR | O_CLOEXEC)); };
    {
        Descriptor closed = opened();
        EXPECT_TRUE(closed.close());
        EXPECT_FALSE(closed);
        EXPECT_TRUE(closed.close()) << "there is nothing left to fail";
        Descriptor first = opened();
        Descriptor second(std::move(first));
        EXPECT_TRUE(second);
        first = std::move(second);
        EXPECT_TRUE(first && !second);
        first = opened();
        second.reset(first.release());
        EXPECT_EQ(openDescriptors(), before + 1);
        const Descriptor full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
        EXPECT_EQ(platform::writeAll(full.get(), "x").error().text, "No space left on device");
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(FileManagerTest, ADescriptorThatDoesNotBlockIsWaitedForWhereThatIsWanted)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    const std::string bytes(1 << 20, 'x');
    EXPECT_FALSE(platform::writeAll(ends[1], bytes));
    std::size_t seen = 0;
    std::thread reader([&] {
        std::string buffer(1 << 16, '\0');
        for (pollfd polled{ends[0], POLLIN, 0}; poll(&polled, 1, -1) > 0;) {
            const ssize_t count = read(ends[0], buffer.data(), buffer.size());
            if (count == 0)
                return;
            seen += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        }
    });
    EXPECT_TRUE(platform::writeAll(ends[1], bytes, platform::WhenFull::Wait));
    close(ends[1]);
    reader.join();
    close(ends[0]);
    EXPECT_GT(seen, bytes.size()) << "with what the first call could place";
}

TEST_F(FileManagerTest, AFolderIsLockedByOneAloneOrByThoseWhoShare)
{
    using platform::FolderLock;
    using Kind = FolderLock::Kind;
    const std::string path = folder.path();
    {
        const FolderLock first(path, Kind::Shared);
        EXPECT_TRUE(first.isHeld() && first.isPrivate() && FolderLock(path, Kind::Shared).isHeld());
        EXPECT_TRUE(FolderLock(path, Kind::Exclusive).isTaken());
    }
    EXPECT_TRUE(FolderLock(path, Kind::Exclusive).isHeld());
    ASSERT_EQ(symlink(path.c_str(), (folder / "link").c_str()), 0);
    EXPECT_TRUE(FolderLock(folder / "link", Kind::Exclusive).isHeld());
    for (const std::string& none : {folder / "link", folder / "absent"}) {
        const FolderLock lock(none, Kind::Shared, FolderLock::Links::Refused);
        EXPECT_FALSE(lock.isHeld() || lock.isTaken() || lock.isPrivate()) << none;
    }
    EXPECT_TRUE(files::setPermissions(path, 0750));
    EXPECT_FALSE(FolderLock(path, Kind::Shared).isPrivate());
}

} // namespace
