#include "datafile/SVPrintableText.h"

namespace {

unsigned byteAt(const std::string& text, std::size_t place)
{
    return place < text.size() ? static_cast<unsigned char>(text[place]) : 0;
}

// Behind 0xc2, a byte from 0x80 to 0x9f makes a control character.
bool isControl(const std::string& text, std::size_t place, std::size_t length)
{
    const unsigned first = byteAt(text, place);
    return length == 1 ? first < 0x20 || first == 0x7f : first == 0xc2 && byteAt(text, place + 1) < 0xa0;
}

void appendEscaped(std::string& result, unsigned byte)
{
    constexpr const char* kDigits = "0123456789abcdef";
    if (byte == '\n' || byte == '\r' || byte == '\t')
        result.append(byte == '\n' ? "\\n" : byte == '\r' ? "\\r" : "\\t");
    else
        result.append("\\x").append(1, kDigits[byte / 16]).append(1, kDigits[byte % 16]);
}

} // namespace

std::size_t SVCharacterLength(const std::string& text, std::size_t place)
{
    const unsigned first = byteAt(text, place);
    if (first < 0x80)
        return 1;
    const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4)
        return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byteAt(text, place + i) & 0xc0) != 0x80)
            return 0;
    // No overlong forms, no surrogates, nothing above U+10FFFF.
    const unsigned second = byteAt(text, place + 1);
    const bool wrong = (first == 0xe0 && second < 0xa0) || (first == 0xed && second > 0x9f)
        || (first == 0xf0 && second < 0x90) || (first == 0xf4 && second > 0x8f);
    return wrong ? 0 : length;
}

std::string SVPrintable(const std::string& text)
{
    std::string result;
    for (std::size_t place = 0; place < text.size();) {
        const std::size_t length = SVCharacterLength(text, place);
        const std::size_t count = length == 0 ? 1 : length;
        if (length != 0 && !isControl(text, place, length))
            result.append(text, place, count);
        else
            for (std::size_t i = 0; i < count; ++i)
                appendEscaped(result, byteAt(text, place + i));
        place += count;
    }
    return result;
}
