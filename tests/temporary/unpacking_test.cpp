#include "temporary/KRContainerFolder.h"

#include "temporary_testing.h"

#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

namespace temporarytest {
namespace {

// A little-endian number, with zeros behind its eight bytes.
std::string little(std::uint64_t number, std::size_t size)
{
    std::string bytes(size, '\0');
    for (std::size_t byte = 0; byte < std::min<std::size_t>(size, 8); ++byte)
        bytes[byte] = static_cast<char>(number >> (8 * byte));
    return bytes;
}

// A zip archive with stored entries, of any names (PKWARE's APPNOTE 4.3).
std::string archive(const std::vector<std::pair<std::string, std::string>>& entries)
{
    std::string bytes, directory;
    for (const auto& [name, content] : entries) {
        const auto* const plain = reinterpret_cast<const Bytef*>(content.data());
        const std::string size = little(content.size(), 4);
        // Version needed; flags, method, time and date; checksum; sizes; the lengths of the name and of no
        // more.
        const std::string facts = little(20, 2) + little(0, 8)
            + little(crc32(0, plain, static_cast<uInt>(content.size())), 4) + size + size
            + little(name.size(), 2) + little(0, 2);
        // Version made by; comment, disk and attributes; place.
        directory += "PK\1\2" + little(20, 2) + facts + little(0, 10) + little(bytes.size(), 4) + name;
        bytes += "PK\3\4" + facts + name + content;
    }
    const std::string count = little(entries.size(), 2);
    return bytes + directory + "PK\5\6" + little(0, 4) + count + count + little(directory.size(), 4)
        + little(bytes.size(), 4) + little(0, 2);
}

struct Unpacked : KRContainerFolderDelegate {
    void finishedCompressingFileInside(const std::shared_ptr<KRContainerFolder>& which) override
    {
        folder = which;
    }
    std::shared_ptr<KRContainerFolder> folder;
};

struct Unpacking : WithMessages {
    Unpacking() { EXPECT_TRUE(files::createDirectory(inside_)); }

    std::vector<std::string> unpack(const std::string& name, const std::string& bytes)
    {
        EXPECT_TRUE(files::writeFile(inside_ + "/" + name, bytes));
        const auto delegate = std::make_shared<Unpacked>();
        const auto folder = KRContainerFolder::createWithFolder(inside_, false);
        folder->uncompressFile(name, delegate);
        EXPECT_TRUE(MainLoop::main().runUntil([&] { return delegate->folder != nullptr; }, 30));
        return delegate->folder ? delegate->folder->entries() : std::vector<std::string>();
    }

    std::string inside_ = folder_ / "inside";
};

TEST_F(Unpacking, FillsTheFolder)
{
    EXPECT_THAT(unpack("good.zip", archive({{"a.txt", "text"}, {"deep/b.txt", "more"}})),
        ElementsAre("a.txt", "deep", "good.zip"));
    EXPECT_EQ(files::readFile(inside_ + "/a.txt"), "text");
    EXPECT_EQ(files::readFile(inside_ + "/deep/b.txt"), "more");
    unpack("a1.zip", archive({{"other", "x"}}));
    ASSERT_TRUE(files::remove(inside_ + "/other"));
    EXPECT_THAT(unpack("a[1].zip", archive({{"bracket", "x"}})),
        testing::AllOf(testing::Contains("bracket"), testing::Not(testing::Contains("other"))));
    // A name is no option, and what is there stays, instead of a question that nobody sees.
    EXPECT_THAT(unpack("-d..zip", archive({{"a.txt", "new"}, {"c", ""}})), testing::Contains("c"));
    EXPECT_EQ(files::readFile(inside_ + "/a.txt"), "text");
}

TEST_F(Unpacking, WritesNothingOutside)
{
    ASSERT_EQ(
        ::symlink(folder_.path().c_str(), (inside_ + "/link").c_str()), 0); // As an archive may bring one.
    unpack("hostile.zip",
        archive(
            {{"../climbed", "x"}, {folder_ / "absolute", "x"}, {"a/../../climbed2", "x"}, {"good", "x"}}));
    EXPECT_THAT(*files::contentsOfDirectory(folder_.path()), ElementsAre("inside"));
    EXPECT_TRUE(files::exists(inside_ + "/good"));
    EXPECT_FALSE(files::exists(inside_ + "/link"));
    const std::string whole = archive({{"b", std::string(2000, 'x')}});
    EXPECT_THAT(unpack("broken.zip", whole.substr(0, 900)), testing::Contains("broken.zip"));
    EXPECT_THAT(unpack("empty.zip", ""), testing::Contains("empty.zip"));
}

TEST_F(Unpacking, RefusesOtherEndings)
{
    const auto delegate = std::make_shared<Unpacked>();
    for (const char* name : {"a.tar", "a.ZIP", "zip"})
        KRContainerFolder::createWithFolder(inside_, false)->uncompressFile(name, delegate);
    EXPECT_THAT(messages(), ElementsAre("Unsupported ending", "Unsupported ending", "Unsupported ending"));
    EXPECT_EQ(delegate->folder, nullptr);
    KRContainerFolder::createWithFolder(folder_ / "missing", false)->uncompressFile("a.zip", delegate);
    EXPECT_NE(delegate->folder, nullptr);
    EXPECT_EQ(messages().back(), "Could not unpack an archive.");
}

// unzip waits for the other end of a pipe, and would write into a folder that is being removed.
TEST_F(Unpacking, EndsWithItsFolder)
{
    ASSERT_EQ(::mkfifo((inside_ + "/slow.zip").c_str(), 0600), 0);
    const auto delegate = std::make_shared<Unpacked>();
    KRContainerFolder::createWithFolder(inside_, true)->uncompressFile("slow.zip", delegate);
    EXPECT_FALSE(files::exists(inside_));
    EXPECT_THAT(messages(), ElementsAre("Dangling tasks"));
    EXPECT_EQ(delegate->folder, nullptr);
}

} // namespace
} // namespace temporarytest
