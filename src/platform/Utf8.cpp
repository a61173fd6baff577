#include "platform/Utf8.h"

namespace platform::utf8 {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool isSurrogate(char32_t character)
{
    return character >= 0xD800 && character < 0xE000;
}

// How many bytes the sequence that starts here has, 0 when it isn't valid.
std::size_t sequenceLength(std::string_view text)
{
    const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80)
        return 1;
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length)
        return 0;
    for (std::size_t index = 1; index < length; ++index)
        if ((byte(index) & 0xC0) != 0x80)
            return 0;
    // The second byte alone tells overlong forms, surrogates and what lies beyond U+10FFFF.
    const unsigned char second = byte(1);
    if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) || (lead == 0xF0 && second < 0x90)
        || (lead == 0xF4 && second > 0x8F))
        return 0;
    return length;
}

} // namespace

std::optional<std::size_t> firstInvalidByte(std::string_view text)
{
    std::size_t place = 0;
    while (place < text.size()) {
        const std::size_t length = sequenceLength(text.substr(place));
        if (length == 0)
            return place;
        place += length;
    }
    return std::nullopt;
}

void append(std::string& text, char32_t character)
{
    if (isSurrogate(character) || character > 0x10FFFF)
        character = kReplacement;
    const auto tail = [](char32_t bits) { return static_cast<char>(0x80 | (bits & 0x3F)); };
    if (character < 0x80) {
        text += static_cast<char>(character);
    } else if (character < 0x800) {
        text += static_cast<char>(0xC0 | character >> 6);
        text += tail(character);
    } else if (character < 0x10000) {
        text += static_cast<char>(0xE0 | character >> 12);
        text += tail(character >> 6);
        text += tail(character);
    } else {
        text += static_cast<char>(0xF0 | character >> 18);
        text += tail(character >> 12);
        text += tail(character >> 6);
        text += tail(character);
    }
}

std::optional<std::string> fromUtf16(std::string_view bytes, bool bigEndian)
{
    if (bytes.size() % 2 != 0)
        return std::nullopt;
    const auto unit = [&](std::size_t index) {
        const auto first = static_cast<unsigned char>(bytes[index]);
        const auto second = static_cast<unsigned char>(bytes[index + 1]);
        return static_cast<char32_t>(bigEndian ? first << 8 | second : second << 8 | first);
    };
    std::string text;
    for (std::size_t index = 0; index < bytes.size(); index += 2) {
        char32_t character = unit(index);
        if (character >= 0xD800 && character < 0xDC00) {
            if (index + 4 > bytes.size())
                return std::nullopt;
            const char32_t low = unit(index + 2);
            if (low >= 0xDC00 && low < 0xE000) {
                character = 0x10000 + ((character - 0xD800) << 10) + (low - 0xDC00);
                index += 2;
            }
        }
        append(text, character);
    }
    return text;
}

std::optional<std::string> fromMarkedText(std::string_view bytes)
{
    if (bytes.starts_with("\xEF\xBB\xBF"))
        return std::string(bytes.substr(3));
    if (bytes.starts_with("\xFE\xFF"))
        return fromUtf16(bytes.substr(2), true);
    if (bytes.starts_with("\xFF\xFE"))
        return fromUtf16(bytes.substr(2), false);
    return std::string(bytes);
}

} // namespace platform::utf8
