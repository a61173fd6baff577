#pragma once

#include "ssh/sftp/CkoDate.h"
#include "ssh/sftp/SFtpFileAttr.h"

#include <algorithm>
#include <optional>

namespace ssh {

// Seconds since 1970 as a date, cut to the range of the system's clock, some 290 years either way.
inline std::optional<CkoDate> dateFrom(std::optional<std::int64_t> seconds)
{
    constexpr std::int64_t kMost = 9'000'000'000;
    if (!seconds)
        return std::nullopt;
    return CkoDate(std::chrono::seconds(std::clamp(*seconds, -kMost, kMost)));
}

inline std::int64_t sizeOrNegative(const SFtpFileAttr& attr)
{
    constexpr std::uint64_t kMost = 0x7fffffffffffffff;
    return attr.size && *attr.size <= kMost ? static_cast<std::int64_t>(*attr.size) : -1;
}

} // namespace ssh
