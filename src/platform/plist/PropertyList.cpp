#include "platform/plist/PropertyList.h"

#include "platform/Utf8.h"
#include "platform/files/FileManager.h"
#include "platform/plist/PropertyListBinary.h"
#include "platform/plist/PropertyListXml.h"

#include <cerrno>
#include <fmt/format.h>
#include <new>
#include <sys/stat.h>

namespace platform::propertylist {

namespace {

// Far above any real list. A list can take forty times its bytes in memory.
constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 27;

bool isXml(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos || text[first] != '<')
        return false;
    // Data of the old-style form begin with the same character.
    text = text.substr(first + 1);
    return text.substr(0, text.find('>')).find_first_not_of("0123456789abcdefABCDEF \t\r\n")
        != std::string_view::npos;
}

Result<Value> parseAny(std::string_view bytes)
{
    if (bytes.starts_with(kBinaryMagic))
        return parseBinary(bytes);
    const auto text = utf8::fromMarkedText(bytes);
    if (!text)
        return Error{"it ends in the middle of a character"};
    if (isXml(*text)) {
        const bool isConverted = text->size() != bytes.size();
        return parseXml(*text, isConverted ? Encoding::Utf8 : Encoding::AsDeclared);
    }
    auto list = parseOldStyle(*text);
    // Without this any file that holds a single word would be a list.
    if (list && list->text())
        return Error{"it is no property list"};
    return list;
}

bool isMissing(const std::string& path)
{
    struct stat info { };
    return ::stat(path.c_str(), &info) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

} // namespace

Result<Value> parse(std::string_view bytes)
{
    if (bytes.empty())
        return Error{"it is empty"};
    if (bytes.size() > kMostBytes)
        return Error{"it is larger than any property list"};
    try {
        return parseAny(bytes);
    } catch (const std::bad_alloc&) {
        return Error{"there is no memory left to read it"};
    }
}

Result<Value> readFile(const std::string& path)
{
    const auto bytes = files::readFile(path, kMostBytes);
    if (!bytes && isMissing(path))
        return Value();
    if (!bytes)
        return bytes.error();
    auto list = parse(*bytes);
    if (!list)
        return Error{fmt::format("{} can't be read: {}", path, list.error().text)};
    if (list->isNull())
        return Error{fmt::format("{} can't be read: it holds no value", path)};
    return list;
}

Status writeAtomically(const Value& value, const std::string& path, std::uint32_t permissions)
{
    if (value.isNull())
        return Error{fmt::format("{}: there is no value to be written", path)};
    return files::writeFileAtomically(path, toXml(value), permissions);
}

} // namespace platform::propertylist
