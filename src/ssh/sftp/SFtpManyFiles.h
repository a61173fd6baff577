#pragma once

#include "ssh/sftp/CkoTransfer.h"
#include "ssh/sftp/SFtpListing.h"

namespace ssh {

// Requests for many files that go out together. Results stand in the order of the requests; a connection that
// fails in between gives its error, and the results so far are kept. Files of one call must have different
// names. Larger files are left to SFtpUpload and SFtpDownload.
namespace sftpmany {

constexpr std::uint64_t kSmallFile = std::uint64_t{64} * 1024; // Bytes, at most.

// Whether each folder exists or could be made; one level each.
Status makeDirectories(SFtpSession& session, std::span<const std::string> paths, std::vector<bool>& exist);
// Null for what can't be listed.
Status list(SFtpSession& session, std::span<const std::string> paths, bool includeDotDirs,
    std::vector<std::shared_ptr<const std::vector<SFtpEntry>>>& listings);
// The sizes that opened files tell; negative for what can't be opened.
Status sizes(SFtpSession& session, std::span<const std::string> paths, std::vector<std::int64_t>& sizes);
// `ended` is called with the number of files that are through.
Status upload(SFtpSession& session, std::span<const CkoUpload* const> files,
    std::span<CkoTransfer* const> outcomes, const std::function<void(std::size_t)>& ended);
Status download(
    SFtpSession& session, std::span<const CkoDownload* const> files, std::span<CkoTransfer* const> outcomes);

} // namespace sftpmany
} // namespace ssh
