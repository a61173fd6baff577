#include "apps/console/LiveDisplay.h"

#include <utility>

namespace {

// Control sequences of ECMA-48, and private modes that terminals with an alternate screen understand.
constexpr const char* kEnter = "\033[?1049h\033[?25l"; // The alternate screen, with the cursor hidden.
constexpr const char* kLeave = "\033[?25h\033[?1049l";
constexpr const char* kHome = "\033[H";
constexpr const char* kClearToEndOfLine = "\033[K";
constexpr const char* kClearBelow = "\033[J";

} // namespace

void LiveDisplay::show(const std::vector<std::string>& lines)
{
    std::string frame = std::exchange(isShown_, true) ? "" : kEnter;
    frame += kHome;
    for (std::size_t i = 0; i < lines.size(); ++i)
        frame += (i == 0 ? "" : "\n") + lines[i] + kClearToEndOfLine;
    terminal::write(frame + kClearBelow);
}

void LiveDisplay::leave()
{
    if (std::exchange(isShown_, false))
        terminal::write(kLeave);
}
