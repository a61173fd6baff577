#include "remote/cluster/BatchFile.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/plist/PropertyList.h"
#include "task/wrapper/WrapperList.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <tuple>

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

BatchFile::BatchFile(const std::string& wrapper) : path_(wrapper + "/Remote Machine.plist") { }

void BatchFile::load()
{
    isChanged_ = !platform::files::exists(path_);
    auto stored = WrapperList::read(path_);
    isUnreadable_ = stored.isUnreadable;
    content_ = std::move(stored.dictionary);
}

void BatchFile::set(const char* key, std::string value)
{
    content_.mutableDictionary()[key] = std::move(value);
    isChanged_ = true;
}

void BatchFile::remove(const char* key)
{
    isChanged_ = content_.mutableDictionary().erase(key) != 0 || isChanged_;
}

void BatchFile::clear()
{
    content_ = platform::Value::Dictionary();
    isChanged_ = true;
}

void BatchFile::saveIfChanged()
{
    if (!isChanged_ || isUnreadable_)
        return;
    const auto saved = platform::propertylist::writeAtomically(content_, path_);
    isChanged_ = !saved.ok();
    if (!saved.ok())
        KRMessageCenter::addMessage("Could not save the state of the batch.", saved.error().text);
}

void BatchFile::setFlag(const char* flag)
{
    set(flag, "YES");
    saveIfChanged();
}

void BatchFile::removeFlag(const char* flag)
{
    remove(flag);
    saveIfChanged();
}

void BatchFile::deleteFromDisk()
{
    if (platform::files::exists(path_))
        if (const auto removed = platform::files::remove(path_); !removed.ok())
            KRMessageCenter::addMessage("Could not remove the state of the batch.", removed.error().text);
}

platform::Status BatchFile::check() const
{
    if (isUnreadable_)
        return platform::Error{fmt::format("{} can't be read. Repair or remove it.", path_)};
    for (const char* key : {kUuid, kWorkFolder, kHost, kUserName})
        if (has(key) && !text(key))
            return platform::Error{fmt::format("{}: \"{}\" is no text.", path_, key)};
    if (const auto uuid = text(kUuid); uuid && !clusternames::isUuid(*uuid))
        return platform::Error{fmt::format("{}: \"{}\" is not the name of a batch.", path_, *uuid)};
    if (const auto folder = text(kWorkFolder))
        if (auto status = clusternames::checkWorkFolder(*folder); !status.ok())
            return platform::Error{fmt::format("{}: {}", path_, status.error().text)};
    return {};
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
