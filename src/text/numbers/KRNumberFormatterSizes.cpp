#include "text/numbers/KRNumberFormatter.h"
#include "text/numbers/UsersLocale.h"

#include <fmt/format.h>

namespace {

std::string grouped(std::uint64_t number)
{
    return inUsersGroups(static_cast<std::int64_t>(number));
}

// A number of tenths of a unit, always with its one decimal.
std::string withTenths(std::uint64_t tenths, const char* unit)
{
    const std::string whole = grouped(tenths / 10);
    if (tenths % 10 == 0)
        return whole + ".0" + unit;
    const char point = std::use_facet<std::numpunct<char>>(usersLocale()).decimal_point();
    return fmt::format("{}{}{}{}", whole, point, tenths % 10, unit);
}

std::uint64_t roundedQuotient(std::uint64_t number, std::uint64_t divisor)
{
    return number / divisor + (number % divisor >= divisor / 2 ? 1 : 0);
}

} // namespace

std::string KRNumberFormatter::sizeString(std::uint64_t bytes)
{
    if (bytes == 0)
        return "Empty";
    if (bytes == 1)
        return "1 byte";
    if (bytes < 1000)
        return fmt::format("{}B", bytes);
    if (bytes < 999500)
        return grouped((bytes + 500) / 1000) + "K";
    if (bytes < 9950000)
        return withTenths(roundedQuotient(bytes, 100000), "MB");
    if (bytes < 999500000)
        return grouped(roundedQuotient(bytes, 1000000)) + "MB";
    if (bytes / 1000 < 9950000)
        return withTenths(roundedQuotient(bytes, 100000000), "GB");
    return grouped(roundedQuotient(bytes, 1000000000)) + "GB";
}

std::string KRNumberFormatter::convertToLocalizedCount(std::int64_t count)
{
    return inUsersGroups(count);
}
