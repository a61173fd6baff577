#include "task/TaskWrapper.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/FileManager.h"
#include "platform/Md5.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"

#include <fmt/format.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

namespace {

using platform::Value;
namespace files = platform::files;

constexpr std::uint64_t kMostChecksumBytes = 4096;

struct ReadDictionary {
    Value dictionary{Value::Dictionary()};
    bool isUnreadable = false;
};

ReadDictionary readDictionary(const std::string& path)
{
    using Status = platform::propertylist::ReadResult::Status;
    auto read = platform::propertylist::readFile(path);
    if (read.status == Status::Missing)
        return {};
    if (read.status == Status::Read && read.value.dictionary())
        return {std::move(read.value), false};
    const std::string name = platform::paths::lastComponent(path);
    KRMessageCenter::addMessage(fmt::format("Could not read {}.", name),
        read.status == Status::Read ? fmt::format("{}: a dictionary was expected at its root.", path)
                                    : read.reason);
    return {Value(Value::Dictionary()), true};
}

std::optional<std::vector<std::string>> inputFilesOf(const Value& information)
{
    if (const Value* list = information.find("InputFiles"); list && list->array()) {
        std::vector<std::string> names;
        for (const Value& name : *list->array())
            if (auto text = textOfValue(&name))
                names.push_back(std::move(*text));
        return names;
    }
    // A name in place of the list: what a person meant must not be removed for it.
    if (const auto single = information.textFor("InputFiles"))
        return std::vector<std::string>{*single};
    if (const auto single = information.textFor("Input"))
        return std::vector<std::string>{*single};
    return std::nullopt;
}

std::optional<std::string> checksumOf(const std::string& executablePath)
{
    const std::string path = executablePath + ".md5";
    std::string reason;
    auto known = files::readFile(path, kMostChecksumBytes, reason);
    if (known && files::isValidUtf8(*known))
        return known;
    auto computed = md5ChecksumForFile(executablePath);
    // Half a checksum would be trusted from now on.
    if (computed && !files::writeFile(path, *computed))
        files::remove(path);
    return computed;
}

} // namespace

std::optional<std::string> md5ChecksumForFile(const std::string& path)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) // Opening a pipe would wait for its writer.
        return std::nullopt;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"), std::fclose);
    if (!file)
        return std::nullopt;
    platform::Md5 digest;
    auto chunk = std::make_unique<std::array<char, 65536>>();
    while (const std::size_t count = std::fread(chunk->data(), 1, chunk->size(), file.get()))
        digest.update(chunk->data(), count);
    return std::ferror(file.get()) ? std::nullopt : std::optional(digest.hexDigest());
}

std::optional<std::string> textOfValue(const Value* value)
{
    if (!value)
        return std::nullopt;
    if (value->text())
        return *value->text();
    if (const auto whole = value->integer())
        return fmt::format("{}", *whole);
    if (const auto number = value->number())
        return fmt::format("{}", *number);
    return std::nullopt;
}

double numberOfValue(const Value* value)
{
    if (!value)
        return 0;
    if (value->text())
        return std::strtod(value->text()->c_str(), nullptr);
    return value->number().value_or(0);
}

TaskWrapper TaskWrapper::read(const std::string& wrapperName)
{
    TaskWrapper wrapper;
    wrapper.wrapperName = wrapperName;
    auto information = readDictionary(wrapperName + "/Info.plist");
    wrapper.storedInformation = std::move(information.dictionary);
    wrapper.infoIsUnreadable = information.isUnreadable;
    wrapper.inputFiles = inputFilesOf(wrapper.storedInformation);

    const auto executable = readDictionary(wrapperName + "/Executable.plist");
    wrapper.executable = executable.dictionary.textFor("Executable");
    wrapper.originalExecutable = executable.dictionary.textFor("OriginalExecutable");
    wrapper.executableIsUnreadable = executable.isUnreadable;
    if (wrapper.executable)
        wrapper.executableMD5 = checksumOf(fmt::format("{}/MacOSX/{}", wrapperName, *wrapper.executable));
    return wrapper;
}

std::vector<Value> TaskWrapper::taskDescriptions() const
{
    if (const Value* current = storedInformation.find("Entry Description"))
        return current->array() ? *current->array() : Value::Array();
    const Value* times = storedInformation.find("TimeValues");
    if (!times || !times->array())
        return {};
    const Value* texts = storedInformation.find("Description");
    std::vector<Value> descriptions;
    for (std::size_t i = 0; i < times->array()->size(); ++i) {
        Value::Dictionary dictionary{{"Time Value", (*times->array())[i]}};
        if (texts && texts->array() && i < texts->array()->size())
            dictionary["Description"] = (*texts->array())[i];
        descriptions.emplace_back(std::move(dictionary));
    }
    return descriptions;
}
