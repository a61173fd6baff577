#include "variables/scan/ExtraParameters.h"

#include "variables/structures/EntryNames.h"
#include "variables/structures/StoredWords.h"

#include <algorithm>
#include <charconv>

namespace names = variables::names;

namespace {

// The places of the parameters that there are, below a count that may be any.
std::vector<std::int64_t> placesBelow(double count, const std::string& name, KRDataStorage& inside)
{
    std::vector<std::int64_t> places;
    const auto isThere = [&](std::int64_t k) { return inside.contains(names::parameterInfo(name, k)); };
    for (std::int64_t k = 0; static_cast<double>(k) < count && isThere(k); ++k)
        places.push_back(k);
    const auto sequential = static_cast<std::int64_t>(places.size());
    if (!(static_cast<double>(sequential) < count))
        return places;
    const std::string prefix = names::parameterCount(name) + "_";
    for (const std::string& entry : inside.variablesWithPrefix(prefix)) {
        std::int64_t k = 0;
        const auto end = std::from_chars(entry.data() + prefix.size(), entry.data() + entry.size(), k);
        if (end.ec == std::errc() && k > sequential && static_cast<double>(k) < count
            && entry == names::parameterInfo(name, k))
            places.push_back(k);
    }
    std::ranges::sort(places);
    return places;
}

} // namespace

std::vector<ExtraParameter> extraParametersOf(const std::string& name, KRDataStorage& inside)
{
    std::vector<ExtraParameter> parameters;
    const auto count = inside.readNumber(names::parameterCount(name));
    for (const std::int64_t k : placesBelow(count ? count->doubleValue() : 0, name, inside)) {
        const auto info = variables::wordUnder(inside, names::parameterInfo(name, k));
        const std::size_t colon = info ? info->find(':') : std::string::npos;
        if (colon != std::string::npos && colon > 0 && colon + 1 < info->size())
            parameters.push_back(
                {info->substr(0, colon), info->substr(colon + 1), names::parameter(name, k)});
    }
    return parameters;
}
