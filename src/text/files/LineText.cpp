#include "text/files/LineText.h"

#include "platform/Utf8.h"
#include "text/files/TextConverter.h"

#include <algorithm>
#include <bit>

std::size_t tornAtEnd(std::string_view text)
{
    constexpr std::size_t kLongestTail = 3; // A character has at most four bytes.
    for (std::size_t tail = 1; tail <= std::min(kLongestTail, text.size()); ++tail) {
        const auto lead = static_cast<unsigned char>(text[text.size() - tail]);
        if ((lead & 0xc0) == 0x80)
            continue;
        return lead >= 0xc0 && static_cast<std::size_t>(std::countl_one(lead)) > tail ? tail : 0;
    }
    return 0;
}

std::string decodedLine(std::string bytes)
{
    if (!platform::utf8::firstInvalidByte(bytes))
        return bytes;
    auto converter = TextConverter::open("MACINTOSH");
    std::string text;
    if (converter && converter->convert(bytes, text) == bytes.size())
        return text;
    return "Could not read in a text line, please report.";
}
