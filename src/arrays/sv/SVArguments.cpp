#include "arrays/sv/SVArguments.h"

#include "arrays/sv/SVErrorMessage.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

std::vector<std::string> SVInputArgumentList;
std::string SVApplicationName;

void SVSetArguments(int argc, const char** argv)
{
    SVInputArgumentList.clear();
    SVApplicationName = argc > 0 && argv[0] != nullptr ? argv[0] : "";
    for (int number = 1; number < argc; ++number)
        SVInputArgumentList.emplace_back(argv[number]);
}

bool SVArgumentIncludesFlag(std::string name)
{
    const auto& list = SVInputArgumentList;
    return std::find(list.begin(), list.end(), "-" + name) != list.end();
}

std::string SVArgumentFlagEntry(std::string name)
{
    const auto& list = SVInputArgumentList;
    const auto flag = std::find(list.begin(), list.end(), "-" + name);
    if (flag == list.end() || flag + 1 == list.end())
        return "";
    const std::string& entry = *(flag + 1);
    return !entry.empty() && entry.front() != '-' ? entry : "";
}

int SVArgumentIntegerEntry(std::string name)
{
    // Like atoi, but defined for a number that doesn't fit.
    return static_cast<int>(std::strtol(SVArgumentFlagEntry(name).c_str(), nullptr, 10));
}

int SVHowManyArguments()
{
    return static_cast<int>(SVInputArgumentList.size());
}

std::string SVGetArgumentNumber(int number)
{
    if (number < 0 || number >= SVHowManyArguments()) {
        SVErrorMessage("SVGetArgumentNumber(number)", "number out of bounds.");
        return "";
    }
    return SVInputArgumentList[static_cast<std::size_t>(number)];
}
