#include "ssh/Peer.h"
#include "ssh/Support.h"
#include "ssh/sftp/CkoSFtp.h"
#include "ssh/sftp/SFtpListing.h"
#include "ssh/transport/Messages.h"

#include <gmock/gmock.h>

#include <algorithm>

using namespace ssh;
using support::readFile;
using support::writeFile;
using testing::HasSubstr;

namespace {

struct Files : peer::Session<CkoSFtp> {
    explicit Files(const peer::Options& options, const std::function<void(CkoSFtp&)>& change = nullptr)
        : Session(options, change)
    {
        ready = ready && client.InitializeSftp();
    }
    CkoSFtp& sftp = client;
};

struct Form {
    int version;
    bool reversed;
    std::uint32_t mostRead;
    std::uint32_t window;
};

struct SFtp : testing::TestWithParam<Form> {
    peer::Options options() const
    {
        peer::Options options;
        options.sftpVersion = GetParam().version;
        options.reversed = GetParam().reversed;
        options.mostRead = GetParam().mostRead;
        options.window = GetParam().window;
        options.slipsInBefore = message::kChannelData; // What the server prints for a person.
        options.slip =
            WireWriter(message::kChannelExtendedData).uint32(0).uint32(1).string("a warning").take();
        options.files = {{"folder/", ""}, {"folder/one", "1"}, {"folder/t\xfcrm", "2"}, {"big", big_},
            {"empty", ""}, {"made-up", "content"}};
        return options;
    }
    const std::string big_ = support::randomText(3'000'001);
};

TEST_P(SFtp, CarriesFilesBothWays)
{
    Files files(options());
    CkoSFtp& sftp = files.sftp;
    ASSERT_TRUE(files.ready) << sftp.LastErrorText();
    EXPECT_EQ(sftp.ProtocolVersion(), GetParam().version);
    const std::string local = files.folder / "local";

    EXPECT_TRUE(sftp.DownloadFileByName("big", local)) << sftp.LastErrorText();
    EXPECT_TRUE(readFile(local) == big_);
    EXPECT_EQ(platform::files::attributes(local)->permissions & 07137, 0u); // No more than the server's 0640.
    for (const std::size_t have : {std::size_t{0}, std::size_t{1}, big_.size() - 1, big_.size()}) {
        writeFile(local, big_.substr(0, have));
        EXPECT_TRUE(sftp.ResumeDownloadFileByName("big", local)) << sftp.LastErrorText();
        EXPECT_TRUE(readFile(local) == big_) << have;
    }
    // What can't be the beginning of the remote file, or can't be replaced by it, stays as it is.
    writeFile(local, "longer");
    for (const char* shorter : {"folder/one", "empty"}) {
        EXPECT_FALSE(sftp.ResumeDownloadFileByName(shorter, local));
        EXPECT_THAT(sftp.LastErrorText(), HasSubstr(local + " has 6 bytes and the remote one "));
        EXPECT_FALSE(sftp.ResumeUploadFileByName("big", local));
        EXPECT_THAT(sftp.LastErrorText(), HasSubstr("has 3000001 bytes and the local one 6"));
    }
    EXPECT_FALSE(sftp.DownloadFileByName("folder", local) || sftp.UploadFileByName("none/up", local));
    EXPECT_EQ(readFile(local), "longer");
    EXPECT_TRUE(sftp.DownloadFileByName("empty", local));
    EXPECT_EQ(readFile(local), "");
    writeFile(local, "con");
    EXPECT_TRUE(sftp.ResumeDownloadFileByName("made-up", local)) << sftp.LastErrorText();
    EXPECT_EQ(readFile(local), "content");
    EXPECT_FALSE(sftp.DownloadFileByName("none", files.folder / "new"));
    EXPECT_THAT(sftp.LastErrorText(), HasSubstr("Downloading none failed. The server says: no such file"));
    EXPECT_EQ(readFile(files.folder / "new"), "");
    EXPECT_FALSE(sftp.DownloadFileByName("big", files.folder.path()));

    writeFile(local, big_);
    EXPECT_TRUE(sftp.UploadFileByName("up", local)) << sftp.LastErrorText();
    writeFile(local, "short");
    EXPECT_TRUE(sftp.UploadFileByName("big", local)) << sftp.LastErrorText();
    writeFile(local, "1 and more");
    EXPECT_TRUE(sftp.ResumeUploadFileByName("folder/one", local)) << sftp.LastErrorText();
    EXPECT_FALSE(sftp.UploadFileByName("big", files.folder / "none"));
    const peer::Seen seenByPeer = files.seen();
    // Many reads are under way as soon as the file's length is known.
    EXPECT_GE(seenByPeer.mostReplies, GetParam().window == 4000 ? 1u : 10u);
    auto seen = seenByPeer.files;
    EXPECT_TRUE(seen["up"] == big_);
    EXPECT_EQ(seen["big"], "short");
    EXPECT_EQ(seen["folder/one"], "1 and more");
}

TEST_P(SFtp, ListsExaminesAndChanges)
{
    Files files(options());
    ASSERT_TRUE(files.ready) << files.sftp.LastErrorText();
    CkoSFtp& sftp = files.sftp;
    const auto handle = sftp.OpenDir("folder");
    ASSERT_TRUE(handle) << sftp.LastErrorText();
    const auto listing = sftp.ReadDir(handle);
    ASSERT_TRUE(listing) << sftp.LastErrorText();
    // Neither the dot entries nor names that lead elsewhere; names in UTF-8, out of the server's charset.
    ASSERT_EQ(listing->NumFilesAndDirs(), 2);
    EXPECT_EQ(listing->GetFilename(0) + listing->GetFilename(1) + listing->GetFilename(2), "onet\xc3\xbcrm");
    EXPECT_EQ(listing->GetFileObject(-1), nullptr);
    const auto one = listing->GetFileObject(0);
    EXPECT_TRUE(one->IsRegular() && one->Size64() == 1 && one->Permissions() == 0640);
    EXPECT_TRUE(sftp.CloseHandle(*handle));
    EXPECT_FALSE(sftp.CloseHandle(*handle));
    EXPECT_FALSE(sftp.ReadDir(std::nullopt) || sftp.ReadDir("no handle"));

    EXPECT_EQ(sftp.GetFilePermissions("folder/t\xc3\xbcrm", false, false), 0640) << sftp.LastErrorText();
    EXPECT_EQ(sftp.GetFileSize64("big", true, false), 3'000'001);
    EXPECT_LT(sftp.GetFilePermissions("none", false, false), 0);
    EXPECT_TRUE(sftp.GetFileCreateTime("folder", false, false)); // Although the server keeps no such time.
    // Version 3 has only access and modification time together, which this server doesn't send.
    EXPECT_EQ(sftp.GetFileLastModified("big", false, false),
        CkoDate(std::chrono::seconds(GetParam().version == 3 ? 0 : 1234567890)));
    EXPECT_TRUE(sftp.CreateDir("new"));
    EXPECT_FALSE(sftp.CreateDir("new"));

    EXPECT_FALSE(sftp.OpenFile("big", "readonly", "openExisting"));
    const auto reading = sftp.OpenFile("big", "readOnly", "openExisting");
    ASSERT_TRUE(reading);
    EXPECT_EQ(sftp.ReadFileText(*reading, 0, "us-ascii"), "");
    EXPECT_EQ(sftp.ReadFileText(*reading, 3, "ISO-8859-1")->size(), 5u); // Two of three aren't ASCII.
    const auto wide = std::count_if(big_.begin() + 3, big_.end(), [](char c) { return c < 0; });
    EXPECT_EQ(sftp.ReadFileText(*reading, 9'000'000, "ISO-8859-1")->size(),
        big_.size() - 3 + static_cast<std::size_t>(wide));
    EXPECT_EQ(sftp.ReadFileText(*reading, 32, "us-ascii"), "");
    EXPECT_FALSE(sftp.ReadFileText(*reading, 1, "no-such-charset"));
    EXPECT_EQ(sftp.GetFileSize64(*reading, false, true), 3'000'001);
    EXPECT_LT(sftp.GetFileSize64("no handle", false, true), 0);
    EXPECT_FALSE(sftp.SetPermissions("no handle", true, 0700));
    EXPECT_TRUE(sftp.SetPermissions(*reading, true, 0700));
    const auto writing = sftp.OpenFile("written", "writeOnly", "createTruncate");
    ASSERT_TRUE(writing);
    for (const std::string part : {"in ", "two parts"})
        EXPECT_TRUE(
            sftp.WriteFileBytes(*writing, {reinterpret_cast<const std::uint8_t*>(part.data()), part.size()}));
    EXPECT_EQ(sftp.GetFileSize64("written", false, false), 12);
    EXPECT_TRUE(sftp.SetPermissions("big", false, 010751)) << sftp.LastErrorText();
    peer::Seen seen = files.seen();
    EXPECT_EQ(sftp.ReadFileText(*reading, 1, "us-ascii"), std::nullopt);
    EXPECT_EQ(seen.files["written"], "in two parts");
    EXPECT_EQ(seen.permissions, 0751u);
}

INSTANTIATE_TEST_SUITE_P(Forms, SFtp,
    testing::Values(Form{3, false, 1 << 20, 1 << 20}, Form{4, true, 1 << 20, 1 << 20},
        Form{5, false, 5000, 1 << 20}, Form{6, true, 30000, 1 << 20}, Form{6, false, 1 << 20, 4000},
        Form{3, true, 700, 100000}));

TEST(SFtpLimits, FollowTheServersVersionLine)
{
    const std::tuple<const char*, int, std::uint32_t, std::size_t> cases[] = {
        {"SSH-2.0-VShell_2_6_3", 3, 61440, 0}, {"SSH-2.0-VShell_3_0", 6, 32768, 0},
        {"SSH-2.0-mod_sftp/0.9", 3, 61440, 0}, {"SSH-2.0-Maverick_SSHD", 3, 61440, 0},
        {"SSH-2.0-comForte", 6, 24576, 0}, {"SSH-2.0-srtSSHServer_10.00", 6, 61440, 2},
        {"SSH-2.0-SP CR LF", 6, 61440, 2}, {"SSH-2.0-CrushFTPSSHD_5", 6, 61440, 2},
        {"SSH-2.0-WS_FTP-SSH", 6, 61440, 2}, {"SSH-2.0-1.2 Globalscape", 6, 61440, 2},
        {"SSH-2.0-OpenSSH_9.2", 6, 61440, 0}};
    for (const auto& [server, version, chunk, slots] : cases) {
        const SFtpServerLimits limits = limitsFor(server);
        EXPECT_TRUE(
            limits.offeredVersion == version && limits.readChunk == chunk && limits.readSlots == slots)
            << server;
        peer::Options options;
        options.version = server;
        options.sftpVersion = version;
        options.files = {{"file", support::randomText(300000)}};
        Files files(options);
        ASSERT_TRUE(files.ready) << files.sftp.LastErrorText();
        EXPECT_TRUE(files.sftp.DownloadFileByName("file", files.folder / "local"));
        EXPECT_TRUE(readFile(files.folder / "local") == options.files["file"]);
        const peer::Seen seen = files.seen();
        EXPECT_TRUE(seen.window == 327680 && seen.packet == 32768);
        EXPECT_GE(seen.windowTotal, 16u << 20); // Widened at once.
        EXPECT_LE(seen.mostReplies, slots == 0 ? 1000 : slots + 1); // And one for the size.
    }
    EXPECT_EQ(Files({}, [](CkoSFtp& sftp) { sftp.setForceV3(true); }).sftp.ProtocolVersion(), 3);
    peer::Options old;
    old.sftpVersion = 2;
    EXPECT_EQ(Files(old).sftp.ProtocolVersion(), 3);
}

TEST(SFtpFileAttr, ReadsEveryFieldOfEveryVersion)
{
    constexpr std::uint64_t kNanoseconds = 9;
    for (const int version : {3, 4, 5, 6}) {
        WireWriter all;
        const auto time = [&](std::uint64_t seconds) { all.uint64(seconds).uint32(kNanoseconds); };
        all.uint32(version == 3 ? 0x8000000f
                : version == 4  ? 0x800001fd
                : version == 5  ? 0x800003fd
                                : 0x8000fffd);
        if (version == 3)
            all.uint64(77).uint32(5).uint32(6).uint32(0100644).uint32(11).uint32(13);
        else
            all.byte(1).uint64(77);
        if (version == 6)
            all.uint64(4096); // The space that it takes.
        if (version >= 4) {
            all.string("5").string("6").uint32(0644);
            for (const std::uint64_t seconds : {11, 12, 13})
                time(seconds);
        }
        if (version == 6)
            time(14);
        if (version >= 4)
            all.string("acl");
        if (version >= 5)
            all.uint32(1); // Flags of the file, and in version 6 which of them hold.
        if (version == 6)
            all.uint32(1).byte(0).string("text/plain").uint32(2).string("raw");
        all.uint32(1).string("name@example").string("value");
        WireReader reader(all);
        const SFtpFileAttr attr = SFtpFileAttr::read(reader, version).value_or(SFtpFileAttr());
        EXPECT_TRUE(reader.okAndEmpty()) << version;
        EXPECT_TRUE(attr.type == SFtpFileAttr::Type::Regular && attr.size == 77u);
        EXPECT_EQ(attr.owner.value_or("") + attr.group.value_or(""), "56");
        EXPECT_EQ(attr.permissions.value_or(0) & 07777, 0644u);
        EXPECT_TRUE(attr.accessTime == 11 && attr.modifyTime == 13);
        EXPECT_EQ(attr.createTime, version == 3 ? std::nullopt : std::optional<std::int64_t>(12));
        for (std::size_t cut = 0; cut < all.bytes().size(); ++cut) {
            WireReader torn(ByteView(all).first(cut));
            EXPECT_FALSE(SFtpFileAttr::read(torn, version)) << version << " " << cut;
        }
    }
}

TEST(SFtpSettings, TakeEffect)
{
    const std::tuple<std::uint32_t, int, std::size_t> uploads[] = {{1 << 20, 32000, 32000},
        {1 << 20, 5000, 5000}, {1 << 20, 1, 1024}, {32299, 32000, 31999}, {32300, 32000, 32000},
        {200, 32000, 1024}};
    for (const auto& [window, chunk, written] : uploads) {
        peer::Options options;
        options.window = window;
        Files files(options, [&](CkoSFtp& sftp) { sftp.setUploadChunkSize(chunk); });
        writeFile(files.folder / "local", support::randomText(100000));
        EXPECT_TRUE(files.sftp.UploadFileByName("up", files.folder / "local")) << files.sftp.LastErrorText();
        EXPECT_EQ(files.seen().mostWritten, written);
    }
    // The cache holds what was examined until something may have changed it.
    peer::Options options;
    options.files = {{"file", "content"}};
    Files files(options, [](CkoSFtp& sftp) { sftp.setEnableCache(true); });
    CkoSFtp& sftp = files.sftp;
    writeFile(files.folder / "local", "");
    const auto handle = sftp.OpenFile("file", "writeOnly", "openExisting");
    const std::function<bool()> changes[] = {[] { return true; }, [&] { return sftp.CreateDir("new"); },
        [&] { return sftp.SetPermissions("file", false, 0600); },
        [&] { return sftp.WriteFileBytes(*handle, viewOf("x")); },
        [&] { return sftp.OpenFile("file", "readWrite", "openOrCreate").has_value(); },
        [&] { return sftp.UploadFileByName("other", files.folder / "local"); }};
    for (const auto& change : changes) {
        EXPECT_TRUE(change());
        for (int twice = 0; twice < 2; ++twice)
            EXPECT_EQ(sftp.GetFileSize64("file", true, false) + sftp.GetFileSize64("file", false, false), 14);
    }
    EXPECT_EQ(files.seen().examined, 2 * std::size(changes));
}

TEST(SFtpListing, ShowsWhatTheServerTells)
{
    using Type = SFtpFileAttr::Type;
    const auto at = [](std::int64_t seconds) { return CkoDate(std::chrono::seconds(seconds)); };
    auto entries = std::make_shared<std::vector<SFtpEntry>>();
    entries->push_back({"a", {Type::Directory, 1ull << 63, "me", "us", 041777, 11, 12, INT64_MAX}});
    entries->push_back({"b", {Type::SymbolicLink, INT64_MAX, {}, {}, {}, {}, {}, INT64_MIN}});
    entries->push_back({"c", {Type::Regular, {}, {}, {}, {}, {}, {}, {}}});
    const CkoSFtpDir listing(entries);
    const auto a = listing.GetFileObject(0);
    const auto b = listing.GetFileObject(1);
    const auto c = listing.GetFileObject(2);
    EXPECT_TRUE(a->IsDirectory() && !a->IsRegular() && !a->IsSymLink() && b->IsSymLink() && c->IsRegular());
    EXPECT_TRUE(a->Filename() == "a" && a->Owner() == "me" && a->Group() == "us" && b->Owner().empty());
    EXPECT_TRUE(a->Size64() == -1 && b->Size64() == INT64_MAX && c->Size64() == -1);
    EXPECT_TRUE(a->Permissions() == 01777 && b->Permissions() == 0);
    EXPECT_TRUE(a->LastAccessTime() == at(11) && a->CreateTime() == at(12) && !c->LastModifiedTime());
    // As far as the clock reaches.
    EXPECT_TRUE(a->LastModifiedTime() == at(9'000'000'000) && b->LastModifiedTime() == at(-9'000'000'000));
    EXPECT_EQ(listing.GetFileObject(3), nullptr);
}

// What a reply of the SFTP server may not be; each ends the call with a reason.
TEST(SFtpReplies, ThatLieEndTheCall)
{
    using Lie = std::function<void(Bytes&)>;
    // Channel data: number, channel, length, then a reply with length, type, id and the length of the data.
    const auto at = [](std::size_t place, std::uint32_t number) -> Lie {
        return [=](Bytes& payload) { storeUint32(&payload[place], number); };
    };
    const auto type = [](std::uint8_t number) -> Lie {
        return [=](Bytes& payload) { payload[13] = number; };
    };
    const auto instead = [](const WireWriter& other) -> Lie {
        return [bytes = other.bytes()](Bytes& payload) { payload = bytes; };
    };
    const Lie lies[] = {at(9, 0xffffffff), at(9, 4), at(14, 0xabcdef), at(18, 0x7fffffff), at(18, 0),
        at(1, 5), at(5, 0x7fffffff), type(sftp::kHandle), type(250),
        instead(WireWriter(message::kChannelClose).uint32(0)),
        instead(WireWriter(message::kDisconnect).uint32(2).string("gone").string(""))};
    for (const auto& lie : lies) {
        peer::Options options;
        options.files = {{"file", "some content"}};
        options.onSend = [&lie](Bytes& payload) {
            if (payload[0] == message::kChannelData && payload.size() > 18 && payload[13] == sftp::kData)
                lie(payload);
        };
        Files files(options, [](CkoSFtp& sftp) { sftp.setIdleTimeoutMs(500); });
        ASSERT_TRUE(files.ready) << files.sftp.LastErrorText();
        EXPECT_FALSE(files.sftp.DownloadFileByName("file", files.folder / "local"));
        EXPECT_FALSE(files.sftp.LastErrorText().empty());
        EXPECT_EQ(readFile(files.folder / "local"), "");
    }
    // Crumbs, and those out of order, would have to be kept one by one.
    peer::Options crumbs;
    crumbs.mostRead = 1;
    crumbs.reversed = true;
    crumbs.files = {{"file", support::randomText(3'000'000)}};
    Files files(crumbs);
    EXPECT_FALSE(files.sftp.DownloadFileByName("file", files.folder / "local"));
    EXPECT_THAT(files.sftp.LastErrorText(), HasSubstr("too small"));
    // A new connection has no files before they are asked for again, and knows no handle of the old one.
    const auto old = files.sftp.OpenFile("file", "readOnly", "openExisting");
    EXPECT_TRUE(files.sftp.Connect("127.0.0.1", files.peer.port()));
    EXPECT_TRUE(files.sftp.AuthenticatePw("user", "secret"));
    EXPECT_FALSE(files.sftp.OpenDir("folder"));
    EXPECT_THAT(files.sftp.LastErrorText(), HasSubstr("InitializeSftp"));
    EXPECT_TRUE(files.sftp.InitializeSftp());
    EXPECT_FALSE(files.sftp.CloseHandle(*old));
}

} // namespace
