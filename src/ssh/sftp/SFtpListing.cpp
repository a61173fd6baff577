#include "ssh/sftp/SFtpListing.h"

namespace ssh {

namespace {

// A server may send an endless directory.
constexpr std::size_t kMostEntries = 200000;
constexpr std::size_t kMostBytes = std::size_t{64} * 1024 * 1024;

Status takeNames(
    const SFtpSession& session, ByteView body, bool includeDotDirs, std::vector<SFtpEntry>& entries)
{
    WireReader reader(body);
    const std::uint32_t count = reader.uint32();
    for (std::uint32_t i = 0; i < count; ++i) {
        SFtpEntry entry;
        entry.name = session.nameFromServer(reader.string());
        if (session.version() <= 3)
            reader.string(); // The line that "ls -l" would show.
        auto attr = SFtpFileAttr::read(reader, session.version());
        if (!attr)
            return SFtpSession::malformed();
        entry.attr = std::move(*attr);
        // Callers make local paths of names: a server must not lead them into another directory.
        if (entry.name.empty() || entry.name.find('/') != std::string::npos
            || entry.name.find('\0') != std::string::npos)
            continue;
        if (includeDotDirs || (entry.name != "." && entry.name != ".."))
            entries.push_back(std::move(entry));
    }
    return {};
}

} // namespace

Result<bool> SFtpListingReader::take(const SFtpSession::Reply& reply)
{
    if (session_.isEndOfFile(reply))
        return true;
    if (reply.type != sftp::kName) {
        const Status status = session_.statusOf(reply);
        return status.ok() ? SFtpSession::malformed() : status.error();
    }
    const Status taken = takeNames(session_, reply.body, includeDotDirs_, entries);
    if (!taken.ok())
        return taken.error();
    // Count the bytes too: a server can send names without end that are all dropped.
    bytes_ += reply.body.size() + 64;
    if (entries.size() > kMostEntries || bytes_ > kMostBytes)
        return Error{"The directory has more entries than can be listed."};
    return false;
}

Result<std::vector<SFtpEntry>> readListing(SFtpSession& session, ByteView handle, bool includeDotDirs)
{
    SFtpListingReader reader(session, includeDotDirs);
    const Bytes body = WireWriter().string(handle).take();
    for (Result<bool> ended = false; !*ended;) {
        const auto reply = session.ask(sftp::kReaddir, body);
        ended = reply.ok() ? reader.take(*reply) : Result<bool>(reply.error());
        if (!ended.ok())
            return ended.error();
    }
    return std::move(reader.entries);
}

} // namespace ssh
