#include "toolkit/Controls.h"

#include <charconv>

namespace toolkit {

int TextField::integerValue() const
{
    const char* first = stringValue.data();
    const char* last = first + stringValue.size();
    while (first != last && (*first == ' ' || *first == '\t'))
        ++first;
    if (last - first > 1 && first[0] == '+' && first[1] != '-')
        ++first;
    int value = 0;
    const auto [end, error] = std::from_chars(first, last, value);
    if (error == std::errc::result_out_of_range)
        return *first == '-' ? -2147483647 : 2147483647;
    return value;
}

} // namespace toolkit
