#include "platform/service/ServiceMessages.h"

#include "platform/plist/PropertyList.h"

namespace platform {

namespace {

constexpr std::size_t kLengthSize = 4;

std::uint32_t lengthAt(std::string_view bytes)
{
    std::uint32_t length = 0;
    for (const char byte : bytes.substr(0, kLengthSize))
        length = length << 8 | static_cast<unsigned char>(byte);
    return length;
}

std::optional<ServiceMessage> decode(std::string_view bytes)
{
    const auto list = propertylist::parse(bytes);
    if (!list)
        return std::nullopt;
    ServiceMessage message;
    const Value* content = nullptr;
    if (const Value* reply = list->find("Reply"); reply && reply->integer()) {
        message.kind = ServiceMessage::Kind::Reply;
        message.number = *reply->integer();
        content = list->find("Result");
    } else if (auto operation = list->textFor("Operation")) {
        message.operation = std::move(*operation);
        content = list->find("Argument");
        const Value* call = list->find("Call");
        if (call && call->integer()) {
            message.kind = ServiceMessage::Kind::Call;
            message.number = *call->integer();
        }
    } else {
        return std::nullopt;
    }
    if (content)
        message.content = *content;
    return message;
}

} // namespace

std::optional<std::string> encode(const ServiceMessage& message)
{
    Value::Dictionary list;
    if (message.kind == ServiceMessage::Kind::Reply) {
        list["Reply"] = message.number;
        list["Result"] = message.content;
    } else {
        list["Operation"] = message.operation;
        list["Argument"] = message.content;
        if (message.kind == ServiceMessage::Kind::Call)
            list["Call"] = message.number;
    }
    const std::string xml = propertylist::toXml(Value(std::move(list)));
    if (xml.size() > kLargestServiceMessage)
        return std::nullopt;
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(xml.size() >> shift & 0xFF);
    return bytes += xml;
}

bool ServiceMessageReader::append(std::string_view bytes)
{
    // Memory grows with the bytes that have arrived, never with the length that a message claims.
    buffer_.append(bytes);
    return takeMessages();
}

bool ServiceMessageReader::takeMessages()
{
    std::string_view rest = buffer_;
    while (rest.size() >= kLengthSize) {
        const std::uint32_t length = lengthAt(rest);
        if (length > kLargestServiceMessage)
            return false;
        if (length > rest.size() - kLengthSize)
            break;
        auto message = decode(rest.substr(kLengthSize, length));
        if (!message)
            return false;
        messages_.push_back({std::move(*message), length});
        bytesWaiting_ += length;
        rest.remove_prefix(kLengthSize + length);
    }
    buffer_.erase(0, buffer_.size() - rest.size());
    return true;
}

std::optional<ServiceMessage> ServiceMessageReader::next()
{
    if (messages_.empty())
        return std::nullopt;
    Waiting first = std::move(messages_.front());
    messages_.pop_front();
    bytesWaiting_ -= first.size;
    return std::move(first.message);
}

} // namespace platform
