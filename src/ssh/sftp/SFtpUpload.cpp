#include "ssh/sftp/DownloadTarget.h"
#include "ssh/sftp/SFtpTransfer.h"

#include <algorithm>
#include <utility>

namespace ssh {

namespace {

constexpr std::size_t kMostBytesInFlight = std::size_t{8} * 1024 * 1024;
constexpr std::uint32_t kRequestOverhead = 300; // Bytes beside the chunk, with the longest handle.
constexpr std::uint32_t kLeastWriteChunk = 1024;
constexpr std::uint32_t kMostWriteChunk = 128 * 1024;

} // namespace

SFtpUpload::Input inputFrom(platform::File& file)
{
    return [&file](std::span<std::uint8_t> into) {
        auto count = file.read(into);
        return count.ok() ? count : Result<std::size_t>(localFailure(count.error()));
    };
}

SFtpUpload::Input inputFrom(ByteView bytes)
{
    return [bytes](std::span<std::uint8_t> into) mutable -> Result<std::size_t> {
        const std::size_t count = std::min(into.size(), bytes.size());
        std::copy_n(bytes.begin(), count, into.begin());
        bytes = bytes.subspan(count);
        return count;
    };
}

SFtpUpload::SFtpUpload(SFtpSession& session, ByteView handle, std::uint64_t from, Input input)
    : input_(std::move(input)), offset_(from)
{
    addChannel(session, handle);
    std::uint32_t chunk = std::clamp(session.settings().uploadChunk, kLeastWriteChunk, kMostWriteChunk);
    const std::uint32_t window = session.serverWindow();
    const bool smallWindow = window < chunk + kRequestOverhead;
    // A write that doesn't fit into the server's window would be half sent until there is room: make writes
    // fit.
    if (smallWindow)
        chunk = std::max(window > kRequestOverhead ? window - kRequestOverhead : 0, kLeastWriteChunk);
    mostInFlight_ = kMostBytesInFlight / chunk;
    // Such a server refills the window only when it is all used: send one write at a time.
    if (smallWindow && session.limits().slowWindow)
        mostInFlight_ = 1;
    buffer_.resize(chunk);
}

SFtpUpload::~SFtpUpload()
{
    for (Lane& lane : lanes_)
        for (const std::uint32_t id : lane.inFlight)
            lane.session.abandon(id);
}

void SFtpUpload::addChannel(SFtpSession& session, ByteView handle)
{
    lanes_.push_back({session, copyOf(handle), {}});
}

bool SFtpUpload::maySend(const Lane& lane) const
{
    return !ended_ && lane.inFlight.size() < mostInFlight_ && lane.session.hasRoom();
}

bool SFtpUpload::hasEnded() const
{
    return ended_
        && std::all_of(lanes_.begin(), lanes_.end(), [](const Lane& lane) { return lane.inFlight.empty(); });
}

Status SFtpUpload::run(bool closing)
{
    for (;;) {
        if (Status status = sendChunks(closing); !status.ok())
            return status;
        if (hasEnded())
            return lanes_.front().session.flush();
        Status status = lanes_.front().session.wait([this] {
            return std::any_of(lanes_.begin(), lanes_.end(), [this](const Lane& lane) {
                return maySend(lane) || (!lane.inFlight.empty() && lane.session.hasNews());
            });
        });
        for (auto lane = lanes_.begin(); lane != lanes_.end() && status.ok(); ++lane)
            status = takeReplies(*lane);
        if (!status.ok())
            return status;
    }
}

Status SFtpUpload::sendChunks(bool closing)
{
    for (bool sent = true; sent;) {
        sent = false;
        for (Lane& lane : lanes_) {
            if (!maySend(lane))
                continue;
            if (Status status = sendChunk(lane); !status.ok())
                return status;
            sent = true;
        }
    }
    if (!ended_ || !closing || std::exchange(closed_, true))
        return {};
    for (Lane& lane : lanes_)
        if (Status status = sendClose(lane); !status.ok())
            return status;
    return {};
}

Status SFtpUpload::sendChunk(Lane& lane)
{
    std::size_t filled = 0;
    while (filled < buffer_.size() && !ended_) {
        const auto got = input_(std::span(buffer_).subspan(filled));
        if (!got.ok())
            return got.error();
        filled += *got;
        ended_ = *got == 0;
    }
    if (filled == 0)
        return {};
    WireWriter head;
    head.string(lane.handle).uint64(offset_).uint32(static_cast<std::uint32_t>(filled));
    const auto id = lane.session.send(sftp::kWrite, head, ByteView(buffer_).first(filled));
    if (!id.ok())
        return id.error();
    lane.inFlight.insert(*id);
    offset_ += filled;
    return {};
}

Status SFtpUpload::sendClose(Lane& lane)
{
    const auto id = lane.session.send(sftp::kClose, WireWriter().string(lane.handle));
    if (!id.ok())
        return id.error();
    lane.inFlight.insert(*id);
    return {};
}

Status SFtpUpload::takeReplies(Lane& lane)
{
    while (!lane.inFlight.empty() && lane.session.hasNews()) {
        const Status status = lane.session.takeReply([&lane](const SFtpSession::Reply& reply) -> Status {
            return lane.inFlight.erase(reply.id) == 0 ? SFtpSession::malformed()
                                                      : lane.session.statusOf(reply);
        });
        if (!status.ok())
            return status;
    }
    return {};
}

void SFtpUpload::closeWithoutWaiting()
{
    for (Lane& lane : lanes_)
        lane.session.closeHandleWithoutWaiting(lane.handle);
    (void)lanes_.front().session.flush();
}

} // namespace ssh
