#include "variables/structures/TypeCodes.h"

#include "datafile/SVVariableTypeCodes.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace variables {

std::string typeForCode(double code)
{
    const auto* row = std::find_if(std::begin(kSVVariableTypeCodes), std::end(kSVVariableTypeCodes),
        [whole = std::trunc(code)](const auto& entry) { return entry.code == whole; });
    return row == std::end(kSVVariableTypeCodes) ? "Unknown" : row->type;
}

} // namespace variables
