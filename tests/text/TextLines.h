#pragma once

#include <fstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using Texts = std::vector<std::string>;

inline void write(const std::string& path, std::string_view text, std::ios::openmode mode = std::ios::trunc)
{
    std::ofstream(path, std::ios::binary | mode) << text;
}

// The lines of a text, found in the slow and obvious way.
inline Texts slowLinesOf(const std::string& text)
{
    Texts lines;
    std::string line;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\n' && text[i] != '\r') {
            line += text[i];
            continue;
        }
        lines.push_back(std::exchange(line, {}));
        if (text.substr(i, 2) == "\r\n")
            ++i;
    }
    if (!line.empty())
        lines.push_back(line);
    return lines;
}

// All texts of up to so many characters out of a letter and the two that end lines.
template <class Take>
void forShortTexts(int longest, Take take)
{
    for (int length = 0, count = 1; length <= longest; ++length, count *= 3)
        for (int number = 0; number < count; ++number) {
            std::string text;
            for (int rest = number, i = 0; i < length; ++i, rest /= 3)
                text += "a\r\n"[rest % 3];
            take(text);
        }
}
