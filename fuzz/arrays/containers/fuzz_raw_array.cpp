// Plain dictionaries and archives of arrays, from another process or a file: as a property list, or made of
// the input's bytes. What is accepted comes back the same once more.

#include "arrays/containers/KRArrayContainer.h"
#include "platform/loop/MainLoop.h"
#include "platform/plist/PropertyList.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

using platform::Value;

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

template <class T>
void convert(const Value& dictionary)
{
    using Container = KRArrayContainer<T>;
    if (const auto array = Container::convertFromRawFormat(dictionary)) {
        require(array->length() == array->m() * array->n() * array->o());
        require(array->isEqualToArray(Container::convertFromRawFormat(array->convertToRawFormat())));
    }
    if (const auto array = Container::initWithCoder(dictionary))
        require(array->isEqualToArray(Container::initWithCoder(array->encodeWithCoder())));
}

void convertAll(const Value& dictionary)
{
    convert<double>(dictionary);
    convert<float>(dictionary);
    convert<std::int32_t>(dictionary);
    convert<std::int16_t>(dictionary);
    convert<std::uint16_t>(dictionary);
    convert<signed char>(dictionary);
    convert<unsigned char>(dictionary);
    convert<KRComplexNumber>(dictionary);
}

// Three dimensions, and the rest as elements.
Value madeOf(const std::uint8_t* bytes, std::size_t size)
{
    std::int64_t dimensions[3] = {};
    std::memcpy(dimensions, bytes, sizeof dimensions);
    const Value::Data data(bytes + sizeof dimensions, bytes + size);
    Value::Dictionary dictionary{{"m", dimensions[0]}, {"n", dimensions[1]}, {"o", dimensions[2]}};
    for (const char* key : {"Data", "Double", "Float", "Int", "Short", "UShort", "Char", "UChar"})
        dictionary[key] = data;
    dictionary["Endian"] = data.size() % 2 == 0 ? "Big" : "Little";
    const char* classes[] = {"Double", "Float", "Int", "Short", "UShort", "Character", "UChar"};
    dictionary["Class"] = std::string("KR") + classes[data.size() % 7] + "ArrayContainer";
    return dictionary;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    if (const auto parsed =
            platform::propertylist::parse(std::string(reinterpret_cast<const char*>(bytes), size)))
        convertAll(*parsed);
    if (size >= 3 * sizeof(std::int64_t))
        convertAll(madeOf(bytes, size));
    static int runs = 0;
    if (++runs % 256 == 0) // The message center counts its messages when the main loop takes them.
        platform::MainLoop::main().runPending();
    return 0;
}
