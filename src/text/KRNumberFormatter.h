#pragma once

#include <cstdint>
#include <string>

// Numbers in the form in which people read them. Any thread.
class KRNumberFormatter {
public:
    // A size in bytes in decimal units: "Empty", "1 byte", "999B", "12K", "1.5MB", "20GB". Large numbers are
    // grouped as the user's locale groups them.
    static std::string sizeString(std::uint64_t bytes);
};
