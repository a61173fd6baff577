#include "apps/console/Terminal.h"

#include "platform/files/Descriptor.h"

#include <array>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

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

bool outputIsPipe()
{
    struct stat info { };
    return ::fstat(STDOUT_FILENO, &info) == 0 && (S_ISFIFO(info.st_mode) || S_ISSOCK(info.st_mode));
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
    // The descriptor may be non-blocking, because another program shares it.
    const auto written = platform::writeAll(STDOUT_FILENO, text, platform::WhenFull::Wait);
    static bool isTold = false;
    // A reader such as "head" closes the pipe early, which is no error.
    if (!written && !std::exchange(isTold, true) && !outputIsPipe())
        std::fprintf(
            stderr, "trelkind: standard output can not be written: %s\n", written.error().text.c_str());
    return written.ok();
}

} // namespace terminal
