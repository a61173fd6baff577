#include "storage/memory/DataMessage.h"

#include "arrays/legacy/KRArrayReports.h"
#include "platform/files/FileManager.h"
#include "storage/bytes/StoredText.h"
#include "storage/values/ElementConversion.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>

namespace storage {

namespace {

constexpr std::int32_t kTextKind = 1;
// In the order of ElementType. There is no kind 5.
constexpr std::array<std::int32_t, kElementTypeCount> kArrayKinds{2, 3, 4, 6, 7, 8, 9};

constexpr std::size_t kFirstStep = std::size_t{1} << 20; // Bytes that are asked for at once.

bool fits(std::size_t number)
{
    return number <= static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
}

// Grows as the bytes come.
class GrowingBlock {
public:
    bool receive(ByteChannel& channel, std::size_t count)
    {
        for (std::size_t filled = 0, step = kFirstStep; filled < count; step = filled) {
            const std::size_t wanted = std::min(step, count - filled);
            void* grown = std::realloc(bytes_.get(), filled + wanted);
            if (!grown)
                return false;
            std::ignore = bytes_.release();
            bytes_.reset(static_cast<char*>(grown));
            if (channel.receive(bytes_.get() + filled, wanted) != wanted)
                return false;
            filled += wanted;
        }
        return true;
    }
    char* get() { return bytes_.get(); }
    char* release() { return bytes_.release(); }

private:
    struct Free {
        void operator()(char* bytes) const { std::free(bytes); }
    };
    std::unique_ptr<char, Free> bytes_;
};

class Receiver {
public:
    explicit Receiver(ByteChannel& channel) : channel_(channel) { }

    bool run(const std::function<void(const std::string&, MemoryValue)>& take)
    {
        std::uint32_t count = 0;
        if (channel_.receive(&count, sizeof count) != sizeof count)
            return false;
        isSwapped_ = count > kMostVariables;
        if (isSwapped_)
            count = __builtin_bswap32(count);
        for (; count > 0; --count) {
            const auto name = text(kLongestName);
            auto received = name ? value() : std::nullopt;
            if (!received)
                return false;
            take(*name, std::move(*received));
        }
        return true;
    }

private:
    // Nothing for a negative one.
    std::optional<std::int32_t> integer()
    {
        std::uint32_t bits = 0;
        if (channel_.receive(&bits, sizeof bits) != sizeof bits)
            return std::nullopt;
        const auto number = static_cast<std::int32_t>(isSwapped_ ? __builtin_bswap32(bits) : bits);
        return number < 0 ? std::nullopt : std::optional(number);
    }

    std::optional<std::string> text(std::int32_t longest)
    {
        const auto length = integer();
        GrowingBlock block;
        if (!length || *length > longest || !block.receive(channel_, static_cast<std::size_t>(*length)))
            return std::nullopt;
        std::string bytes(block.get() ? block.get() : "", static_cast<std::size_t>(*length));
        return platform::files::isValidUtf8(bytes) ? bytes : decodedText(bytes);
    }

    std::optional<MemoryValue> value()
    {
        const auto kind = integer();
        if (kind == kTextKind) {
            auto read = text(std::numeric_limits<std::int32_t>::max());
            return read ? std::optional<MemoryValue>(std::move(*read)) : std::nullopt;
        }
        const auto found = std::find(kArrayKinds.begin(), kArrayKinds.end(), kind);
        if (!kind || found == kArrayKinds.end())
            return std::nullopt;
        auto read = array(static_cast<ElementType>(found - kArrayKinds.begin()));
        return read ? std::optional<MemoryValue>(std::move(read)) : std::nullopt;
    }

    KRAnyArray array(ElementType type)
    {
        std::array<long, 3> sizes{};
        long bytes = static_cast<long>(sizeOfElement(type));
        for (long& size : sizes) {
            const auto read = integer();
            if (!read)
                return {};
            size = *read;
        }
        if (std::find(sizes.begin(), sizes.end(), 0) != sizes.end())
            return withElementType(type, []<class T>(std::type_identity<T>) {
                return KRAnyArray(KRArrayContainer<T>::createArrayWithConstObject(KRMutableArray<T>()));
            });
        for (const long size : sizes)
            if (__builtin_mul_overflow(bytes, size, &bytes))
                return {};
        const KRArrayMember& member = withElementType(
            type, []<class T>(std::type_identity<T>) -> const KRArrayMember& { return KRArrayMemberOf<T>; });
        if (member.sizeLimit > 0 && bytes > member.sizeLimit) {
            KRPutErrorMessage(member.sizeMessage);
            return {};
        }
        GrowingBlock block;
        if (!block.receive(channel_, static_cast<std::size_t>(bytes)))
            return {};
        if (isSwapped_)
            swapElements(type, block.get(), static_cast<std::size_t>(bytes) / sizeOfElement(type));
        return withElementType(type, [&]<class T>(std::type_identity<T>) {
            // A block from malloc is aligned for every element.
            T* elements = reinterpret_cast<T*>(block.release());
            return KRAnyArray(KRArrayContainer<T>::createArrayWithConstObject(
                KRMutableArray<T>::TakeOver(elements, sizes[0], sizes[1], sizes[2])));
        });
    }

    ByteChannel& channel_;
    bool isSwapped_ = false;
};

bool sendInteger(ByteChannel& channel, long number)
{
    const auto sent = static_cast<std::int32_t>(number);
    return channel.send(&sent, sizeof sent);
}

bool sendText(ByteChannel& channel, const std::string& text)
{
    return sendInteger(channel, static_cast<long>(text.size())) && channel.send(text.data(), text.size());
}

bool sendValue(ByteChannel& channel, const MemoryValue& value)
{
    if (const auto* text = std::get_if<std::string>(&value))
        return sendInteger(channel, kTextKind) && sendText(channel, *text);
    const auto& array = std::get<KRAnyArray>(value);
    return sendInteger(channel, kArrayKinds[static_cast<std::size_t>(array.type())])
        && sendInteger(channel, array.m()) && sendInteger(channel, array.n())
        && sendInteger(channel, array.o())
        && channel.send(array.elements(), static_cast<std::size_t>(array.memoryUsed()));
}

bool valueFits(const MemoryValue& value)
{
    if (const auto* text = std::get_if<std::string>(&value))
        return fits(text->size());
    const auto& array = std::get<KRAnyArray>(value);
    return std::max({array.m(), array.n(), array.o()}) <= std::numeric_limits<std::int32_t>::max();
}

} // namespace

bool fitsIntoAMessage(const MemoryContent& content)
{
    return content.size() <= kMostVariables
        && std::all_of(content.begin(), content.end(), [](const auto& variable) {
               return variable.first.size() <= static_cast<std::size_t>(kLongestName)
                   && valueFits(variable.second);
           });
}

bool sendVariables(ByteChannel& channel, const MemoryContent& content)
{
    return sendInteger(channel, static_cast<long>(content.size()))
        && std::all_of(content.begin(), content.end(), [&](const auto& variable) {
               return sendText(channel, variable.first) && sendValue(channel, variable.second);
           });
}

bool receiveVariables(
    ByteChannel& channel, const std::function<void(const std::string& name, MemoryValue)>& take)
{
    return Receiver(channel).run(take);
}

} // namespace storage
