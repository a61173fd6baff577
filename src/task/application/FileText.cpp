#include "task/application/FileText.h"

#include "platform/files/File.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

namespace {

constexpr std::size_t kBytesLookedAt = 4096;
constexpr std::size_t kBytesForEachControl =
    100; // Some programs print a few of them, for colours and sounds.
constexpr std::uint8_t kFirstPrintable = 0x20;

bool isControl(std::uint8_t byte)
{
    return byte < kFirstPrintable && byte != '\t' && byte != '\n' && byte != '\r' && byte != '\f'
        && byte != '\b' && byte != '\x1b';
}

} // namespace

bool FileText::isText(const std::string& path)
{
    auto file = platform::File::open(path, platform::File::Mode::ReadRegular);
    if (!file)
        return false;
    std::array<std::uint8_t, kBytesLookedAt> bytes{};
    const auto count = file->read(bytes);
    if (!count)
        return false;
    const auto start = std::span(bytes).first(*count);
    const auto controls = static_cast<std::size_t>(std::count_if(start.begin(), start.end(), isControl));
    return std::find(start.begin(), start.end(), 0) == start.end()
        && controls * kBytesForEachControl <= start.size();
}

bool FileText::show(const std::optional<std::string>& path)
{
    if (path && path == file_.fileName()) {
        file_.updateFileContent();
        return true;
    }
    const bool isShown = path && isText(*path);
    file_.setTable(&lines_);
    file_.setFileName(isShown ? path : std::nullopt);
    return isShown;
}
