#include "task/wrapper/ExecutableCheck.h"

#include "platform/files/FileManager.h"
#include "platform/process/Process.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <elf.h>
#include <memory>
#include <optional>
#include <string_view>
#include <tuple>

namespace {

namespace files = platform::files;
using platform::Error;

// The part of an ELF header that identifies the target machine.
struct Identity {
    std::uint8_t bits = 0;
    std::uint8_t order = 0;
    std::uint16_t machine = 0;
    bool operator==(const Identity&) const = default;
};

std::string firstBytes(const std::string& path)
{
    std::array<char, 64> bytes{};
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"), std::fclose);
    const std::size_t count = file ? std::fread(bytes.data(), 1, bytes.size(), file.get()) : 0;
    return {bytes.data(), count};
}

std::optional<Identity> elfIdentity(const std::string& bytes)
{
    if (bytes.size() < 20 || bytes.compare(0, SELFMAG, ELFMAG) != 0)
        return std::nullopt;
    Identity identity{
        static_cast<std::uint8_t>(bytes[EI_CLASS]), static_cast<std::uint8_t>(bytes[EI_DATA]), 0};
    std::memcpy(&identity.machine, bytes.data() + 18, sizeof identity.machine);
    return identity;
}

// Recognised by their first bytes.
bool isForeignProgram(const std::string& bytes)
{
    static constexpr std::array<std::string_view, 6> kBeginnings{"\xFE\xED\xFA\xCE", "\xFE\xED\xFA\xCF",
        "\xCE\xFA\xED\xFE", "\xCF\xFA\xED\xFE", "\xCA\xFE\xBA\xBE", "MZ"};
    for (const std::string_view beginning : kBeginnings)
        if (bytes.starts_with(beginning))
            return true;
    return false;
}

} // namespace

platform::Status checkExecutable(const std::string& path)
{
    if (const auto error = platform::Process::whyNotLaunchable(path))
        return Error{fmt::format("The executable can not be run: {}.", error->reason)};
    const std::string bytes = firstBytes(path);
    if (bytes.empty())
        return Error{fmt::format("The executable {} is empty or can not be read.", path)};
    const auto identity = elfIdentity(bytes);
    const auto own = elfIdentity(firstBytes("/proc/self/exe"));
    // x86-64 also runs programs for i386.
    const bool isOlderSibling = identity && own && own->machine == EM_X86_64 && identity->machine == EM_386;
    const bool isOurs = identity && (identity == own || isOlderSibling);
    // A text file without "#!" is run as a shell script.
    const bool isScript = !identity && bytes.find('\0') == std::string::npos && !isForeignProgram(bytes);
    if (!isOurs && !isScript)
        return Error{fmt::format("The executable {} is not a program for this machine.", path)};
    return {};
}

platform::Status checkWritable(const std::string& folder)
{
    const std::string probe = folder + "/VTask_probe";
    // Write one byte, because an empty file can be made even on a full disk.
    const auto written = files::writeFile(probe, "x");
    if (!files::isDirectory(probe))
        std::ignore = files::remove(probe);
    if (written)
        return {};
    return Error{fmt::format("{} can not be written: {}.", folder, written.error().text)};
}
