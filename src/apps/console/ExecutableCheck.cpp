#include "apps/console/ExecutableCheck.h"

#include "platform/files/Descriptor.h"
#include "platform/files/FileManager.h"
#include "platform/process/Process.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <elf.h>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>
#include <tuple>

namespace {

namespace files = platform::files;
using platform::Descriptor;

// The part of an ELF header that tells for which machine a program is.
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

// Programs of other systems, by how they begin.
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

std::optional<std::string> whyNotExecutable(const std::string& path)
{
    if (const auto error = platform::Process::whyNotLaunchable(path))
        return fmt::format("The executable can not be run: {}.", error->reason);
    const std::string bytes = firstBytes(path);
    if (bytes.empty())
        return fmt::format("The executable {} is empty or can not be read.", path);
    const auto identity = elfIdentity(bytes);
    const auto own = elfIdentity(firstBytes("/proc/self/exe"));
    // A 64-bit machine of this family runs the programs of the 32-bit one, too.
    const bool isOlderSibling = identity && own && own->machine == EM_X86_64 && identity->machine == EM_386;
    const bool isOurs = identity && (identity == own || isOlderSibling);
    // Text without a first line for an interpreter is run as a shell script.
    const bool isScript = !identity && bytes.find('\0') == std::string::npos && !isForeignProgram(bytes);
    if (!isOurs && !isScript)
        return fmt::format("The executable {} is not a program for this machine.", path);
    return std::nullopt;
}

std::optional<std::string> whyNotWritable(const std::string& folder)
{
    const std::string probe = folder + "/VTask_probe";
    Descriptor file(::open(probe.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0666));
    const bool isOpen = static_cast<bool>(file);
    // A byte, for a full disk lets an empty file be made.
    const bool written = isOpen && platform::writeAll(file.get(), "x") && file.close();
    const int reason = errno;
    if (isOpen)
        std::ignore = files::remove(probe);
    if (written)
        return std::nullopt;
    return fmt::format("{} can not be written: {}.", folder, std::generic_category().message(reason));
}

std::vector<int> processesWorkingIn(const std::string& folder)
{
    std::error_code error;
    const auto wanted = std::filesystem::canonical(folder, error);
    std::vector<int> found;
    if (error)
        return found;
    for (const auto& name : files::contentsOfDirectory("/proc").value_or(std::vector<std::string>())) {
        int id = 0;
        const auto [end, parsed] = std::from_chars(name.data(), name.data() + name.size(), id);
        if (parsed != std::errc() || end != name.data() + name.size())
            continue;
        const auto place = std::filesystem::read_symlink("/proc/" + name + "/cwd", error);
        if (!error && place == wanted)
            found.push_back(id);
    }
    return found;
}
