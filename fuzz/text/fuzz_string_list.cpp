#include "text/strings/KRUTF8StringList.h"

#include <algorithm>
#include <cstdlib>

// A block of strings as it lies in a file: reading, changing and writing it gives the same strings.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto bytes = KRUTF8StringList::Bytes::createArrayOfLength(static_cast<long>(size));
    std::copy_n(data, size, bytes->mutablePointer());
    const auto list = KRUTF8StringList::createWithBytes(bytes);
    std::vector<std::string> strings;
    for (std::int64_t i = 0; i < list->count(); ++i)
        strings.push_back(std::string(list->stringAtIndex(i)->view()));
    const auto again = KRUTF8StringList::createWithBytes(KRUTF8StringList::utf8BytesFromStringList(strings));
    if (again->count() != list->count() || again->positionInPointer() != list->positionInPointer())
        std::abort();
    list->appendList(*again);
    list->trimEmptyRowsFromEnd();
    list->compactMemory();
    for (std::int64_t i = 0; i < list->count(); ++i)
        if (list->viewAtIndex(i) != strings[static_cast<std::size_t>(i) % strings.size()])
            std::abort();
    return 0;
}
