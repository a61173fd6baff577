#pragma once

#include "ssh/sftp/SFtpSession.h"

namespace ssh {

struct SFtpEntry {
    std::string name; // Bare, UTF-8.
    SFtpFileAttr attr;
};

// All entries of an open directory. Names that aren't bare are left out, and unless asked for "." and ".."; a
// listing without an end is a failure.
Result<std::vector<SFtpEntry>> readListing(SFtpSession& session, ByteView handle, bool includeDotDirs);

} // namespace ssh
