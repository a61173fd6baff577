#include "diagnostics/MessageLog.h"

#include "platform/files/FileManager.h"

#include <fmt/format.h>

#include <cmath>
#include <ctime>
#include <utility>

namespace diagnostics {

namespace {

std::tm localTime(double secondsSince1970)
{
    const auto seconds = static_cast<std::time_t>(std::floor(secondsSince1970));
    std::tm parts{};
    localtime_r(&seconds, &parts);
    return parts;
}

std::string recordOf(
    double secondsSince1970, const std::string& text, const std::optional<std::string>& longVersion)
{
    std::string record;
    if (platform::files::isValidUtf8(text))
        record = fmt::format("{} : {}\n", logDate(secondsSince1970), text);
    if (longVersion && platform::files::isValidUtf8(*longVersion))
        record += *longVersion + "\n";
    return record;
}

} // namespace

std::string timeOfDay(double secondsSince1970)
{
    const std::tm parts = localTime(secondsSince1970);
    return fmt::format("{:02}:{:02}:{:02}", parts.tm_hour, parts.tm_min, parts.tm_sec);
}

std::string logDate(double secondsSince1970)
{
    const std::tm parts = localTime(secondsSince1970);
    return fmt::format("{:02}/{} at {}", parts.tm_mon + 1, parts.tm_mday, timeOfDay(secondsSince1970));
}

void MessageLog::open(const std::string& path)
{
    const std::lock_guard guard(lock_);
    file_.reset(std::fopen(path.c_str(), "we"));
    isOpening_ = false;
    write(recordOf(static_cast<double>(std::time(nullptr)), "Started", std::nullopt)
        + std::exchange(waiting_, std::string()));
}

void MessageLog::openAtFirstUse(std::function<std::string()> path)
{
    const std::lock_guard guard(lock_);
    pathAtFirstUse_ = std::move(path);
}

void MessageLog::begin()
{
    std::function<std::string()> path;
    {
        const std::lock_guard guard(lock_);
        if (!pathAtFirstUse_)
            return;
        path = std::exchange(pathAtFirstUse_, nullptr);
        isOpening_ = true;
    }
    open(path());
}

void MessageLog::add(
    double secondsSince1970, const std::string& text, const std::optional<std::string>& longVersion)
{
    begin();
    const std::string record = recordOf(secondsSince1970, text, longVersion);
    const std::lock_guard guard(lock_);
    if (isOpening_)
        waiting_ += record;
    else
        write(record);
}

void MessageLog::write(const std::string& records)
{
    if (!file_)
        return;
    std::fwrite(records.data(), 1, records.size(), file_.get());
    std::fflush(file_.get());
}

} // namespace diagnostics
