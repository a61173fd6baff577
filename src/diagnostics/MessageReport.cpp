#include "diagnostics/MessageReport.h"

#include "diagnostics/MessageLog.h"
#include "platform/files/FileManager.h"
#include "platform/plist/PropertyList.h"

#include <fmt/format.h>

#ifndef TRELKIND_SUPPORT_ADDRESS
#define TRELKIND_SUPPORT_ADDRESS "trelkind-support@localhost"
#endif

namespace diagnostics {

const char* supportAddress()
{
    return TRELKIND_SUPPORT_ADDRESS;
}

std::string messagesAsPropertyList(const MessageList& messages)
{
    platform::Value::Array list;
    for (const auto& entry : messages) {
        platform::Value::Dictionary dictionary;
        dictionary["Short"] = entry->shortDescription();
        if (entry->longDescription())
            dictionary["Long"] = *entry->longDescription();
        dictionary["Date"] = logDate(entry->date());
        list.emplace_back(std::move(dictionary));
    }
    return platform::propertylist::toXml(std::move(list));
}

std::string framedReport(const MessageList& messages, const std::optional<std::string>& descriptionOfApp)
{
    std::string text = messagesAsPropertyList(messages);
    if (descriptionOfApp)
        text += fmt::format("\n{}\n", *descriptionOfApp);
    return fmt::format("Error messages = ----------\n{}\n----------\n", text);
}

std::optional<std::string> percentEscaped(const std::string& text)
{
    // ASCII needs no conversion and everything else goes as UTF-8, so that one pass serves both.
    if (!platform::files::isValidUtf8(text))
        return std::nullopt;
    static constexpr std::string_view kUnreserved =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    std::string escaped;
    for (const char c : text) {
        if (kUnreserved.find(c) != std::string_view::npos)
            escaped += c;
        else
            escaped += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
    return escaped;
}

} // namespace diagnostics
