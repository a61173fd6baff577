#include "task/application/OpenWrappers.h"

#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "platform/files/Places.h"
#include "platform/plist/PropertyList.h"
#include "task/application/KRTrelkindApplication.h"

#include <tuple>

namespace {

using platform::Value;

std::string openWrappersPath()
{
    return platform::paths::appending(platform::Places::library(), "Open Wrappers.plist");
}

} // namespace

OpenWrappers::OpenWrappers(KRTrelkindApplication& application) : application_(application)
{
    application_.whenWrappersChange = [this] { save(); };
}

OpenWrappers::~OpenWrappers()
{
    application_.whenWrappersChange = nullptr;
}

std::vector<std::string> OpenWrappers::ofLastSession()
{
    std::vector<std::string> paths;
    const auto kept = platform::propertylist::readFile(openWrappersPath());
    if (kept && kept->array())
        for (const Value& path : *kept->array())
            if (path.text() && platform::files::isDirectory(*path.text()))
                paths.push_back(*path.text());
    return paths;
}

void OpenWrappers::save() const
{
    Value::Array list;
    for (const auto& controller : application_.listOfControllers())
        list.emplace_back(controller->wrapperName());
    std::ignore = platform::propertylist::writeAtomically(list, openWrappersPath());
}
