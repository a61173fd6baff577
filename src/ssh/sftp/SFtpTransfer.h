#pragma once

#include "platform/files/File.h"
#include "ssh/sftp/SFtpSession.h"

#include <deque>

namespace ssh {

// Reads a remote file with several requests in flight. Replies may come in any order, and with less than was
// asked for. Data goes to the output as soon as all before it has come; the rest waits, at most as much as
// was asked for. When the whole file is read, its attributes come before the first output.
class SFtpDownload {
public:
    using Output = std::function<Status(ByteView)>;

    // From offset `from` to the end of the file, or at most `length` bytes.
    SFtpDownload(SFtpSession& session, ByteView handle, std::uint64_t from,
        std::optional<std::uint64_t> length, Output output);
    ~SFtpDownload(); // Replies that are still on their way will be dropped.
    Status run();
    std::uint64_t position() const { return position_; } // Offset just past the last output.
    const SFtpFileAttr& attr() const { return attr_; } // Empty until the server has answered.

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
    Status askForAttributes();
    Result<Slot> request(std::uint64_t offset, std::uint32_t length);
    Status receive(const SFtpSession::Reply& reply);
    Status receiveAttributes(const SFtpSession::Reply& reply);
    Status receiveData(const Slots::iterator& slot, const SFtpSession::Reply& reply);
    Status askAgain(const Slots::iterator& slot, std::uint32_t got);
    Status putOutArrived();
    std::size_t mostSlots() const;
    bool finished() const { return position_ >= end_ && !attrRequest_; }

    SFtpSession& session_;
    Bytes handle_;
    Output output_;
    std::uint64_t position_;
    std::uint64_t next_; // Offset of the next new request.
    std::uint64_t end_;
    bool endKnown_ = false; // From the server or the caller; else `end_` is just the largest number.
    bool answered_ = false; // Data has arrived.
    std::optional<std::uint32_t> attrRequest_; // While it is pending, output waits.
    SFtpFileAttr attr_;
    std::uint32_t chunk_;
    Slots slots_; // In order of offset, without gaps, from `position_` on.
};

// Writes a remote file with several requests in flight, over one channel or several: a server's window bounds
// what is on its way on each. Over several, a transfer that fails leaves holes in the remote file.
class SFtpUpload {
public:
    using Input = std::function<Result<std::size_t>(std::span<std::uint8_t>)>; // 0 at the end.

    SFtpUpload(SFtpSession& session, ByteView handle, std::uint64_t from, Input input);
    ~SFtpUpload();
    // Before run(): another session of the same connection, with a handle of its own for the same file.
    void addChannel(SFtpSession& session, ByteView handle);
    // Succeeds when the server has confirmed every byte. With `closing`, the handles are closed behind the
    // last byte, and that must succeed too; after a failure they are still open.
    Status run(bool closing);
    void closeWithoutWaiting(); // After a failure.
    std::uint64_t position() const { return offset_; }

private:
    struct Lane {
        SFtpSession& session;
        Bytes handle;
        std::unordered_set<std::uint32_t> inFlight;
    };

    bool maySend(const Lane& lane) const;
    bool hasEnded() const;
    Status sendChunks(bool closing);
    Status sendChunk(Lane& lane);
    Status sendClose(Lane& lane);
    Status takeReplies(Lane& lane);

    std::vector<Lane> lanes_;
    Input input_;
    std::uint64_t offset_;
    std::size_t mostInFlight_; // Requests of each lane.
    Bytes buffer_; // One chunk.
    bool ended_ = false; // End of the input.
    bool closed_ = false; // Requests to close the handles have gone out.
};

// The input of an upload from a file's position on, or from bytes. Both must outlive it.
SFtpUpload::Input inputFrom(platform::File& file);
SFtpUpload::Input inputFrom(ByteView bytes);

} // namespace ssh
