#include "ssh/Peer.h"
#include "ssh/Support.h"
#include "ssh/sftp/CkoSFtp.h"
#include "ssh/sftp/SFtpSession.h"
#include "ssh/transport/Messages.h"

#include <gmock/gmock.h>

#include <algorithm>

using namespace ssh;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr std::size_t kLarge = 150'000; // Bytes: a file that goes by itself.

class ManyFiles : public testing::Test {
protected:
    ManyFiles()
    {
        options_.files = {{"folder/", ""}, {"folder/one", "1"}, {"folder/two", "22"}, {"bare/", ""},
            {"small", small_}, {"large", large_}, {"made-up", "content"}, {"empty", ""}};
    }
    // A session with SFTP started; it lasts until the next one.
    CkoSFtp& start()
    {
        session_.reset();
        session_ = std::make_unique<peer::Session<CkoSFtp>>(
            options_, [](CkoSFtp& sftp) { sftp.setIdleTimeoutMs(2000); });
        ready_ = session_->ready && session_->client.InitializeSftp();
        return session_->client;
    }
    std::string local(const std::string& name) const { return folder_ / name; }
    std::string localText(const std::string& name) const { return support::readFile(folder_ / name); }
    std::vector<CkoDownload> downloads() const
    {
        return {{"small", local("small"), false, static_cast<std::int64_t>(small_.size())},
            {"large", local("large"), false, static_cast<std::int64_t>(large_.size())},
            {"folder/two", local("two"), false, 2}};
    }
    // Whatever has gone wrong, a file here is the beginning of the remote one.
    void expectBeginnings() const
    {
        for (const auto& [name, content] : {std::pair{"small", &small_}, std::pair{"large", &large_}})
            EXPECT_TRUE(content->starts_with(localText(name))) << name;
    }

    const std::string small_ = support::randomText(2'345);
    const std::string large_ = support::randomText(kLarge);
    peer::Options options_;
    TemporaryFolder folder_;
    std::unique_ptr<peer::Session<CkoSFtp>> session_;
    bool ready_ = false;
};

TEST_F(ManyFiles, HaveTheirResultsInTheOrderOfTheRequests)
{
    for (const auto& [version, reversed, mostRead] :
        {std::tuple{3, false, 1u << 20}, std::tuple{6, true, 1u << 20}, std::tuple{4, true, 700u}}) {
        options_.sftpVersion = version;
        options_.reversed = reversed;
        options_.mostRead = mostRead;
        CkoSFtp& sftp = start();
        ASSERT_TRUE(ready_) << sftp.LastErrorText();
        EXPECT_THAT(sftp.CreateDirs({"folder", "new", "new/inner"}), ElementsAre(true, true, true));
        EXPECT_THAT(sftp.OpenedFileSizes({"large", "none/", "folder/two", "empty"}),
            ElementsAre(static_cast<std::int64_t>(kLarge), -1, 2, 0));
        const auto listings = sftp.ReadDirs({"folder", "none", "bare"});
        ASSERT_EQ(listings.size(), 3u);
        ASSERT_TRUE(listings[0] && !listings[1] && listings[2]) << sftp.LastErrorText();
        EXPECT_EQ(listings[0]->NumFilesAndDirs(), 2); // Without the names that lead elsewhere.
        EXPECT_EQ(listings[0]->GetFilename(1), "two");
        EXPECT_EQ(listings[2]->NumFilesAndDirs(), 0);

        support::writeFile(local("here"), "local text");
        std::vector<std::size_t> reports;
        const auto sent = sftp.UploadFiles(
            {{"up1", local("here"), {}, {}}, {"up2", local("missing"), {}, {}},
                {"up3", {}, viewOf(large_), 0751}, {"none/up4", {}, viewOf("x"), {}}, {"up5", {}, {}, 0640}},
            [&](std::size_t done) { reports.push_back(done); });
        ASSERT_EQ(sent.size(), 5u);
        EXPECT_TRUE(sent[0].ok() && sent[2].ok() && sent[4].ok()) << sent[2].error;
        EXPECT_THAT(sent[1].error, HasSubstr("missing"));
        EXPECT_THAT(sent[3].error, HasSubstr("no such file"));
        EXPECT_FALSE(sent[1].opened || sent[3].opened);
        EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
        EXPECT_EQ(reports.empty() ? 0 : reports.back(), 5u);

        auto wanted = downloads();
        wanted.push_back({"none", local("none"), false, 5});
        const auto got = sftp.DownloadFiles(wanted);
        ASSERT_EQ(got.size(), 4u);
        EXPECT_TRUE(got[0].ok() && got[1].ok() && got[2].ok()) << got[0].error << got[1].error;
        EXPECT_THAT(got[3].error, HasSubstr("no such file"));
        EXPECT_TRUE(localText("small") == small_ && localText("large") == large_ && localText("two") == "22");
        const peer::Seen seen = session_->seen();
        EXPECT_EQ(seen.files.at("up1"), "local text");
        EXPECT_TRUE(seen.files.at("up3") == large_);
        EXPECT_EQ(seen.files.at("up5"), "");
        EXPECT_EQ(seen.permissions, 0751u); // A large file comes after the small ones.
        EXPECT_GE(seen.mostReplies, 4u); // Requests went out together.
    }
}

// What a caller believes of a size decides only which way a file goes.
TEST_F(ManyFiles, SizesThatLieDoNotHarmAFile)
{
    CkoSFtp& sftp = start();
    ASSERT_TRUE(ready_) << sftp.LastErrorText();
    for (const std::int64_t told :
        {std::int64_t{-1}, std::int64_t{0}, std::int64_t{1}, std::int64_t{1} << 40}) {
        const auto got = sftp.DownloadFiles({{"small", local("small"), false, told},
            {"large", local("large"), false, told}, {"made-up", local("made-up"), false, told}});
        EXPECT_TRUE(got[0].ok() && got[1].ok() && got[2].ok()) << told << got[0].error << got[1].error;
        EXPECT_TRUE(localText("small") == small_ && localText("large") == large_) << told;
        EXPECT_EQ(localText("made-up"), "content");
    }
    for (const std::size_t have : {std::size_t{0}, std::size_t{1}, small_.size() - 1, small_.size()}) {
        support::writeFile(local("small"), small_.substr(0, have));
        support::writeFile(local("large"), large_.substr(0, have));
        const auto got = sftp.DownloadFiles({{"small", local("small"), true, 2345},
            {"large", local("large"), true, static_cast<std::int64_t>(kLarge)}});
        EXPECT_TRUE(got[0].ok() && got[1].ok()) << have << got[0].error << got[1].error;
        EXPECT_TRUE(localText("small") == small_ && localText("large") == large_) << have;
    }
    // What is longer here can't be the beginning of what is there.
    support::writeFile(local("small"), small_ + "more");
    const auto got =
        sftp.DownloadFiles({{"small", local("small"), true, 2345}, {"folder/two", local("two"), false, 2}});
    EXPECT_FALSE(got[0].ok());
    EXPECT_TRUE(got[1].ok()) << got[1].error;
    EXPECT_TRUE(localText("small") == small_ + "more");
}

TEST_F(ManyFiles, AConnectionThatDiesLeavesBeginningsAndAReason)
{
    {
        CkoSFtp& sftp = start();
        ASSERT_TRUE(ready_);
        (void)sftp.DownloadFiles(downloads());
    }
    const std::size_t end = session_->peer.bytesSent();
    const std::size_t begin = end - kLarge - 4000;
    for (std::size_t i = 0; i < 25; ++i) {
        SCOPED_TRACE(i);
        for (const char* name : {"small", "large", "two"})
            std::remove(local(name).c_str());
        options_.cutAt = begin + i * (end - begin - 600) / 25;
        CkoSFtp& sftp = start();
        if (!ready_)
            continue;
        const auto got = sftp.DownloadFiles(downloads());
        EXPECT_FALSE(sftp.LastErrorText().empty());
        EXPECT_FALSE(got[0].ok() && got[1].ok() && got[2].ok());
        EXPECT_TRUE(!got[0].ok() || localText("small") == small_);
        EXPECT_TRUE(!got[1].ok() || localText("large") == large_);
        expectBeginnings();
        // Later calls on what is left fail at once.
        EXPECT_THAT(sftp.OpenedFileSizes({"small"}), ElementsAre(-1));
        EXPECT_THAT(sftp.CreateDirs({"x"}), ElementsAre(false));
        EXPECT_THAT(sftp.ReadDirs({"folder"}), ElementsAre(nullptr));
        EXPECT_FALSE(sftp.UploadFiles({{"up", {}, viewOf("x"), {}}})[0].ok());
    }
}

// An upload is done only when the server has answered all of it: what was written, and that it may be
// executed.
TEST_F(ManyFiles, AnUploadWithoutItsLastAnswersHasFailed)
{
    for (const std::size_t size : {std::size_t{5}, kLarge}) {
        SCOPED_TRACE(size);
        options_.cutAt.reset();
        const auto isDone = [&] {
            return start().UploadFiles({{"up", {}, viewOf(large_).first(size), 0700, true}})[0].ok();
        };
        EXPECT_TRUE(isDone());
        const std::size_t end = session_->peer.bytesSent();
        for (const std::size_t missing : {30u, 60u, 100u, 150u, 200u}) {
            options_.cutAt = end - missing;
            EXPECT_FALSE(isDone()) << missing;
        }
    }
}

TEST_F(ManyFiles, RepliesThatLieEndTheCall)
{
    const std::function<void(Bytes&)> lies[] = {
        [](Bytes& reply) { storeUint32(&reply[9], 0xffffffff); }, // Its length.
        [](Bytes& reply) { storeUint32(&reply[14], 0xabcdef); }, // An id that nobody asked with.
        [](Bytes& reply) { reply[13] = 250; }, // Its type.
        [](Bytes& reply) { storeUint32(&reply[18], 0x7fffffff); }, // The length of what it holds.
        [](Bytes& reply) { reply.resize(reply.size() - 1); },
    };
    for (const std::uint8_t type : {sftp::kData, sftp::kHandle, sftp::kAttrs, sftp::kName})
        for (std::size_t i = 0; i < std::size(lies); ++i) {
            SCOPED_TRACE(testing::Message() << int{type} << " " << i);
            for (const char* name : {"small", "large", "two"})
                std::remove(local(name).c_str());
            options_.onSend = [&, type](Bytes& payload) {
                if (payload[0] == message::kChannelData && payload.size() > 22 && payload[13] == type)
                    lies[i](payload);
            };
            CkoSFtp& sftp = start();
            sftp.setIdleTimeoutMs(200);
            ASSERT_TRUE(ready_) << sftp.LastErrorText();
            const auto listings = sftp.ReadDirs({"folder", "bare"});
            const auto sizes = sftp.OpenedFileSizes({"small"});
            const auto got = sftp.DownloadFiles(downloads());
            EXPECT_EQ(listings.size() + sizes.size() + got.size(), 6u);
            EXPECT_TRUE(type == sftp::kAttrs || !got[0].ok() || type == sftp::kName);
            expectBeginnings();
        }
}

} // namespace
