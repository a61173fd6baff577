#pragma once

#include "ssh/sftp/SFtpSession.h"

namespace ssh {

struct SFtpEntry {
    std::string name; // Without a slash, UTF-8.
    SFtpFileAttr attr;
};

// All entries of an open directory. Leaves out names with a slash, and "." and ".." unless asked for. An
// endless listing is a failure.
Result<std::vector<SFtpEntry>> readListing(SFtpSession& session, ByteView handle, bool includeDotDirs);

} // namespace ssh
