#include "task/wrapper/WrapperList.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/Paths.h"
#include "platform/plist/PropertyList.h"

#include <fmt/format.h>

WrapperList WrapperList::read(const std::string& path)
{
    auto read = platform::propertylist::readFile(path);
    if (read && read->isNull())
        return {};
    if (read && read->dictionary())
        return {std::move(*read), false};
    KRMessageCenter::addMessage(fmt::format("Could not read {}.", platform::paths::lastComponent(path)),
        read ? fmt::format("{}: a dictionary was expected at its root.", path) : read.error().text);
    return {platform::Value(platform::Value::Dictionary()), true};
}

bool isBareFileName(const std::string& name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}
