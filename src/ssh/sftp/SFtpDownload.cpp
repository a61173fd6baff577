#include "ssh/sftp/SFtpTransfer.h"

#include <algorithm>
#include <limits>

namespace ssh {

namespace {

constexpr std::uint64_t kUnknown = std::numeric_limits<std::uint64_t>::max();
// Until the file's length and the server's limit for one reply are known, more requests would be wasted.
constexpr std::size_t kSlotsAtFirst = 4;
constexpr std::uint32_t kLeastReadChunk = 1024;
// Each reply that arrives out of order needs a slot, however small it is.
constexpr std::size_t kMostSlots = std::size_t{16} * 1024;

} // namespace

SFtpDownload::SFtpDownload(SFtpSession& session, ByteView handle, std::uint64_t from,
    std::optional<std::uint64_t> length, Output output)
    : session_(session), handle_(copyOf(handle)), output_(std::move(output)), position_(from), next_(from),
      end_(length && *length < kUnknown - from ? from + *length : kUnknown), endKnown_(length.has_value()),
      chunk_(session.limits().readChunk)
{ }

SFtpDownload::~SFtpDownload()
{
    for (const Slot& slot : slots_)
        if (!slot.arrived)
            session_.abandon(slot.id);
    if (attrRequest_)
        session_.abandon(*attrRequest_);
}

std::size_t SFtpDownload::mostSlots() const
{
    std::size_t most =
        endKnown_ && answered_ ? session_.openWindow() / session_.limits().readChunk : kSlotsAtFirst;
    if (session_.limits().readSlots)
        most = std::min(most, session_.limits().readSlots);
    return std::max<std::size_t>(most, 1);
}

Status SFtpDownload::run()
{
    Status status = endKnown_ ? Status() : askForAttributes();
    if (status.ok())
        status = sendNewRequests();
    if (!status.ok())
        return status;
    return session_.exchange(
        [this](const SFtpSession::Reply& reply) {
            const Status received = receive(reply);
            return received.ok() ? sendNewRequests() : received;
        },
        [this] { return finished(); });
}

// Knowing the size saves a read behind the last byte. Sent together with the first reads.
Status SFtpDownload::askForAttributes()
{
    WireWriter body;
    body.string(handle_);
    if (session_.version() >= 4)
        body.uint32(SFtpFileAttr::kWanted);
    const auto id = session_.send(sftp::kFstat, body);
    if (!id.ok())
        return id.error();
    attrRequest_ = *id;
    return {};
}

Result<SFtpDownload::Slot> SFtpDownload::request(std::uint64_t offset, std::uint32_t length)
{
    const auto id = session_.send(sftp::kRead, WireWriter().string(handle_).uint64(offset).uint32(length));
    if (!id.ok())
        return id.error();
    return Slot{*id, offset, length, false, {}};
}

Status SFtpDownload::sendNewRequests()
{
    const std::size_t most = mostSlots();
    while (slots_.size() < most && next_ < end_ && (slots_.empty() || session_.hasRoom())) {
        const auto length = static_cast<std::uint32_t>(std::min<std::uint64_t>(chunk_, end_ - next_));
        auto slot = request(next_, length);
        if (!slot.ok())
            return slot.error();
        slots_.push_back(std::move(*slot));
        next_ += length;
    }
    return {};
}

Status SFtpDownload::receive(const SFtpSession::Reply& reply)
{
    if (attrRequest_ && reply.id == *attrRequest_)
        return receiveAttributes(reply);
    const auto slot =
        std::find_if(slots_.begin(), slots_.end(), [&](const Slot& at) { return at.id == reply.id; });
    if (slot == slots_.end() || slot->arrived)
        return SFtpSession::malformed();
    if (session_.isEndOfFile(reply)) {
        // The file ends at or before this offset.
        end_ = std::min(end_, slot->offset);
        endKnown_ = true;
        slots_.erase(slot);
        return putOutArrived();
    }
    if (reply.type == sftp::kStatus) {
        const Status status = session_.statusOf(reply);
        slots_.erase(slot);
        return status.ok() ? SFtpSession::malformed() : status;
    }
    return receiveData(slot, reply);
}

Status SFtpDownload::receiveAttributes(const SFtpSession::Reply& reply)
{
    attrRequest_.reset();
    WireReader reader(reply.body);
    if (reply.type == sftp::kAttrs)
        attr_ = SFtpFileAttr::read(reader, session_.version()).value_or(SFtpFileAttr());
    if (attr_.type == SFtpFileAttr::Type::Directory)
        return Error{"It is a directory."};
    // Generated files, as in /proc, have a size of 0: they, and files without a size, are read until the
    // server reports the end.
    if (attr_.size.value_or(0) > 0) {
        end_ = std::min(end_, *attr_.size);
        endKnown_ = true;
    }
    return putOutArrived();
}

Status SFtpDownload::receiveData(const Slots::iterator& slot, const SFtpSession::Reply& reply)
{
    WireReader reader(reply.body);
    const ByteView data = reader.string();
    if (reply.type != sftp::kData || !reader.ok() || data.empty() || data.size() > slot->length) {
        slots_.erase(slot);
        return SFtpSession::malformed();
    }
    slot->arrived = true;
    answered_ = true;
    const auto got = static_cast<std::uint32_t>(data.size());
    const bool isNext = slot == slots_.begin() && !attrRequest_;
    const std::uint64_t end = slot->offset + got;
    if (!isNext)
        slot->data = copyOf(data);
    if (got < slot->length && end < end_) {
        Status again = askAgain(slot, got); // Invalidates `slot`.
        if (!again.ok())
            return again;
    }
    if (!isNext)
        return {};
    const std::uint64_t wanted = end_ > position_ ? end_ - position_ : 0;
    Status put = output_(data.first(static_cast<std::size_t>(std::min<std::uint64_t>(got, wanted))));
    if (!put.ok())
        return put;
    position_ = std::min(end, std::max(end_, position_));
    slots_.pop_front();
    return putOutArrived();
}

// Requests the rest of a short read. Later requests ask for as much as this server gives.
Status SFtpDownload::askAgain(const Slots::iterator& slot, std::uint32_t got)
{
    if (slots_.size() >= kMostSlots)
        return Error{"The server answers in pieces that are too small to be kept."};
    const std::uint32_t missing = slot->length - got;
    const std::uint64_t offset = slot->offset + got;
    chunk_ = std::clamp(got, kLeastReadChunk, chunk_);
    auto rest = request(offset, missing);
    if (!rest.ok())
        return rest.error();
    slots_.insert(slot + 1, std::move(*rest));
    return {};
}

Status SFtpDownload::putOutArrived()
{
    while (!attrRequest_ && !slots_.empty() && slots_.front().arrived && position_ < end_) {
        const Slot& slot = slots_.front();
        const auto count =
            static_cast<std::size_t>(std::min<std::uint64_t>(slot.data.size(), end_ - position_));
        Status put = output_(ByteView(slot.data).first(count));
        if (!put.ok())
            return put;
        position_ += count;
        slots_.pop_front();
    }
    return {};
}

} // namespace ssh
