// Property lists in all their forms: what can be read can be written and read again, and from then on it
// stays as it is. (The first writing replaces characters that XML can't carry.)

#include "platform/plist/PropertyList.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

using platform::Value;

namespace {

Value writeAndRead(const Value& value)
{
    const std::string written = platform::propertylist::toXml(value);
    const auto again = platform::propertylist::parse(written);
    if (!again) {
        std::fprintf(
            stderr, "what was written can't be read: %s\n%s\n", again.error().text.c_str(), written.c_str());
        std::abort();
    }
    return *again;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    for (const auto parse : {&platform::propertylist::parse, &platform::propertylist::parseOldStyle}) {
        const auto result = parse(text);
        if (!result)
            continue;
        const Value once = writeAndRead(*result);
        // As texts, for a number that is none equals nothing.
        if (platform::propertylist::toXml(writeAndRead(once)) != platform::propertylist::toXml(once))
            std::abort();
    }
    return 0;
}
