#pragma once

#include "ssh/crypto/Bytes.h"

#include <algorithm>
#include <vector>

// Cuts a fuzzer's input into payloads: two bytes of length, then the payload; the last may be short. None is
// empty.
inline std::vector<ssh::ByteView> splitPayloads(ssh::ByteView input)
{
    std::vector<ssh::ByteView> payloads;
    while (input.size() > 2) {
        const std::size_t length = std::size_t{input[0]} << 8 | input[1];
        const std::size_t count = std::min(std::max<std::size_t>(length, 1), input.size() - 2);
        payloads.push_back(input.subspan(2, count));
        input = input.subspan(2 + count);
    }
    return payloads;
}
