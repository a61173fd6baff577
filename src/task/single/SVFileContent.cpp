#include "task/single/SVFileContent.h"

#include "platform/files/Paths.h"

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

std::vector<toolkit::Column> SVFileContent::columns()
{
    return {{.identifier = "Name", .title = "Name"}, {.identifier = "Type", .title = "Type"},
        {.identifier = "Information", .title = "Information"}};
}
