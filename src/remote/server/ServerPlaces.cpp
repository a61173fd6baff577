#include "remote/server/ServerPlaces.h"

#include "platform/files/Places.h"
#include "platform/service/SecretProof.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>

namespace serverplaces {

namespace {

using platform::Error;
using platform::SecretProof;
using platform::Status;

constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";
// End or change a text between double quotes.
constexpr std::string_view kNeverQuoted = "\"'$`\\\n\r";
// Expanded by scp or by a shell on the server.
constexpr std::string_view kExpanded = "*?[]{}~;&|<>()!#";
constexpr std::string_view kBlanks = " \t\r\n\v\f";

Status checkQuoted(std::string_view name)
{
    if (name.empty())
        return Error{"A file without a name can't be copied with scp."};
    if (name.find_first_of(kNeverQuoted) != name.npos || name.find('\0') != name.npos)
        return Error{fmt::format("\"{}\" can't be copied with scp: its name has a quote, a dollar sign, a "
                                 "backslash or a line end in it.",
            name)};
    if (const auto colon = name.find(':'); colon != name.npos && colon < name.find('/'))
        return Error{
            fmt::format("\"{}\" can't be copied with scp: what is before the colon would be a host.", name)};
    return {};
}

// As a program in C reads a number at the beginning of a text: 0 for none, and no overflow.
int leadingNumber(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+'))
        text.remove_prefix(1);
    std::int64_t number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            break;
        number = std::min<std::int64_t>(number * 10 + (c - '0'), std::numeric_limits<int>::max());
    }
    return static_cast<int>(isNegative ? -number : number);
}

std::string_view trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(kBlanks);
    return first == text.npos ? std::string_view()
                              : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

} // namespace

std::string folderOf(const std::string& user)
{
    return fmt::format("{}/TrelkindServer-{}", platform::Places::varTmp(), user);
}

std::string portFileOf(const std::string& user)
{
    return folderOf(user) + "/port";
}

std::string clientFolder(const std::string& user, std::int64_t client)
{
    return fmt::format("{}/{}", folderOf(user), client);
}

Status checkPlainName(std::string_view what, std::string_view name)
{
    if (!name.empty() && name.front() != '-' && name.find_first_not_of(kPlain) == name.npos)
        return {};
    return Error{fmt::format("\"{}\" can't be the {}: only letters, digits, \".\", \"_\" and \"-\" (not at "
                             "the beginning) may be in it.",
        name, what)};
}

Status checkLocalName(std::string_view name)
{
    if (name.starts_with('-'))
        return Error{
            fmt::format("\"{}\" can't be copied with scp, which would take it for an option.", name)};
    return checkQuoted(name);
}

Status checkRemotePath(std::string_view path)
{
    if (auto status = checkQuoted(path); !status)
        return status;
    if (path.find_first_of(kExpanded) != path.npos)
        return Error{fmt::format(
            "\"{}\" can't be copied with scp: the server would expand a character of its name.", path)};
    return {};
}

PortFile readPortFile(std::string_view content)
{
    PortFile file;
    file.port = leadingNumber(content);
    const auto end = content.find('\n');
    if (end == content.npos)
        return file;
    content.remove_prefix(end + 1);
    const std::string_view secret = trimmed(content.substr(0, content.find('\n')));
    const bool isText = std::all_of(secret.begin(), secret.end(), [](char c) { return c > ' ' && c <= '~'; });
    if (isText && secret.size() >= SecretProof::kShortestSecret
        && secret.size() <= SecretProof::kLongestSecret)
        file.secret = std::string(secret);
    return file;
}

} // namespace serverplaces
