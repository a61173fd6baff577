#include "remote/server/ServerMessages.h"

#include <algorithm>
#include <cmath>

namespace servermessages {

namespace {

using platform::Value;

std::optional<std::int64_t> integerFor(const Value& dictionary, const char* key)
{
    const Value* value = dictionary.find(key);
    return value ? value->integer() : std::nullopt;
}

std::optional<TaskNews::Kind> kindOf(const std::string& operation)
{
    if (operation == kStartedComputingTask)
        return TaskNews::Kind::Started;
    if (operation == kNewOutputLength)
        return TaskNews::Kind::NewOutputLength;
    if (operation == kFinishedRunningTask)
        return TaskNews::Kind::Finished;
    return std::nullopt;
}

} // namespace

std::optional<TaskNews> readNews(const std::string& operation, const Value& argument)
{
    const auto kind = kindOf(operation);
    const auto number = integerFor(argument, kTaskNumber);
    const Value* wrapper = argument.find(kWrapperName);
    if (!kind || !number || *number < 0 || !wrapper || !wrapper->text()
        || wrapper->text()->size() > kLongestWrapperName)
        return std::nullopt;
    TaskNews news{*kind, *number, *wrapper->text(), 0, argument.find(kAborted) != nullptr};
    if (news.kind == TaskNews::Kind::NewOutputLength) {
        const auto lines = integerFor(argument, kLines);
        if (!lines || *lines < 0)
            return std::nullopt;
        news.lines = static_cast<int>(std::min<std::int64_t>(*lines, kMostLines));
    }
    return news;
}

std::optional<std::int64_t> readClientNumber(const Value& reply)
{
    constexpr std::int64_t kLargest = std::int64_t{1} << 53;
    const auto number = reply.integer();
    return number && *number >= 0 && *number <= kLargest ? number : std::nullopt;
}

std::optional<double> readLoadLevel(const Value& reply)
{
    const auto load = reply.number();
    return load && std::isfinite(*load) && *load >= 0 ? load : std::nullopt;
}

std::optional<std::string> readLine(const Value& reply)
{
    if (!reply.text())
        return std::nullopt;
    std::size_t size = std::min(reply.text()->size(), kLongestLine);
    if (size < reply.text()->size())
        while (size > 0 && (static_cast<unsigned char>((*reply.text())[size]) & 0xC0) == 0x80)
            --size;
    return reply.text()->substr(0, size);
}

} // namespace servermessages
