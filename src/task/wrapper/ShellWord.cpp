#include "task/wrapper/ShellWord.h"

#include <algorithm>
#include <string_view>

namespace {

bool meansNothingToAShell(char c)
{
    const bool isAlphanumeric = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    return isAlphanumeric || std::string_view("_+-.,:/@%=").find(c) != std::string_view::npos;
}

} // namespace

std::string shellWord(const std::string& text)
{
    if (!text.empty() && std::all_of(text.begin(), text.end(), meansNothingToAShell))
        return text;
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}
