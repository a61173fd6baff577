#include "storage/Redirection.h"

#include "diagnostics/KRMessageCenter.h"

#include <set>

namespace storage {

std::optional<std::string> endOfRedirections(const std::string& name,
    const std::function<std::optional<std::string>(const std::string& name)>& textUnder)
{
    std::set<std::string> seen{name};
    std::string current = name;
    for (;;) {
        auto next = textUnder(current);
        if (!next)
            return current;
        if (!seen.insert(*next).second) {
            KRMessageCenter::addMessage("Circular reference inside datafile.");
            return std::nullopt;
        }
        current = std::move(*next);
    }
}

} // namespace storage
