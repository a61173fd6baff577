// Tables and lists of numbers from text, and lines as simulation programs print them. The new form of the
// table stops earlier than the old one, and otherwise agrees with it.

#include "arrays/containers/KRArrayTextInput.h"
#include "arrays/containers/KRNumberText.h"
#include "arrays/containers/KROneLineText.h"
#include "datafile/fuzz_files.h"
#include "platform/loop/MainLoop.h"

#include <cstdlib>
#include <cstring>

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

template <class T>
void requirePrefix(const KRArrayContainer<T>& part, const KRArrayContainer<T>& whole)
{
    if (part.isEmpty())
        return;
    require(part.m() <= whole.m() && part.n() == whole.n());
    for (long j = 0; j < part.n(); ++j)
        require(std::memcmp(part.constPointer() + j * part.m(), whole.constPointer() + j * whole.m(),
                    static_cast<std::size_t>(part.m()) * sizeof(T))
            == 0);
}

template <class T>
void readTable(const std::string& path, long skipLines, long skipLinesAtEnd)
{
    using Input = KRArrayTextInput<T>;
    const auto whole = Input::readInContentFromFile(path, skipLines);
    const auto part = Input::readInContentFromFileNew(path, skipLines, skipLinesAtEnd);
    require(whole && part && Input::readInListFromFile(path, skipLines));
    requirePrefix(*part, *whole);
}

// As the C library, from a text that ends where its block ends.
void readNumber(const std::string& text)
{
    if (text.empty() || KRIsBlank(text[0]))
        return;
    const std::unique_ptr<char[]> block(new char[text.size()]);
    std::memcpy(block.get(), text.data(), text.size());
    const auto number = KRReadNumber<double>(block.get(), block.get() + text.size());
    char* end = nullptr;
    const double expected = std::strtod(text.c_str(), &end);
    require((number ? number.end - block.get() : 0) == end - text.c_str());
    require(!number || std::memcmp(&number.value, &expected, sizeof expected) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    if (size < 2)
        return 0;
    const long skipLines = bytes[0] % 4;
    const long skipLinesAtEnd = bytes[0] / 4 % 4;
    const std::string text(reinterpret_cast<const char*>(bytes) + 1, size - 1);
    const std::string path = fuzz::pathOf("table");
    fuzz::store(path, bytes + 1, size - 1);
    readTable<double>(path, skipLines, skipLinesAtEnd);
    readTable<float>(path, skipLines, skipLinesAtEnd);
    readTable<std::int32_t>(path, skipLines, skipLinesAtEnd);
    readNumber(text.substr(0, text.find('\0')));
    if (std::FILE* const stream = std::fopen(path.c_str(), "r")) {
        while (const auto line = readInOneLineFrom(stream, 1 + bytes[0]))
            require(line->length() <= 1 + bytes[0]);
        std::fclose(stream);
    }
    platform::MainLoop::main().runPending(); // Takes the lines of progress away.
    return 0;
}
