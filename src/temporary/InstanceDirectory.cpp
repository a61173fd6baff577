#include "temporary/InstanceDirectory.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/ProcessInfo.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "temporary/RemoveEverything.h"

#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <optional>
#include <tuple>

namespace temporary {

namespace files = platform::files;
using platform::paths::appending;

namespace {

constexpr const char* kBeat = "beat";
constexpr const char* kMark = "markedForRemoval";
constexpr const char* kDeleteThis = "deleteThis";
constexpr const char* kDateFormat = "%Y-%m-%d %H:%M";
constexpr std::size_t kLongestDate = 64; // Bytes.

std::string dateText(double secondsSince1970)
{
    const auto seconds = static_cast<std::time_t>(std::floor(secondsSince1970));
    std::tm parts{};
    localtime_r(&seconds, &parts);
    char text[kLongestDate];
    return {text, std::strftime(text, sizeof text, kDateFormat, &parts)};
}

// Seconds since the date that a file holds: nothing without the file, and 0 for a text that is no date, so
// that a damaged file condemns no directory.
std::optional<double> ageOf(const std::string& path, double now)
{
    if (!files::exists(path))
        return std::nullopt;
    std::tm parts{};
    parts.tm_isdst = -1;
    const std::string text = files::readFile(path, kLongestDate).value_or("");
    if (!strptime(text.c_str(), kDateFormat, &parts))
        return 0;
    const std::time_t date = std::mktime(&parts);
    // A torn or foreign text may read as a date, but isn't written as that date.
    if (date == -1 || dateText(static_cast<double>(date)) != text)
        return 0;
    return now - static_cast<double>(date);
}

// A link to a folder is somebody else's folder.
bool isFolderItself(const std::string& path)
{
    std::error_code failure;
    return std::filesystem::is_directory(std::filesystem::symlink_status(path, failure));
}

} // namespace

double systemTime()
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

InstanceDirectory::InstanceDirectory(std::string parent, Clock clock)
    : parent_(std::move(parent)), path_(appending(parent_, platform::uniqueString())),
      clock_(std::move(clock))
{
    std::ignore =
        files::createDirectories(platform::paths::deletingLastComponent(parent_), files::kOwnersFolder);
    std::ignore = files::createDirectory(parent_, files::kOwnersFolder);
    for (const std::string& name : files::contentsOfDirectory(parent_).value_or({}))
        others_.push_back(appending(parent_, name));
    for (const std::string& folder : {path_, foldersFolder(), filesFolder()})
        std::ignore = files::createDirectory(folder, files::kOwnersFolder);
}

std::string InstanceDirectory::filesFolder() const
{
    return appending(path_, "TF");
}

std::string InstanceDirectory::foldersFolder() const
{
    return appending(path_, "TD");
}

void InstanceDirectory::sweepOthers()
{
    std::vector<std::string> condemned;
    for (const std::string& directory : others_)
        if (isFolderItself(directory) && isCondemned(directory))
            condemned.push_back(directory);
    for (const std::string& directory : condemned)
        deleteDirectory(directory);
    std::ignore = files::writeFile(appending(path_, kBeat), dateText(clock_()));
}

bool InstanceDirectory::isCondemned(const std::string& directory) const
{
    if (files::exists(appending(directory, kDeleteThis))) {
        KRMessageCenter::addMessage(
            fmt::format("Dir {} was marked for removal", platform::paths::lastComponent(directory)));
        return true;
    }
    const double now = clock_();
    // A clock that went back condemns nothing.
    const auto beat = ageOf(appending(directory, kBeat), now);
    if (beat && std::abs(*beat) <= kStalenessLimit)
        return false;
    const std::string mark = appending(directory, kMark);
    const auto marked = ageOf(mark, now);
    if (!marked)
        std::ignore = files::writeFile(mark, dateText(now));
    return marked && *marked > kStalenessLimit;
}

void InstanceDirectory::heartBeat() const
{
    const std::string mark = appending(path_, kMark);
    if (files::exists(mark))
        std::ignore = files::remove(mark);
    std::ignore = files::writeFile(appending(path_, kBeat), dateText(clock_()));
}

void deleteDirectory(const std::string& directory)
{
    std::ignore = files::writeFile(appending(directory, kDeleteThis), "Delete");
    if (const auto names = files::contentsOfDirectory(directory))
        for (const std::string& name : *names)
            if (name != kDeleteThis)
                removeEverything(appending(directory, name));
    removeEverything(directory);
}

} // namespace temporary
