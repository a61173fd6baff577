#include "remote/machines/ClusterNames.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

namespace {

constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr std::string_view kUuidForm = "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX";

bool isOneOf(char character, std::string_view set)
{
    return set.find(character) != set.npos;
}

bool isPlain(char character, std::string_view others)
{
    return isOneOf(character, kDigits) || isOneOf(character, kLetters) || isOneOf(character, others);
}

} // namespace

std::string clusternames::program(std::optional<std::string> executable)
{
    std::string name = std::move(executable).value_or("");
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
}

bool clusternames::isUuid(const std::string& text)
{
    return text.size() == kUuidForm.size()
        && std::equal(text.begin(), text.end(), kUuidForm.begin(), [](char character, char form) {
               return form == '-' ? character == '-' : isOneOf(character, "0123456789ABCDEF");
           });
}

platform::Status clusternames::checkWorkFolder(const std::string& path)
{
    const bool isPlainPath = !path.empty() && path.front() != '-'
        && std::all_of(path.begin(), path.end(), [](char character) { return isPlain(character, "._-/"); });
    return isPlainPath ? platform::Status()
                       : platform::Error{fmt::format("The work folder \"{}\" holds other characters than "
                                                     "letters, digits, \".\", \"_\", \"-\" and \"/\".",
                           path)};
}

platform::Status clusternames::checkProgram(const std::string& name)
{
    constexpr std::string_view kAllowed = "._-+,=@%";
    // Characters beyond ASCII mean nothing to a shell.
    const bool isSafe =
        !name.empty() && name.front() != '-' && std::all_of(name.begin(), name.end(), [&](char character) {
            return isPlain(character, kAllowed) || static_cast<unsigned char>(character) >= 0x80;
        });
    return isSafe
        ? platform::Status()
        : platform::Error{fmt::format(
            "The program's name \"{}\" holds characters that the scripts on the cluster can't carry.", name)};
}
