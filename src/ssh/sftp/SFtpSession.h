#pragma once

#include "ssh/session/ChannelHost.h"
#include "ssh/sftp/SFtpFileAttr.h"

#include <unordered_set>

namespace ssh {

// Message and status numbers of the file transfer protocol, draft 13, sections 3.3 and 9.1.
namespace sftp {
constexpr std::uint8_t kInit = 1;
constexpr std::uint8_t kVersion = 2;
constexpr std::uint8_t kOpen = 3;
constexpr std::uint8_t kClose = 4;
constexpr std::uint8_t kRead = 5;
constexpr std::uint8_t kWrite = 6;
constexpr std::uint8_t kLstat = 7;
constexpr std::uint8_t kFstat = 8;
constexpr std::uint8_t kSetstat = 9;
constexpr std::uint8_t kFsetstat = 10;
constexpr std::uint8_t kOpendir = 11;
constexpr std::uint8_t kReaddir = 12;
constexpr std::uint8_t kRemove = 13;
constexpr std::uint8_t kMkdir = 14;
constexpr std::uint8_t kStat = 17;
constexpr std::uint8_t kStatus = 101;
constexpr std::uint8_t kHandle = 102;
constexpr std::uint8_t kData = 103;
constexpr std::uint8_t kName = 104;
constexpr std::uint8_t kAttrs = 105;
constexpr std::uint32_t kOk = 0;
constexpr std::uint32_t kEof = 1;
} // namespace sftp

// How to open a file; each version of the protocol encodes it differently.
enum class SFtpAccess { Read, Write, ReadWrite };
enum class SFtpDisposition { CreateNew, CreateTruncate, OpenExisting, OpenOrCreate, TruncateExisting };

struct SFtpSettings {
    bool forceV3 = false;
    std::uint32_t uploadChunk = 32000; // Bytes.
};

// What is known about a server by its version line.
struct SFtpServerLimits {
    int offeredVersion = 6;
    std::uint32_t readChunk = 61440; // Most bytes to request at once; whole pages of the server's file.
    std::size_t readSlots = 0; // Most read requests in flight; 0 for no such limit.
    bool slowWindow = false; // Refills a small window only when all of it is used.
};
SFtpServerLimits limitsFor(std::string_view serverVersion);

// One SFTP subsystem on a channel: requests out, replies in. Replies may come in any order. A reply to a
// request that wasn't sent, or was answered already, ends the session.
class SFtpSession {
public:
    struct Reply {
        std::uint8_t type = 0;
        std::uint32_t id = 0;
        ByteView body; // Behind the id.
    };

    // Opens the channel, starts the subsystem and agrees on a version from 6 down to 3.
    static Result<std::unique_ptr<SFtpSession>> open(ChannelHost& host, const SFtpSettings& settings);
    // Several in the time of one; fewer where the server doesn't allow so many.
    static std::vector<std::unique_ptr<SFtpSession>> openSeveral(
        ChannelHost& host, const SFtpSettings& settings, std::size_t count);

    int version() const { return version_; }
    const SFtpSettings& settings() const { return settings_; }
    const SFtpServerLimits& limits() const { return limits_; }
    std::uint32_t serverWindow() const { return channel_.largestOutWindow; } // Bytes.
    std::uint32_t openWindow() const { return host_.openWindow(); }

    // Sends a request whose body is the two parts, without waiting. Returns its id.
    Result<std::uint32_t> send(std::uint8_t type, ByteView head, ByteView tail = {});
    void abandon(std::uint32_t id); // The reply to this request will be dropped.
    // Sends a request and waits for its reply. The body is valid until the next call.
    Result<Reply> ask(std::uint8_t type, ByteView body);
    Result<Reply> await(std::uint32_t id); // The same for a request that has been sent alone.
    // Calls `handle` for each reply until `done`. With `ready`, returns early when that is true: for a sender
    // that waits for room.
    Status exchange(const std::function<Status(const Reply&)>& handle, const std::function<bool()>& done,
        const std::function<bool()>& ready = nullptr);
    bool hasRoom() const; // Little is waiting for window or socket: send more.
    // For a caller that serves several sessions of one connection: waits once for all of them, and takes what
    // has come for each.
    bool hasNews(); // takeReply() has something to do: a reply, or the end of the session.
    Status takeReply(const std::function<Status(const Reply&)>& handle); // Does nothing without news.
    Status wait(const std::function<bool()>& done); // Serves the whole connection meanwhile.
    Status flush(); // Sends what can be sent without waiting.

    // The bodies of requests, and what their replies say.
    Bytes openRequest(const std::string& path, SFtpAccess access, SFtpDisposition disposition) const;
    Bytes pathRequest(const std::string& path) const; // kOpendir, and others with a path alone.
    Bytes makeDirectoryRequest(const std::string& path) const;
    Bytes attributesRequest(ByteView target) const;
    Bytes setAttributesRequest(ByteView target, const SFtpFileAttr& attr) const;
    Result<Bytes> handleOf(const Reply& reply) const;
    Result<SFtpFileAttr> attributesOf(const Reply& reply) const;

    // Requests that several callers make.
    Result<Bytes> openFile(const std::string& path, SFtpAccess access, SFtpDisposition disposition);
    Result<Bytes> openDirectory(const std::string& path);
    Status setAttributes(std::uint8_t type, ByteView target, const SFtpFileAttr& attr); // kSetstat, kFsetstat
    Result<SFtpFileAttr> attributes(std::uint8_t type, ByteView target); // kStat, kLstat, kFstat
    Status makeDirectory(const std::string& path);
    Status closeHandle(ByteView handle);
    void closeHandleWithoutWaiting(ByteView handle);

    Status statusOf(const Reply& reply) const; // Success, or the server's reason.
    bool isEndOfFile(const Reply& reply) const;
    std::string nameToServer(const std::string& utf8) const;
    std::string nameFromServer(ByteView name) const;
    static Error malformed();

private:
    SFtpSession(ChannelHost& host, std::uint32_t channel, const SFtpSettings& settings)
        : host_(host), channel_(*host.channels().find(channel)), settings_(settings)
    { }
    static Result<std::unique_ptr<SFtpSession>> start(
        ChannelHost& host, std::uint32_t channel, const SFtpSettings& settings);
    Status sendStart();
    Status negotiate();
    Status readVersion(ByteView body);
    Result<bool> packetReady(); // Fails for an impossible length.

    ChannelHost& host_;
    Channel& channel_;
    SFtpSettings settings_;
    SFtpServerLimits limits_;
    int version_ = 3;
    std::uint32_t nextId_ = 0;
    std::unordered_set<std::uint32_t> pending_; // Ids sent and not answered.
    std::unordered_set<std::uint32_t> abandoned_; // Pending ids whose replies will be dropped.
    Bytes replyBody_;
    std::string charset_; // Of names; empty for UTF-8.
};

} // namespace ssh
