#pragma once

#include "platform/Result.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Where a task server keeps its files, and which names may stand in the scripts that copy them.
namespace serverplaces {

// The folder of the server of this user: port file, and a folder for each client.
std::string folderOf(const std::string& user);
std::string portFileOf(const std::string& user);
std::string clientFolder(const std::string& user, std::int64_t client);

// A user, a host or a marker stands in a script without quotes: only letters, digits, ".", "_" and "-", not
// at the beginning. `what` names it in the refusal.
platform::Status checkPlainName(std::string_view what, std::string_view name);
// A folder or file of this machine stands between double quotes, and scp reads a colon before a slash as the
// end of a host's name, and a "-" at the beginning as an option.
platform::Status checkLocalName(std::string_view name);
// A path on the server goes through scp there, which expands patterns, and in older ones through a shell.
platform::Status checkRemotePath(std::string_view path);

// The content of a port file: the decimal port in the first line, the secret in the second.
struct PortFile {
    int port = 0; // 0 when the first line doesn't begin with a number.
    std::optional<std::string> secret; // Nothing for one that is too short, too long or no plain text.
};
PortFile readPortFile(std::string_view content);

} // namespace serverplaces
