#include "ssh/sftp/SFtpTransfer.h"

#include <algorithm>

namespace ssh {

namespace {

constexpr std::size_t kMostBytesInFlight = std::size_t{8} * 1024 * 1024;
constexpr std::uint32_t kRequestOverhead = 300; // Bytes beside the chunk, with the longest handle.
constexpr std::uint32_t kLeastWriteChunk = 1024;
constexpr std::uint32_t kMostWriteChunk = 128 * 1024;

} // namespace

SFtpUpload::SFtpUpload(SFtpSession& session, ByteView handle, std::uint64_t from, Input input)
    : session_(session), handle_(copyOf(handle)), input_(std::move(input)), offset_(from)
{
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
    for (const std::uint32_t id : inFlight_)
        session_.abandon(id);
}

bool SFtpUpload::maySend() const
{
    return !ended_ && inFlight_.size() < mostInFlight_ && session_.hasRoom();
}

Status SFtpUpload::run(bool closing)
{
    do {
        Status status = sendChunks(closing);
        if (status.ok())
            status = session_.exchange([this](const SFtpSession::Reply& reply) { return receive(reply); },
                [this] { return ended_ && inFlight_.empty(); }, [this] { return maySend(); });
        if (!status.ok())
            return status;
    } while (!ended_ || !inFlight_.empty());
    return {};
}

Status SFtpUpload::sendChunks(bool closing)
{
    while (maySend()) {
        Status status = sendChunk(closing);
        if (!status.ok())
            return status;
    }
    return {};
}

Status SFtpUpload::sendChunk(bool closing)
{
    std::size_t filled = 0;
    while (filled < buffer_.size() && !ended_) {
        const auto got = input_(std::span(buffer_).subspan(filled));
        if (!got.ok())
            return got.error();
        filled += *got;
        ended_ = *got == 0;
    }
    if (filled > 0) {
        WireWriter head;
        head.string(handle_).uint64(offset_).uint32(static_cast<std::uint32_t>(filled));
        const auto id = session_.send(sftp::kWrite, head, ByteView(buffer_).first(filled));
        if (!id.ok())
            return id.error();
        inFlight_.insert(*id);
        offset_ += filled;
    }
    if (!ended_ || !closing)
        return {};
    const auto id = session_.send(sftp::kClose, WireWriter().string(handle_));
    if (!id.ok())
        return id.error();
    inFlight_.insert(*id);
    return {};
}

Status SFtpUpload::receive(const SFtpSession::Reply& reply)
{
    if (inFlight_.erase(reply.id) == 0)
        return SFtpSession::malformed();
    return session_.statusOf(reply);
}

} // namespace ssh
