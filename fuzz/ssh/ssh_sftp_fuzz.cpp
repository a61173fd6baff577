// Replies of an SFTP server in versions 3 to 6: the version comes from the first byte of the input, and the
// rest is handed out as replies while a session opens, reads, lists, examines and writes. The id of each
// reply is put right, unless the input says otherwise: a wrong one ends everything at once.

#include "ssh/Payloads.h"

#include "ssh/crypto/Wire.h"
#include "ssh/sftp/SFtpListing.h"
#include "ssh/sftp/SFtpTransfer.h"

namespace {

using namespace ssh;

class ScriptedHost : public ChannelHost {
public:
    explicit ScriptedHost(std::vector<ByteView> replies)
        : table_([this](ByteView head, ByteView body) { return note(head, body); }),
          replies_(std::move(replies))
    { }
    bool connected() const override { return true; }
    const std::string& serverVersion() const override { return version_; }
    std::uint32_t openWindow() const override { return 1 << 20; }
    std::size_t unsent() const override { return 0; }
    ChannelTable& channels() override { return table_; }
    Status flush() override { return {}; }
    Status waitUntil(Deadline, const std::function<bool()>& done) override { return waitFor(done); }
    Result<std::uint32_t> requestChannel(bool) override
    {
        auto number = table_.open(openWindow(), 32768);
        (void)table_.receive(WireWriter(91).uint32(*number).uint32(0).uint32(100000000).uint32(32768));
        return number;
    }
    Status waitFor(const std::function<bool()>& done) override
    {
        while (!done()) {
            if (next_ >= replies_.size())
                return Error{"The script has ended."};
            const ByteView reply = replies_[next_++];
            WireWriter data;
            if (reply[0] == 0) {
                data.raw(reply.subspan(1));
            } else if (next_ == 1 || asked_.empty()) {
                data.string(reply);
            } else {
                const std::size_t which = reply.size() > 1 ? reply[1] % asked_.size() : 0;
                WireWriter whole(reply[0]);
                whole.uint32(asked_[which]).raw(reply.subspan(std::min<std::size_t>(2, reply.size())));
                asked_.erase(asked_.begin() + static_cast<std::ptrdiff_t>(which));
                data.string(whole);
            }
            const Status status = table_.receive(WireWriter(94).uint32(0).string(data));
            if (!status.ok())
                return status;
        }
        return {};
    }

private:
    // Remembers the ids of requests: length, type, id follow the head of the channel's data.
    Status note(ByteView head, ByteView)
    {
        if (head.size() >= 18 && head[0] == 94 && head[13] != sftp::kInit)
            asked_.push_back(loadUint32(&head[14]));
        return {};
    }

    ChannelTable table_;
    std::vector<ByteView> replies_;
    std::size_t next_ = 0;
    std::vector<std::uint32_t> asked_;
    std::string version_ = "SSH-2.0-Fuzz";
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    const Bytes version = WireWriter(sftp::kVersion).uint32(3u + (data[0] & 3)).take();
    std::vector<ByteView> replies = splitPayloads({data + 1, size - 1});
    if (!(data[0] & 0x80))
        replies.insert(replies.begin(), version);
    ScriptedHost host(std::move(replies));
    const auto session = SFtpSession::open(host, {});
    if (!session.ok())
        return 0;
    SFtpSession& sftp = **session;
    const auto handle = data[0] & 4 ? sftp.openFile("f", SFtpAccess::Read, SFtpDisposition::OpenExisting)
                                    : sftp.openDirectory("d");
    const Bytes used = handle.ok() ? *handle : Bytes();
    if (data[0] & 4) {
        std::uint64_t position = data[0] & 8 ? 100 : 0;
        SFtpDownload download(sftp, used, position, std::nullopt, [&](ByteView piece) {
            position += piece.size();
            return Status();
        });
        const Status status = download.run();
        if (download.position() != position && status.ok())
            __builtin_trap(); // What counts as read must have been put out.
    } else {
        (void)readListing(sftp, used, (data[0] & 8) != 0);
    }
    (void)sftp.attributes(sftp::kLstat, viewOf("path"));
    int chunks = 3;
    SFtpUpload upload(sftp, used, 0,
        [&](std::span<std::uint8_t> into) -> Result<std::size_t> { return chunks-- > 0 ? into.size() : 0; });
    (void)upload.run(true);
    return 0;
}
