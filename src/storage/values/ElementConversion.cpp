#include "storage/values/ElementConversion.h"

#include "arrays/kernels/SVByteGroups.h"

#include <cstring>

namespace storage {
namespace {

// A number that doesn't fit is allowed here: the sanitizer must not report it.
template <class From, class To>
__attribute__((no_sanitize("float-cast-overflow"))) void convert(const From* from, std::size_t count, To* to)
{
    for (std::size_t i = 0; i < count; ++i)
        to[i] = static_cast<To>(from[i]);
}

} // namespace

void convertElements(ElementType from, const void* elements, std::size_t count, ElementType to, void* into)
{
    if (from == to) {
        std::memcpy(into, elements, count * sizeOfElement(from));
        return;
    }
    withElementType(from, [&]<class From>(std::type_identity<From>) {
        withElementType(to, [&]<class To>(std::type_identity<To>) {
            convert(static_cast<const From*>(elements), count, static_cast<To*>(into));
        });
    });
}

void swapElements(ElementType type, void* elements, std::size_t count)
{
    const auto bytes = static_cast<long>(count * sizeOfElement(type));
    switch (sizeOfElement(type)) {
    case 2:
        return svinternal::swapGroups<2>(elements, bytes);
    case 4:
        return svinternal::swapGroups<4>(elements, bytes);
    case 8:
        return svinternal::swapGroups<8>(elements, bytes);
    default:
        return;
    }
}

} // namespace storage
