#pragma once

#include "ssh/sftp/SFtpSession.h"

namespace ssh {

struct SFtpEntry {
    std::string name; // Without a slash, UTF-8.
    SFtpFileAttr attr;
};

// Collects the replies to the readings of one directory.
class SFtpListingReader {
public:
    SFtpListingReader(const SFtpSession& session, bool includeDotDirs)
        : session_(session), includeDotDirs_(includeDotDirs)
    { }
    // Takes a reply. Whether the directory has ended.
    Result<bool> take(const SFtpSession::Reply& reply);
    std::vector<SFtpEntry> entries; // So far.

private:
    const SFtpSession& session_;
    const bool includeDotDirs_;
    std::size_t bytes_ = 0;
};

// All entries of an open directory. Leaves out names with a slash, and "." and ".." unless asked for. An
// endless listing is a failure.
Result<std::vector<SFtpEntry>> readListing(SFtpSession& session, ByteView handle, bool includeDotDirs);

} // namespace ssh
