#include "fuzz_text.h"
#include "text/fortran/KRUnformattedFortranFile.h"

#include <array>

// Any bytes as an unformatted sequential file; reading and skipping must find the same count of records.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzz::QuietMessages quiet;
    const std::string path = fuzz::fileWith("records", data, size);
    std::array<int, 2> counts{};
    for (const bool skips : {false, true}) {
        const auto file = KRUnformattedFortranFile::open(path);
        (*file)->setShouldSkipData(skips);
        while ((*file)->readBytes())
            ++counts[skips ? 1 : 0];
    }
    if (counts[0] != counts[1])
        std::abort();
    const auto file = KRUnformattedFortranFile::open(path);
    while ((*file)->readString() && (*file)->readNumber() && (*file)->readDoubleArray()) { }
    return 0;
}
