#include "platform/plist/PropertyListWriter.h"

#include "platform/Utf8.h"
#include "platform/plist/PropertyListTexts.h"

#include <fmt/format.h>

namespace platform::propertylist {

namespace {

constexpr std::string_view kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                   "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                   "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                   "<plist version=\"1.0\">\n";
constexpr std::string_view kFoot = "</plist>\n";
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

class Writer {
public:
    std::string write(const Value& value)
    {
        xml_ = kHead;
        writeValue(value, 0);
        xml_ += kFoot;
        return std::move(xml_);
    }

private:
    void line(std::size_t level, std::string_view text) { xml_.append(level, '\t').append(text) += '\n'; }

    void element(std::size_t level, std::string_view name, std::string_view text)
    {
        xml_.append(level, '\t');
        xml_ += fmt::format("<{}>", name);
        writeText(text);
        xml_ += fmt::format("</{}>\n", name);
    }

    void writeValue(const Value& value, std::size_t level)
    {
        if (const auto* members = value.dictionary())
            writeDictionary(*members, level);
        else if (const auto* elements = value.array())
            writeArray(*elements, level);
        else if (const auto* text = value.text())
            element(level, "string", *text);
        else if (const auto* data = value.data())
            element(level, "data", dataToText(*data));
        else if (const auto date = value.date())
            element(level, "date", dateToText(*date));
        else if (const auto boolean = value.boolean())
            line(level, *boolean ? "<true/>" : "<false/>");
        else if (value.isReal())
            element(level, "real", realToText(*value.number()));
        else if (const auto whole = value.integer())
            element(level, "integer", std::to_string(*whole));
        else // A null in an array: an empty text keeps the other elements at their indices.
            element(level, "string", "");
    }

    void writeDictionary(const Value::Dictionary& members, std::size_t level)
    {
        if (members.empty())
            return line(level, "<dict/>");
        line(level, "<dict>");
        for (const auto& [key, value] : members) {
            if (value.isNull())
                continue;
            element(level + 1, "key", key);
            writeValue(value, level + 1);
        }
        line(level, "</dict>");
    }

    void writeArray(const Value::Array& elements, std::size_t level)
    {
        if (elements.empty())
            return line(level, "<array/>");
        line(level, "<array>");
        for (const Value& value : elements)
            writeValue(value, level + 1);
        line(level, "</array>");
    }

    void writeText(std::string_view text)
    {
        while (!text.empty()) {
            // Writes each run of valid characters at once, and each invalid byte on its own.
            const std::size_t valid = utf8::firstInvalidByte(text).value_or(text.size());
            writeValidText(text.substr(0, valid));
            text.remove_prefix(valid);
            if (!text.empty()) {
                xml_ += kReplacement;
                text.remove_prefix(1);
            }
        }
    }

    void writeValidText(std::string_view text)
    {
        std::size_t plainFrom = 0;
        for (std::size_t place = 0; place < text.size(); ++place) {
            const auto special = specialAt(text.substr(place));
            if (special.length == 0)
                continue;
            xml_.append(text.substr(plainFrom, place - plainFrom)).append(special.written);
            place += special.length - 1;
            plainFrom = place + 1;
        }
        xml_.append(text.substr(plainFrom));
    }

    struct Special {
        std::size_t length = 0; // Bytes of the character; 0 when it is written as it is.
        std::string_view written;
    };

    static Special specialAt(std::string_view text)
    {
        const auto code = static_cast<unsigned char>(text.front());
        switch (code) {
        case '\t':
        case '\n':
            return {};
        case '&':
            return {1, "&amp;"};
        case '<':
            return {1, "&lt;"};
        case '>':
            return {1, "&gt;"};
        case '\r': // A plain one would be read as a line feed.
            return {1, "&#13;"};
        default:
            break;
        }
        // XML has no way to write these, not even as numbers.
        if (code < ' ')
            return {1, kReplacement};
        if (code == 0xEF && (text.starts_with("\xEF\xBF\xBE") || text.starts_with("\xEF\xBF\xBF")))
            return {3, kReplacement};
        return {};
    }

    std::string xml_;
};

} // namespace

std::string toXml(const Value& value)
{
    return Writer().write(value);
}

} // namespace platform::propertylist
