#include "ssh/sftp/SFtpSession.h"

#include "ssh/crypto/TextConversion.h"

#include <algorithm>

namespace ssh {

namespace {

constexpr std::uint32_t kReplyLengthField = 4;
// Longer than any reply to our requests; directory listings are the longest.
constexpr std::uint32_t kLongestReply = 1024 * 1024;
// Bytes that keep socket and server busy.
constexpr std::size_t kEnoughUnsent = std::size_t{512} * 1024;

// Servers that mishandle an offer of more than version 3.
constexpr std::string_view kVersion3Servers[] = {
    "SSH-2.0-VShell_0", "SSH-2.0-VShell_1", "SSH-2.0-VShell_2", "mod_sftp", "SSH-2.0-Maverick_SSHD"};
// Servers that fall behind with many reads in flight.
constexpr std::string_view kTwoSlotServers[] = {
    "SSH-2.0-srtSSHServer_10.00", "SSH-2.0-SP CR LF", "CrushFTPSSHD_5", "SSH-2.0-WS_FTP", "Globalscape"};

struct StatusName {
    std::uint32_t code;
    const char* text;
};
constexpr StatusName kStatusNames[] = {
    {1, "end of file"},
    {2, "no such file"},
    {3, "permission denied"},
    {4, "failure"},
    {5, "bad message"},
    {6, "no connection"},
    {7, "connection lost"},
    {8, "operation not supported"},
    {9, "invalid handle"},
    {10, "no such path"},
    {11, "the file exists already"},
    {12, "the file system is read-only"},
    {13, "no medium"},
    {14, "no space left"},
    {15, "quota exceeded"},
    {17, "locked by somebody else"},
    {18, "the directory isn't empty"},
    {19, "not a directory"},
    {20, "invalid file name"},
    {21, "too many symbolic links"},
    {24, "it is a directory"},
};

bool containsAny(std::string_view text, std::span<const std::string_view> parts)
{
    return std::any_of(
        parts.begin(), parts.end(), [&](std::string_view part) { return text.find(part) != text.npos; });
}

// Draft 02 and 04, section 6.3: the pflags of versions 3 and 4.
std::uint32_t openFlags3(SFtpAccess access, SFtpDisposition disposition)
{
    constexpr std::uint32_t kRead = 1, kWrite = 2, kCreate = 8, kTruncate = 16, kExclusive = 32;
    std::uint32_t flags = access == SFtpAccess::Read ? kRead
        : access == SFtpAccess::Write                ? kWrite
                                                     : kRead | kWrite;
    switch (disposition) {
    case SFtpDisposition::CreateNew:
        return flags | kCreate | kExclusive;
    case SFtpDisposition::CreateTruncate:
        return flags | kCreate | kTruncate;
    case SFtpDisposition::OpenExisting:
        return flags;
    case SFtpDisposition::OpenOrCreate:
        return flags | kCreate;
    case SFtpDisposition::TruncateExisting:
        return flags | kTruncate;
    }
    return flags;
}

// Draft 05, section 6.3, and draft 13, section 8.1.1: the access mask of versions 5 and 6. The disposition is
// sent as its number there.
std::uint32_t accessMask5(SFtpAccess access)
{
    constexpr std::uint32_t kReadData = 0x1, kWriteData = 0x2, kReadAttributes = 0x80,
                            kWriteAttributes = 0x100;
    const std::uint32_t read = kReadData | kReadAttributes;
    const std::uint32_t write = kWriteData | kWriteAttributes;
    return access == SFtpAccess::Read ? read : access == SFtpAccess::Write ? write : read | write;
}

} // namespace

SFtpServerLimits limitsFor(std::string_view serverVersion)
{
    SFtpServerLimits limits;
    if (containsAny(serverVersion, kVersion3Servers))
        limits.offeredVersion = 3;
    if (containsAny(serverVersion, kTwoSlotServers))
        limits.readSlots = 2;
    if (serverVersion.find("VShell_3") != std::string_view::npos)
        limits.readChunk = 32 * 1024;
    if (serverVersion.find("comForte") != std::string_view::npos)
        limits.readChunk = 24 * 1024;
    limits.slowWindow = serverVersion.find("Tectia") != std::string_view::npos;
    return limits;
}

Error SFtpSession::malformed()
{
    return Error{"The server sent a damaged SFTP reply."};
}

Result<std::unique_ptr<SFtpSession>> SFtpSession::open(ChannelHost& host, const SFtpSettings& settings)
{
    const auto channel = host.requestChannel(false);
    auto session = channel.ok() ? start(host, *channel, settings) : channel.error();
    const Status status = session.ok() ? (*session)->negotiate() : Status(session.error());
    return status.ok() ? std::move(session) : status.error();
}

std::vector<std::unique_ptr<SFtpSession>> SFtpSession::openSeveral(
    ChannelHost& host, const SFtpSettings& settings, std::size_t count)
{
    std::vector<std::uint32_t> channels;
    for (std::size_t i = 0; i < count; ++i)
        if (const auto channel = host.requestChannel(false); channel.ok())
            channels.push_back(*channel);
    std::vector<std::unique_ptr<SFtpSession>> sessions;
    for (const std::uint32_t channel : channels)
        if (auto session = start(host, channel, settings); session.ok())
            sessions.push_back(std::move(*session));
    std::erase_if(sessions, [](const auto& session) { return !session->negotiate().ok(); });
    return sessions;
}

Result<std::unique_ptr<SFtpSession>> SFtpSession::start(
    ChannelHost& host, std::uint32_t channel, const SFtpSettings& settings)
{
    if (const Status opened = host.awaitChannel(channel); !opened.ok())
        return opened.error();
    std::unique_ptr<SFtpSession> session(new SFtpSession(host, channel, settings));
    session->limits_ = limitsFor(host.serverVersion());
    if (settings.forceV3)
        session->limits_.offeredVersion = 3;
    const Status status = session->sendStart();
    if (!status.ok())
        return status.error();
    return session;
}

// The request for the subsystem and the first message go together, which saves a round trip.
Status SFtpSession::sendStart()
{
    const Status status = host_.channels().requestSubsystem(channel_, "sftp");
    return status.ok() ? host_.channels().write(channel_,
               WireWriter()
                   .uint32(5)
                   .byte(sftp::kInit)
                   .uint32(static_cast<std::uint32_t>(limits_.offeredVersion)))
                       : status;
}

Status SFtpSession::negotiate()
{
    Result<bool> ready = false;
    Status status = host_.waitFor([&] {
        ready = packetReady();
        return !ready.ok() || *ready || channel_.closeReceived || channel_.answer == false;
    });
    if (!status.ok())
        return status;
    if (!ready.ok())
        return ready.error();
    if (!*ready)
        return Error{"The server doesn't start its SFTP subsystem."};
    const std::uint32_t length = loadUint32(channel_.received.data());
    status = readVersion(channel_.received.view().subspan(kReplyLengthField, length));
    return status.ok() ? host_.channels().consume(channel_, kReplyLengthField + length) : status;
}

Status SFtpSession::readVersion(ByteView body)
{
    WireReader reader(body);
    if (reader.byte() != sftp::kVersion)
        return malformed();
    const std::uint32_t told = reader.uint32();
    if (!reader.ok() || told > static_cast<std::uint32_t>(limits_.offeredVersion))
        return Error{"The server answers with a version of the SFTP protocol that wasn't offered."};
    version_ = std::max(static_cast<int>(told), 3);
    while (reader.remaining()) {
        const std::string name = reader.text();
        const std::string value = reader.text();
        if (!reader.ok())
            return malformed();
        if (name == "filename-charset" && canConvert(value))
            charset_ = value;
    }
    return {};
}

std::string SFtpSession::nameToServer(const std::string& utf8) const
{
    return charset_.empty() ? utf8 : convertText(utf8, "UTF-8", charset_);
}

std::string SFtpSession::nameFromServer(ByteView name) const
{
    return charset_.empty() ? std::string(textOf(name)) : convertText(textOf(name), charset_, "UTF-8");
}

Result<std::uint32_t> SFtpSession::send(std::uint8_t type, ByteView head, ByteView tail)
{
    if (!host_.connected() || channel_.closeReceived)
        return Error{"The SFTP session has ended."};
    const std::uint32_t id = nextId_++;
    const std::size_t length = 5 + head.size() + tail.size();
    const Status sent = host_.channels().write(channel_,
        WireWriter().uint32(static_cast<std::uint32_t>(length)).byte(type).uint32(id).raw(head), tail);
    if (!sent.ok())
        return sent.error();
    pending_.insert(id);
    return id;
}

void SFtpSession::abandon(std::uint32_t id)
{
    if (pending_.contains(id))
        abandoned_.insert(id);
}

bool SFtpSession::hasRoom() const
{
    return channel_.waiting.empty() && host_.unsent() < kEnoughUnsent;
}

Result<bool> SFtpSession::packetReady()
{
    if (channel_.received.size() < kReplyLengthField)
        return false;
    const std::uint32_t length = loadUint32(channel_.received.data());
    if (length < 5 || length > kLongestReply)
        return Error{
            "The server sent an SFTP reply of an impossible length (" + std::to_string(length) + ")."};
    return channel_.received.size() - kReplyLengthField >= length;
}

bool SFtpSession::hasNews()
{
    const Result<bool> complete = packetReady();
    return !complete.ok() || *complete || channel_.closeReceived;
}

Status SFtpSession::wait(const std::function<bool()>& done)
{
    return host_.waitFor(done);
}

Status SFtpSession::flush()
{
    return host_.flush();
}

Status SFtpSession::takeReply(const std::function<Status(const Reply&)>& handle)
{
    const Result<bool> complete = packetReady();
    if (!complete.ok())
        return complete.error();
    if (!*complete)
        return channel_.closeReceived ? Status(Error{"The server ended the SFTP session."}) : Status();
    const std::uint32_t length = loadUint32(channel_.received.data());
    WireReader reader(channel_.received.view().subspan(kReplyLengthField, length));
    Reply reply;
    reply.type = reader.byte();
    reply.id = reader.uint32();
    reply.body = reader.rest();
    if (pending_.erase(reply.id) == 0)
        return Error{"The server answered an SFTP request that wasn't made."};
    Status status;
    if (abandoned_.erase(reply.id) == 0)
        status = handle(reply);
    const Status consumed = host_.channels().consume(channel_, kReplyLengthField + length);
    return status.ok() ? consumed : status;
}

Status SFtpSession::exchange(const std::function<Status(const Reply&)>& handle,
    const std::function<bool()>& done, const std::function<bool()>& ready)
{
    while (!done()) {
        if (!hasNews() && ready && ready())
            return {};
        Status status = wait([&] { return hasNews() || (ready && ready()); });
        if (status.ok())
            status = takeReply(handle);
        if (!status.ok())
            return status;
    }
    return flush();
}

Result<SFtpSession::Reply> SFtpSession::ask(std::uint8_t type, ByteView body)
{
    const auto id = send(type, body);
    return id.ok() ? await(*id) : Result<Reply>(id.error());
}

Result<SFtpSession::Reply> SFtpSession::await(std::uint32_t id)
{
    Reply answer;
    bool answered = false;
    const Status status = exchange(
        [&](const Reply& reply) -> Status {
            if (reply.id != id)
                return malformed();
            replyBody_.assign(reply.body.begin(), reply.body.end());
            answer = {reply.type, reply.id, replyBody_};
            answered = true;
            return {};
        },
        [&] { return answered; });
    if (!status.ok())
        return status.error();
    return answer;
}

Status SFtpSession::statusOf(const Reply& reply) const
{
    WireReader reader(reply.body);
    const std::uint32_t code = reader.uint32();
    if (reply.type != sftp::kStatus || !reader.ok())
        return malformed();
    if (code == sftp::kOk)
        return {};
    const auto* name = std::find_if(std::begin(kStatusNames), std::end(kStatusNames),
        [&](const StatusName& entry) { return entry.code == code; });
    const std::string known = name == std::end(kStatusNames) ? "code " + std::to_string(code) : name->text;
    // Draft 02, section 7: the text may be missing.
    const std::string told = printable(reader.text());
    return Error{"The server says: " + known + (told.empty() ? "." : " (" + told + ").")};
}

bool SFtpSession::isEndOfFile(const Reply& reply) const
{
    return reply.type == sftp::kStatus && WireReader(reply.body).uint32() == sftp::kEof;
}

Result<Bytes> SFtpSession::handleOf(const Reply& reply) const
{
    if (reply.type == sftp::kStatus) {
        const Status status = statusOf(reply);
        return status.ok() ? malformed() : status.error();
    }
    WireReader reader(reply.body);
    const ByteView handle = reader.string();
    // Draft 02, section 6.2: a handle has at most 256 bytes.
    if (reply.type != sftp::kHandle || !reader.ok() || handle.size() > 256)
        return malformed();
    return copyOf(handle);
}

Result<SFtpFileAttr> SFtpSession::attributesOf(const Reply& reply) const
{
    if (reply.type == sftp::kStatus) {
        const Status status = statusOf(reply);
        return status.ok() ? malformed() : status.error();
    }
    if (reply.type != sftp::kAttrs)
        return malformed();
    WireReader reader(reply.body);
    auto attr = SFtpFileAttr::read(reader, version_);
    return attr ? Result<SFtpFileAttr>(std::move(*attr)) : malformed();
}

Bytes SFtpSession::openRequest(const std::string& path, SFtpAccess access, SFtpDisposition disposition) const
{
    WireWriter body;
    body.string(nameToServer(path));
    if (version_ >= 5)
        body.uint32(accessMask5(access)).uint32(static_cast<std::uint32_t>(disposition));
    else
        body.uint32(openFlags3(access, disposition));
    SFtpFileAttr attr;
    attr.type = SFtpFileAttr::Type::Regular;
    attr.write(body, version_);
    return body.take();
}

Bytes SFtpSession::pathRequest(const std::string& path) const
{
    return WireWriter().string(nameToServer(path)).take();
}

Bytes SFtpSession::makeDirectoryRequest(const std::string& path) const
{
    WireWriter body;
    body.string(nameToServer(path));
    SFtpFileAttr attr;
    attr.type = SFtpFileAttr::Type::Directory;
    attr.write(body, version_);
    return body.take();
}

Bytes SFtpSession::attributesRequest(ByteView target) const
{
    WireWriter body;
    body.string(target);
    if (version_ >= 4)
        body.uint32(SFtpFileAttr::kWanted);
    return body.take();
}

Bytes SFtpSession::setAttributesRequest(ByteView target, const SFtpFileAttr& attr) const
{
    WireWriter body;
    body.string(target);
    attr.write(body, version_);
    return body.take();
}

Result<Bytes> SFtpSession::openFile(const std::string& path, SFtpAccess access, SFtpDisposition disposition)
{
    const auto reply = ask(sftp::kOpen, openRequest(path, access, disposition));
    return reply.ok() ? handleOf(*reply) : Result<Bytes>(reply.error());
}

Result<Bytes> SFtpSession::openDirectory(const std::string& path)
{
    const auto reply = ask(sftp::kOpendir, pathRequest(path));
    return reply.ok() ? handleOf(*reply) : Result<Bytes>(reply.error());
}

Status SFtpSession::setAttributes(std::uint8_t type, ByteView target, const SFtpFileAttr& attr)
{
    const auto reply = ask(type, setAttributesRequest(target, attr));
    return reply.ok() ? statusOf(*reply) : Status(reply.error());
}

Result<SFtpFileAttr> SFtpSession::attributes(std::uint8_t type, ByteView target)
{
    const auto reply = ask(type, attributesRequest(target));
    return reply.ok() ? attributesOf(*reply) : Result<SFtpFileAttr>(reply.error());
}

Status SFtpSession::makeDirectory(const std::string& path)
{
    const auto reply = ask(sftp::kMkdir, makeDirectoryRequest(path));
    return reply.ok() ? statusOf(*reply) : Status(reply.error());
}

Status SFtpSession::closeHandle(ByteView handle)
{
    const auto reply = ask(sftp::kClose, WireWriter().string(handle));
    return reply.ok() ? statusOf(*reply) : Status(reply.error());
}

void SFtpSession::closeHandleWithoutWaiting(ByteView handle)
{
    const auto id = send(sftp::kClose, WireWriter().string(handle));
    if (id.ok())
        abandon(*id);
}

} // namespace ssh
