#include "apps/svdata/json_text.h"

#include <cstddef>
#include <cstdio>

namespace {

unsigned byteAt(const std::string& text, std::size_t place)
{
    return place < text.size() ? static_cast<unsigned char>(text[place]) : 0;
}

// The length of the UTF-8 character that begins here; 0 when none does.
std::size_t characterLength(const std::string& text, std::size_t place)
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
    // Not the long forms of short characters, not the surrogates, nothing above U+10FFFF.
    const unsigned second = byteAt(text, place + 1);
    const bool wrong = (first == 0xe0 && second < 0xa0) || (first == 0xed && second > 0x9f)
        || (first == 0xf0 && second < 0x90) || (first == 0xf4 && second > 0x8f);
    return wrong ? 0 : length;
}

} // namespace

std::string jsonString(const std::string& text)
{
    std::string json(1, '"');
    for (std::size_t place = 0; place < text.size();) {
        const std::size_t length = characterLength(text, place);
        const char c = text[place];
        if (length == 0) {
            json += "\xef\xbf\xbd";
        } else if (c == '"' || c == '\\') {
            json += '\\';
            json += c;
        } else if (length == 1 && static_cast<unsigned char>(c) < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
            json += escaped;
        } else {
            json.append(text, place, length);
        }
        place += length == 0 ? 1 : length;
    }
    json += '"';
    return json;
}
