#pragma once

#include "ssh/sftp/SFtpSession.h"

#include <deque>

namespace ssh {

// Reads a remote file with several requests in flight. Replies may come in any order and short; what has come
// in sequence goes to the output at once, and the rest waits, at most as much as was asked for.
class SFtpDownload {
public:
    using Output = std::function<Status(ByteView)>;

    // From `from` to the end of the file, or over `length` bytes at most.
    SFtpDownload(SFtpSession& session, ByteView handle, std::uint64_t from,
        std::optional<std::uint64_t> length, Output output);
    ~SFtpDownload(); // Replies still on their way are of no interest any more.
    Status run();
    std::uint64_t position() const { return position_; } // Just past what has been put out.

private:
    struct Slot {
        std::uint32_t id;
        std::uint64_t offset;
        std::uint32_t length;
        bool arrived;
        Bytes data;
    };
    using Slots = std::deque<Slot>;

    Status sendNewRequests();
    Status askForSize();
    Result<Slot> request(std::uint64_t offset, std::uint32_t length);
    Status receive(const SFtpSession::Reply& reply);
    Status receiveSize(const SFtpSession::Reply& reply);
    Status receiveData(const Slots::iterator& slot, const SFtpSession::Reply& reply);
    Status askAgain(const Slots::iterator& slot, std::uint32_t got);
    Status putOutArrived();
    std::size_t mostSlots() const;
    bool finished() const { return position_ >= end_; }

    SFtpSession& session_;
    Bytes handle_;
    Output output_;
    std::uint64_t position_;
    std::uint64_t next_; // Offset of the next new request.
    std::uint64_t end_; // Where the file is known or supposed to end.
    bool sizeTrusted_ = false; // The end is told by the server or the caller, not just the largest number.
    bool answered_ = false; // Some data has come.
    std::optional<std::uint32_t> sizeRequest_;
    std::uint32_t chunk_;
    Slots slots_; // By offset, without gaps, from `position_` on.
};

// Writes a remote file with several requests in flight.
class SFtpUpload {
public:
    using Input = std::function<Result<std::size_t>(std::span<std::uint8_t>)>; // 0 at the end.

    SFtpUpload(SFtpSession& session, ByteView handle, std::uint64_t from, Input input);
    ~SFtpUpload();
    // Success once the server has confirmed every byte. With `closing`, the handle's close goes out behind
    // the last byte, and its success belongs to the whole; after a failure the handle is still open.
    Status run(bool closing);
    std::uint64_t position() const { return offset_; }

private:
    bool maySend() const;
    Status sendChunks(bool closing);
    Status sendChunk(bool closing);
    Status receive(const SFtpSession::Reply& reply);

    SFtpSession& session_;
    Bytes handle_;
    Input input_;
    std::uint64_t offset_;
    std::size_t mostInFlight_;
    Bytes buffer_; // One chunk.
    bool ended_ = false; // The input has.
    std::unordered_set<std::uint32_t> inFlight_;
};

} // namespace ssh
