#include "fuzz_text.h"
#include "text/files/IndexedTextFile.h"
#include "text/files/KRBigTextFileStream.h"

#include <algorithm>
#include <tuple>

// Any bytes as a text file, plain or in UTF-16, and as a compressed one.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzz::QuietMessages quiet;
    std::int64_t lines = 0;
    for (const char* name : {"text.gz", "text"}) {
        const auto stream = KRBigTextFileStream::createWithURL(fuzz::fileWith(name, data, size));
        stream->searchForNextMatch("a", false);
        for (lines = stream->currentLineNumber(); !stream->isAtEndOfFile() && lines < 10000; ++lines)
            if (!stream->groupOfLines(lines, 1))
                std::abort();
    }
    // Where nothing is converted, the index counts the same lines.
    IndexedTextFile index(fuzz::fileWith("text", data, size));
    std::ignore = index.readNew(16, [] { return true; });
    const bool isMarked =
        size >= 2 && data[0] + data[1] == 0xff + 0xfe && (data[0] == 0xff || data[0] == 0xfe);
    if (!isMarked && lines < 10000 && index.howManyLines() != lines)
        std::abort();
    for (std::int64_t i = 0; i < std::min<std::int64_t>(index.howManyLines(), 100); ++i)
        index.line(i);
    return 0;
}
