#include "text/numbers/UsersLocale.h"

#include <fmt/format.h>

#include <stdexcept>

const std::locale& usersLocale()
{
    static const std::locale locale = [] {
        try {
            return std::locale("");
        } catch (const std::runtime_error&) {
            return std::locale::classic();
        }
    }();
    return locale;
}

std::string inUsersGroups(std::int64_t number)
{
    return fmt::format(usersLocale(), "{:L}", number);
}
