#pragma once

#include "arrays/sv/SVArrayFamily.h"

#include <cstddef>

// An element type of a file format.
struct SVFileType {
    int code;
    int elementSize; // Bytes.
    const char* label; // In a listing.
};

// The row of a code; null for a code that the format doesn't have.
template <std::size_t count>
constexpr const SVFileType* SVTypeWithCode(const SVFileType (&types)[count], int code)
{
    for (const SVFileType& type : types)
        if (type.code == code)
            return &type;
    return nullptr;
}
