#include "platform/ProcessInfo.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <fmt/format.h>
#include <memory>
#include <mutex>
#include <pwd.h>
#include <random>
#include <sched.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace platform {

namespace {

using LogReader = std::function<void(const std::string&)>;
std::mutex logMutex;
std::shared_ptr<const LogReader> logReader; // Guarded by logMutex.

// Sixteen random bytes as two numbers, most significant bytes first.
std::pair<std::uint64_t, std::uint64_t> randomBits()
{
    std::random_device device; // The kernel's own source.
    const auto word = [&] { return static_cast<std::uint64_t>(device()) << 32 | device(); };
    return {word(), word()};
}

bool isUsableName(const char* name)
{
    // The name becomes a part of paths.
    return name && *name != '\0' && std::string_view(name).find('/') == std::string_view::npos;
}

} // namespace

std::string hostName()
{
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) != 0 || name[0] == '\0')
        return "localhost";
    return name;
}

std::string loginName()
{
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found
        && isUsableName(found->pw_name))
        return found->pw_name;
    for (const char* variable : {"LOGNAME", "USER"})
        if (const char* name = std::getenv(variable); isUsableName(name))
            return name;
    return std::to_string(geteuid());
}

double foundationVersion()
{
    return 1000; // Later than any release that something here is made to differ by.
}

int processorCount()
{
    // What this process may use, which in a container or under a batch system is less than the machine has.
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (sched_getaffinity(0, sizeof allowed, &allowed) == 0 && CPU_COUNT(&allowed) > 0)
        return CPU_COUNT(&allowed);
    const unsigned count = std::thread::hardware_concurrency();
    return count > 0 ? static_cast<int>(count) : 1;
}

std::string uniqueString()
{
    static std::atomic<std::uint64_t> counter = 0;
    return fmt::format("{}-{}-{}", makeUuid(), getpid(), ++counter);
}

std::string makeUuid()
{
    auto [high, low] = randomBits();
    // RFC 4122, 4.4: the version in the four high bits of time_hi_and_version, the variant in the two high
    // bits of clock_seq_hi_and_reserved.
    high = (high & ~std::uint64_t{0xF000}) | 0x4000;
    low = (low & (~std::uint64_t{0} >> 2)) | std::uint64_t{1} << 63;
    return fmt::format("{:08X}-{:04X}-{:04X}-{:04X}-{:012X}", high >> 32, high >> 16 & 0xFFFF, high & 0xFFFF,
        low >> 48, low & 0xFFFF'FFFF'FFFF);
}

void systemLog(const std::string& line)
{
    std::shared_ptr<const LogReader> reader;
    {
        const std::lock_guard lock(logMutex);
        reader = logReader;
    }
    if (reader)
        (*reader)(line);
    else
        syslog(LOG_USER | LOG_NOTICE, "%s", line.c_str());
}

void setSystemLogReader(std::function<void(const std::string& line)> reader)
{
    auto next = reader ? std::make_shared<const LogReader>(std::move(reader)) : nullptr;
    const std::lock_guard lock(logMutex);
    logReader = std::move(next);
}

} // namespace platform
