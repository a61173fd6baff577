#include "apps/console/DataPlace.h"

#include "apps/console/Following.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "task/ShellWord.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace {

// A stack of files is a folder with this extension.
constexpr const char* kStackExtension = "svdata";

std::optional<int> taskNumber(const std::string& text)
{
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

} // namespace

std::unique_ptr<DataPlace> DataPlace::find(const std::vector<std::string>& words)
{
    std::unique_ptr<DataPlace> place(new DataPlace);
    const bool found = words.size() == 1 ? place->findFile(words[0]) : place->findInWrapper(words);
    return found ? std::move(place) : nullptr;
}

bool DataPlace::findFile(const std::string& file)
{
    messages_ = std::make_unique<MessagePrinter>();
    name_ = file;
    path_ = platform::paths::absolute(file);
    if (!platform::files::exists(path_)) {
        complain(fmt::format("{} does not exist.", path_));
        return false;
    }
    if (platform::files::isDirectory(path_)
        && platform::paths::lowercaseExtension(path_) != kStackExtension) {
        complain(fmt::format("{} is a folder, not a data file.", path_));
        return false;
    }
    return true;
}

bool DataPlace::findInWrapper(const std::vector<std::string>& words)
{
    const auto number = taskNumber(words[1]);
    if (!number) {
        complain(fmt::format("\"{}\" is not the number of a task.", words[1]));
        return false;
    }
    wrapper_ = OpenWrapper::open(words[0]);
    task_ = wrapper_ ? wrapper_->task(*number) : nullptr;
    if (!task_)
        return false;
    name_ = words[2];
    path_ = task_->folderName() + "/" + name_;
    const auto& names = task_->fileList();
    if (std::find(names.begin(), names.end(), name_) != names.end())
        return true;
    complain(fmt::format("Task {} has no file {}.", *number, name_));
    return false;
}

std::shared_ptr<DataFileContent> DataPlace::read(SVFileContent::Changed changed) const
{
    auto content = DataFileContent::open(path_, std::move(changed));
    platform::MainLoop::main().runUntil([&content] { return !content || !content->isBeingRead(); });
    if (content && content->dataFile())
        return content;
    complain(platform::files::size(path_) == std::optional<std::uint64_t>(0)
            ? fmt::format("{} is empty.", name_)
            : fmt::format("{} can not be read as a data file.", name_));
    return nullptr;
}

std::string DataPlace::sentenceAboutNothing() const
{
    return platform::files::size(path_) == std::optional<std::uint64_t>(0)
        ? fmt::format("{} is empty.", name_)
        : fmt::format(
            "{} announces no variables. \"svdata list {}\" shows what it holds.", name_, shellWord(path_));
}
