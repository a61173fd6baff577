#include "apps/svdata/json_text.h"

#include "datafile/SVPrintableText.h"

#include <cstddef>
#include <cstdio>

std::string jsonString(const std::string& text)
{
    std::string json(1, '"');
    for (std::size_t place = 0; place < text.size();) {
        const std::size_t length = SVCharacterLength(text, place);
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
