#include "task/single/SVFileContent.h"

#include "platform/files/Paths.h"

#include <fmt/format.h>

SVFileContent::Scanner& SVFileContent::scanner()
{
    static Scanner scanner;
    return scanner;
}

bool SVFileContent::isDataFile(const std::string& name)
{
    const std::string extension = platform::paths::lowercaseExtension(name);
    return extension == "svbin" || extension == "mat";
}

SVFileContent SVFileContent::ofFile(const std::string& path)
{
    if (!isDataFile(path))
        return {};
    SVFileContent content = scanner() ? scanner()(path) : SVFileContent();
    if (!content.names)
        content.names.emplace();
    return content;
}

std::vector<toolkit::Column> SVFileContent::columns()
{
    return {{.identifier = "Name", .title = "Name"}, {.identifier = "Type", .title = "Type"},
        {.identifier = "Information", .title = "Information"}};
}

std::string SVFileContent::cell(std::string_view column, std::size_t row) const
{
    if (!names || row >= names->size())
        return {};
    const std::string& name = (*names)[row];
    const platform::Value* description = content.find(name);
    std::string type = description ? description->textFor("Type").value_or("") : "";
    if (column == "Type")
        return type;
    if (column != "Information")
        return name;
    const platform::Value* times = description ? description->find("TimeValues") : nullptr;
    const std::size_t count = times && times->array() ? times->array()->size() : 0;
    if (count == 0)
        return "Empty";
    if (count > 1)
        return fmt::format("{} time values", count);
    if (type != "Real Number")
        return "1 time value";
    const auto number = readNumber ? readNumber(name) : std::nullopt;
    return number ? fmt::format("{}", *number) : "";
}
