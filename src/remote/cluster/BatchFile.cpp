#include "remote/cluster/BatchFile.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/plist/PropertyList.h"
#include "remote/machines/ClusterNames.h"
#include "task/wrapper/WrapperList.h"

#include <fmt/format.h>

#include <tuple>

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

platform::Status BatchFile::saveIfChanged()
{
    if (!isChanged_ || isUnreadable_)
        return {};
    auto saved = platform::propertylist::writeAtomically(content_, path_);
    isChanged_ = !saved.ok();
    if (!saved.ok())
        KRMessageCenter::addMessage("Could not save the state of the batch.", saved.error().text);
    return saved;
}

void BatchFile::setFlag(const char* flag)
{
    set(flag, "YES");
    std::ignore = saveIfChanged(); // The next flag, or the next look, saves this one too.
}

void BatchFile::removeFlag(const char* flag)
{
    remove(flag);
    std::ignore = saveIfChanged();
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
