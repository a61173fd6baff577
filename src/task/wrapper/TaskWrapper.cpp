#include "task/wrapper/TaskWrapper.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/Md5.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "task/wrapper/WrapperList.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <tuple>

namespace {

using platform::Value;
namespace files = platform::files;

bool isTextOrNumber(const Value& value)
{
    return textOfValue(&value).has_value();
}

// Nothing when the list holds anything but names. Then no file may be removed: it could be an input.
std::optional<std::vector<std::string>> namesIn(const Value& list)
{
    if (list.text())
        return std::vector<std::string>{*list.text()};
    if (!list.array() || !std::all_of(list.array()->begin(), list.array()->end(), isTextOrNumber))
        return std::nullopt;
    std::vector<std::string> names;
    for (const Value& name : *list.array())
        names.push_back(*textOfValue(&name));
    return names;
}

// Collects sentences about values of Info.plist that count as absent.
class Complaints {
public:
    void add(std::string sentence)
    {
        if (++count_ <= kMostTold)
            text_ += "\n" + std::move(sentence);
    }
    void report(const std::string& path) const
    {
        if (count_ > 0)
            KRMessageCenter::addMessage("Could not understand all of Info.plist.",
                path + ":" + text_
                    + (count_ > kMostTold ? fmt::format("\nand {} more", count_ - kMostTold) : ""));
    }

private:
    static constexpr int kMostTold = 5;
    std::string text_;
    int count_ = 0;
};

void examineDescriptions(const Value& information, Complaints& complaints)
{
    const char* const key = information.find("Entry Description") ? "Entry Description" : "TimeValues";
    const Value* list = information.find(key);
    if (!list)
        return;
    if (!list->array())
        return complaints.add(fmt::format("{} is not an array.", key));
    if (key == std::string_view("TimeValues"))
        return;
    for (std::size_t i = 0; i < list->array()->size(); ++i) {
        const Value& entry = (*list->array())[i];
        if (!entry.dictionary())
            complaints.add(fmt::format("the description of task {} is not a dictionary.", i + 1));
        for (const char* part : {"Argument", "Time Value"})
            if (const Value* value = entry.find(part); value && !isTextOrNumber(*value))
                complaints.add(fmt::format("the {} of task {} is neither a text nor a number.", part, i + 1));
    }
}

std::optional<std::string> checksumOf(const std::string& executablePath)
{
    const std::string path = executablePath + ".md5";
    if (auto known = files::readUtf8(path))
        return std::move(*known);
    auto computed = md5ChecksumForFile(executablePath);
    // A partly written checksum would be trusted from now on.
    if (computed && !files::writeFile(path, *computed))
        std::ignore = files::remove(path);
    return computed;
}

} // namespace

std::optional<std::string> md5ChecksumForFile(const std::string& path)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) // Opening a pipe would block until a writer opens it.
        return std::nullopt;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"), std::fclose);
    if (!file)
        return std::nullopt;
    platform::Md5 digest;
    auto chunk = std::make_unique<std::array<char, 65536>>();
    while (const std::size_t count = std::fread(chunk->data(), 1, chunk->size(), file.get()))
        digest.update(chunk->data(), count);
    return std::ferror(file.get()) ? std::nullopt : digest.hexDigest();
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

namespace {

// Independent of the user's locale: files always have a decimal point.
double leadingNumber(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    if (text.starts_with('+'))
        text.remove_prefix(1);
    double number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

} // namespace

double numberOfValue(const Value* value)
{
    if (!value)
        return 0;
    if (value->text())
        return leadingNumber(*value->text());
    return value->number().value_or(0);
}

TaskWrapper TaskWrapper::read(const std::string& wrapperName)
{
    TaskWrapper wrapper;
    wrapper.wrapperName = wrapperName;
    auto information = WrapperList::read(wrapperName + "/Info.plist");
    wrapper.storedInformation = std::move(information.dictionary);
    wrapper.infoIsUnreadable = information.isUnreadable;
    wrapper.readInformation();

    const auto executable = WrapperList::read(wrapperName + "/Executable.plist");
    wrapper.executable = executable.dictionary.textFor("Executable");
    wrapper.originalExecutable = executable.dictionary.textFor("OriginalExecutable");
    wrapper.executableIsUnreadable = executable.isUnreadable;
    if (wrapper.executable && !isBareFileName(*wrapper.executable)) {
        KRMessageCenter::addMessage("Could not use the executable.",
            fmt::format("{}/Executable.plist: \"{}\" is not the bare name of a file in MacOSX.", wrapperName,
                *wrapper.executable));
        wrapper.executable.reset();
    }
    if (wrapper.executable)
        wrapper.executableMD5 = checksumOf(fmt::format("{}/MacOSX/{}", wrapperName, *wrapper.executable));
    return wrapper;
}

void TaskWrapper::readInformation()
{
    Complaints complaints;
    examineDescriptions(storedInformation, complaints);
    const char* const key = storedInformation.find("InputFiles") ? "InputFiles" : "Input";
    if (const Value* names = storedInformation.find(key)) {
        inputFiles = namesIn(*names);
        inputFilesAreUnknown = !inputFiles;
    }
    if (inputFilesAreUnknown)
        complaints.add(fmt::format(
            "{} is not a list of names: no run can be cleared, because its inputs are not known.", key));
    complaints.report(wrapperName + "/Info.plist");
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
