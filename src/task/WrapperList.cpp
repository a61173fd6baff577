#include "task/WrapperList.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/Paths.h"
#include "platform/plist/PropertyList.h"

#include <fmt/format.h>

WrapperList WrapperList::read(const std::string& path)
{
    using Status = platform::propertylist::ReadResult::Status;
    auto read = platform::propertylist::readFile(path);
    if (read.status == Status::Missing)
        return {};
    if (read.status == Status::Read && read.value.dictionary())
        return {std::move(read.value), false};
    KRMessageCenter::addMessage(fmt::format("Could not read {}.", platform::paths::lastComponent(path)),
        read.status == Status::Read ? fmt::format("{}: a dictionary was expected at its root.", path)
                                    : read.reason);
    return {platform::Value(platform::Value::Dictionary()), true};
}

bool isBareFileName(const std::string& name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}
