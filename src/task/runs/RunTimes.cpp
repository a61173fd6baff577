#include "task/runs/RunTimes.h"

#include "platform/files/FileManager.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <ctime>

namespace {

constexpr int kFirstSignal = 128;
constexpr int kMostStatus = 255;

double now()
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::tm localTime(double secondsSince1970)
{
    const auto time = static_cast<std::time_t>(secondsSince1970);
    std::tm local{};
    ::localtime_r(&time, &local);
    return local;
}

} // namespace

std::optional<double> RunTimes::seconds() const
{
    if (!started)
        return std::nullopt;
    return std::max(0.0, ended.value_or(now()) - *started); // A file system's clock may differ from ours.
}

std::optional<std::string> RunExit::signal() const
{
    const char* name = status > kFirstSignal ? ::sigabbrev_np(status - kFirstSignal) : nullptr;
    return name ? std::optional(std::string("SIG") + name) : std::nullopt;
}

std::string RunExit::text() const
{
    return signal().value_or(fmt::format("{}", status));
}

std::optional<RunExit> RunExit::ofRun(const std::string& folder)
{
    const auto text = platform::files::readFile(folder + "/" + kFileName).value_or("");
    RunExit read;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), read.status);
    const bool isNumber = error == std::errc() && (end == text.data() + text.size() || *end == '\n');
    return isNumber && read.status >= 0 && read.status <= kMostStatus ? std::optional(read) : std::nullopt;
}

std::string elapsedText(double seconds)
{
    const auto whole = static_cast<std::int64_t>(std::clamp(seconds, 0.0, 1e15));
    const std::int64_t hours = whole / 3600;
    const std::int64_t minutes = whole / 60 % 60;
    if (hours > 0)
        return fmt::format("{}:{:02}:{:02}", hours, minutes, whole % 60);
    return fmt::format("{}:{:02}", minutes, whole % 60);
}

std::string momentText(double secondsSince1970)
{
    const std::tm moment = localTime(secondsSince1970);
    const std::tm today = localTime(now());
    const std::string time = fmt::format("{:02}:{:02}:{:02}", moment.tm_hour, moment.tm_min, moment.tm_sec);
    if (moment.tm_year == today.tm_year && moment.tm_yday == today.tm_yday)
        return time;
    return fmt::format(
        "{:04}-{:02}-{:02} {}", moment.tm_year + 1900, moment.tm_mon + 1, moment.tm_mday, time);
}
