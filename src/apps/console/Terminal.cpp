#include "apps/console/Terminal.h"

#include "platform/files/Descriptor.h"

#include <array>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace terminal {

namespace {

bool isSet(const char* variable)
{
    const char* value = std::getenv(variable);
    return value && *value;
}

Output examine()
{
    Output output;
    const char* kind = std::getenv("TERM");
    output.isTerminal = isatty(STDOUT_FILENO) == 1 && kind && *kind && std::strcmp(kind, "dumb") != 0;
    output.hasColors = output.isTerminal && !isSet("NO_COLOR");
    output.hasUnicode = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
    return output;
}

} // namespace

const Output& Output::standard()
{
    static const Output output = examine();
    return output;
}

Size Output::size() const
{
    winsize window{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0 && window.ws_row > 0)
        return {window.ws_col, window.ws_row};
    return {};
}

std::string Output::colored(Color color, std::string_view text) const
{
    static constexpr std::array<const char*, 7> kCodes{"", "32", "33", "31", "36", "2", "1"};
    if (!hasColors || color == Color::None || text.empty())
        return std::string(text);
    return std::string("\033[") + kCodes[static_cast<std::size_t>(color)] + "m" + std::string(text)
        + "\033[0m";
}

bool write(std::string_view text)
{
    // Another program that shares the descriptor may have made it one that doesn't block.
    return platform::writeAll(STDOUT_FILENO, text, platform::WhenFull::Wait).ok();
}

} // namespace terminal
