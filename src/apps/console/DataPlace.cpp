#include "apps/console/DataPlace.h"

#include "apps/console/Following.h"
#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "storage/bytes/DataFileStream.h"
#include "task/wrapper/ShellWord.h"

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
    messages_->showsLongTexts = false;
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
    wrapper_->messages().showsLongTexts = false;
    name_ = words[2];
    path_ = task_->folderName() + "/" + name_;
    const auto& names = task_->fileList();
    if (std::find(names.begin(), names.end(), name_) != names.end())
        return true;
    complain(fmt::format("Task {} has no file {}.", *number, name_));
    return false;
}

std::shared_ptr<DataFileContent> DataPlace::read(SVFileContent::Changed changed)
{
    if (!platform::files::isDirectory(path_) && !DataFileStream::open(path_, DataFileStream::Access::Read)) {
        complain(fmt::format("{} can not be opened for reading.", name_));
        return nullptr;
    }
    const auto countMessages = [] { return KRMessageCenter::sharedMessageCenter()->messages().size(); };
    const std::size_t before = countMessages();
    auto content = DataFileContent::open(path_, std::move(changed));
    platform::MainLoop::main().runUntil([&content] { return !content || !content->isBeingRead(); });
    hasReports_ = countMessages() > before;
    (wrapper_ ? wrapper_->messages() : *messages_).writeNewMessages();
    if (content && content->dataFile())
        return content;
    complain(isEmpty() ? fmt::format("{} is empty.", name_)
                       : fmt::format("{} can not be read as a data file.", name_));
    return nullptr;
}

bool DataPlace::isEmpty() const
{
    return platform::files::size(path_) == std::optional<std::uint64_t>(0);
}

bool DataPlace::isNotUnderstood(const DataFileContent& content) const
{
    return content.count() == 0 && hasReports_ && !isEmpty();
}

std::string DataPlace::sentenceAboutNothing() const
{
    if (platform::files::isDirectory(path_))
        return fmt::format("{} announces no variables.", name_);
    return isEmpty() ? fmt::format("{} is empty.", name_)
                     : fmt::format("{} announces no variables. \"svdata list {}\" shows what it holds.",
                         name_, shellWord(path_));
}
