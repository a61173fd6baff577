#include "variables/scan/ExtraParameters.h"

#include "variables/structures/EntryNames.h"
#include "variables/structures/StoredWords.h"

namespace names = variables::names;

std::vector<ExtraParameter> extraParametersOf(const std::string& name, KRDataStorage& inside)
{
    std::vector<ExtraParameter> parameters;
    const auto count = inside.readNumber(names::parameterCount(name));
    for (std::int64_t k = 0; count && static_cast<double>(k) < count->doubleValue(); ++k) {
        const auto info = variables::wordUnder(inside, names::parameterInfo(name, k));
        if (!info)
            break;
        const std::size_t colon = info->find(':');
        if (colon != std::string::npos && colon > 0 && colon + 1 < info->size())
            parameters.push_back(
                {info->substr(0, colon), info->substr(colon + 1), names::parameter(name, k)});
    }
    return parameters;
}
