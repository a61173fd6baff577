#include "temporary/KRContainerFolder.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/TemporaryFolder.h"
#include "platform/files/FileManager.h"
#include "platform/loop/MainLoop.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

namespace {

namespace files = platform::files;
using testing::ElementsAre;

void append(std::string& bytes, std::uint64_t number, int size)
{
    for (int byte = 0; byte < size; ++byte)
        bytes += static_cast<char>(byte < 8 ? number >> (8 * byte) : 0);
}

// A zip archive with stored entries, of any names (PKWARE's APPNOTE 4.3).
std::string archive(const std::vector<std::pair<std::string, std::string>>& entries)
{
    std::string bytes;
    std::string directory;
    for (const auto& [name, content] : entries) {
        std::string facts;
        append(facts, 20, 2); // Version needed; then flags, method, time and date.
        append(facts, 0, 8);
        append(facts,
            crc32(0, reinterpret_cast<const Bytef*>(content.data()), static_cast<uInt>(content.size())), 4);
        append(facts, content.size(), 4);
        append(facts, content.size(), 4);
        append(facts, name.size(), 2);
        append(facts, 0, 2);
        directory += "PK\1\2";
        append(directory, 20, 2);
        directory += facts;
        append(directory, 0, 10); // Comment, disk, attributes.
        append(directory, bytes.size(), 4);
        directory += name;
        bytes += "PK\3\4" + facts + name + content;
    }
    const auto start = bytes.size();
    bytes += directory + "PK\5\6";
    append(bytes, 0, 4);
    append(bytes, entries.size(), 2);
    append(bytes, entries.size(), 2);
    append(bytes, directory.size(), 4);
    append(bytes, start, 4);
    append(bytes, 0, 2);
    return bytes;
}

struct Unpacked : KRContainerFolderDelegate {
    void finishedCompressingFileInside(const std::shared_ptr<KRContainerFolder>& which) override
    {
        folder = which;
    }
    std::shared_ptr<KRContainerFolder> folder;
};

class Unpacking : public testing::Test {
protected:
    Unpacking()
    {
        KRMessageCenter::setSharedCenter(center_);
        EXPECT_TRUE(files::createDirectory(inside_));
    }
    ~Unpacking() override { platform::MainLoop::main().runPending(); }

    // The entries afterwards.
    std::vector<std::string> unpack(const std::string& name, const std::string& bytes)
    {
        EXPECT_TRUE(files::writeFile(inside_ + "/" + name, bytes));
        const auto delegate = std::make_shared<Unpacked>();
        const auto folder = KRContainerFolder::createWithFolder(inside_, false);
        folder->uncompressFile(name, delegate);
        EXPECT_TRUE(platform::MainLoop::main().runUntil([&] { return delegate->folder != nullptr; }, 30));
        return delegate->folder ? delegate->folder->entries() : std::vector<std::string>();
    }

    TemporaryFolder folder_;
    std::string inside_ = folder_ / "inside";
    std::shared_ptr<KRMessageCenter> center_ = KRMessageCenter::create();
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
    for (const char* name : {"a.tar", "a.ZIP", "zip"}) {
        KRContainerFolder::createWithFolder(inside_, false)->uncompressFile(name, delegate);
        platform::MainLoop::main().runPending();
        EXPECT_EQ(center_->messages().back()->shortDescription(), "Unsupported ending");
        EXPECT_EQ(delegate->folder, nullptr);
    }
    EXPECT_EQ(center_->messages().size(), 3U);
    KRContainerFolder::createWithFolder(folder_ / "missing", false)->uncompressFile("a.zip", delegate);
    EXPECT_NE(delegate->folder, nullptr);
    platform::MainLoop::main().runPending();
    EXPECT_EQ(center_->messages().back()->shortDescription(), "Could not unpack an archive.");
}

// unzip waits for the other end of a pipe, and would write into a folder that is being removed.
TEST_F(Unpacking, EndsWithItsFolder)
{
    ASSERT_EQ(::mkfifo((inside_ + "/slow.zip").c_str(), 0600), 0);
    const auto delegate = std::make_shared<Unpacked>();
    KRContainerFolder::createWithFolder(inside_, true)->uncompressFile("slow.zip", delegate);
    EXPECT_FALSE(files::exists(inside_));
    platform::MainLoop::main().runPending();
    ASSERT_EQ(center_->messages().size(), 1U);
    EXPECT_EQ(center_->messages()[0]->shortDescription(), "Dangling tasks");
    EXPECT_EQ(delegate->folder, nullptr);
}

} // namespace
