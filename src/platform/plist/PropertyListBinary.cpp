// The binary form: objects that begin with a marker byte (kind in the high half, size in the low one), a
// table of their offsets, and a trailer that says where the table is. Containers hold numbers of objects, so
// that several can share one.

#include "platform/plist/PropertyListBinary.h"

#include "platform/Utf8.h"
#include "platform/plist/PropertyListLimits.h"

#include <algorithm>
#include <bit>
#include <fmt/format.h>
#include <limits>
#include <vector>

namespace platform::propertylist {

namespace {

constexpr std::uint64_t kHeaderSize = 8;
constexpr std::uint64_t kTrailerSize = 32;
// Seconds from 1970 to 2001, where the dates of this form begin.
constexpr double kEpoch = 978307200;
// Texts are copied into each container that refers to them, and several objects may lie at one place. What a
// program writes stays far below the sum of these two.
constexpr std::uint64_t kFreeCopiedBytes = std::uint64_t{16} << 20;
constexpr std::uint64_t kMostCopiesOfFile = 8;
// Programs share texts and numbers, not whole branches: a real list has few more values than bytes.
constexpr std::uint64_t kMostSharedValues = 1'000'000;

class BinaryReader {
public:
    explicit BinaryReader(std::string_view bytes) : bytes_(bytes) { }

    Result<Value> read()
    {
        if (!readTrailer())
            return Error{"it ends in the middle, or its table of contents is damaged"};
        objects_.resize(static_cast<std::size_t>(objectCount_));
        if (!readObject(topObject_, 0))
            return Error{complaint_.empty() ? "it holds an object that is damaged" : complaint_};
        return std::move(objects_[static_cast<std::size_t>(topObject_)].value);
    }

private:
    enum class Progress : std::uint8_t { Untouched, BeingRead, Done };
    struct Object {
        Value value;
        std::uint64_t count = 1; // Values in it and below, shared ones as often as they appear.
        int height = 0; // Containers above its lowest leaf.
        Progress progress = Progress::Untouched;
    };
    struct Place {
        unsigned kind = 0;
        unsigned info = 0;
        std::uint64_t content = 0; // Offset of the first byte behind marker and size.
        std::uint64_t size = 0; // As the file says, unchecked; its unit depends on the kind.
    };

    bool readTrailer()
    {
        if (bytes_.size() < kHeaderSize + kTrailerSize)
            return false;
        const std::uint64_t trailer = bytes_.size() - kTrailerSize;
        offsetSize_ = number(trailer + 6, 1);
        referenceSize_ = number(trailer + 7, 1);
        objectCount_ = number(trailer + 8, 8);
        topObject_ = number(trailer + 16, 8);
        tableOffset_ = number(trailer + 24, 8);
        const auto isWidth = [](std::uint64_t width) { return width >= 1 && width <= 8; };
        return isWidth(offsetSize_) && isWidth(referenceSize_) && tableOffset_ >= kHeaderSize
            && tableOffset_ <= trailer && topObject_ < objectCount_
            && objectCount_ <= (trailer - tableOffset_) / offsetSize_
            // Each object takes at least a byte, and its number must fit an offset.
            && objectCount_ <= tableOffset_ - kHeaderSize
            && (offsetSize_ >= 8 || objectCount_ <= std::uint64_t{1} << (8 * offsetSize_));
    }

    // A big-endian number whose bytes are known to be there.
    std::uint64_t number(std::uint64_t offset, std::uint64_t width) const
    {
        std::uint64_t result = 0;
        for (std::uint64_t index = 0; index < width; ++index)
            result =
                result << 8 | static_cast<unsigned char>(bytes_[static_cast<std::size_t>(offset + index)]);
        return result;
    }

    // Objects lie between the header and the table.
    bool isThere(std::uint64_t offset, std::uint64_t length) const
    {
        return offset <= tableOffset_ && length <= tableOffset_ - offset;
    }

    std::optional<Place> locate(std::uint64_t reference) const
    {
        const std::uint64_t offset = number(tableOffset_ + reference * offsetSize_, offsetSize_);
        if (offset < kHeaderSize || !isThere(offset, 1))
            return std::nullopt;
        const auto marker = static_cast<unsigned>(number(offset, 1));
        Place place{marker >> 4, marker & 0xF, offset + 1, marker & 0xF};
        const bool hasSize = place.kind >= 4 && place.kind != 8;
        if (!hasSize || place.info != 0xF)
            return place;
        // A size from 15 on follows as an integer object.
        if (!isThere(place.content, 1))
            return std::nullopt;
        const auto sizeMarker = static_cast<unsigned>(number(place.content, 1));
        const std::uint64_t width = std::uint64_t{1} << (sizeMarker & 0xF);
        if (sizeMarker >> 4 != 1 || width > 8 || !isThere(place.content + 1, width))
            return std::nullopt;
        place.size = number(place.content + 1, width);
        place.content += 1 + width;
        return place;
    }

    bool complain(std::string_view what)
    {
        if (complaint_.empty())
            complaint_ = what;
        return false;
    }

    bool readObject(std::uint64_t reference, int depth)
    {
        if (reference >= objectCount_)
            return false;
        Object& object = objects_[static_cast<std::size_t>(reference)];
        if (object.progress == Progress::Done)
            return true;
        if (object.progress == Progress::BeingRead)
            return complain("it holds an object that contains itself");
        if (depth > kDeepestNesting)
            return complainOfDepth();
        object.progress = Progress::BeingRead;
        const auto place = locate(reference);
        if (!place || !readContent(*place, object, depth))
            return false;
        object.progress = Progress::Done;
        return true;
    }

    bool complainOfDepth()
    {
        return complain(fmt::format("it is nested more than {} levels deep", kDeepestNesting));
    }

    bool complainOfValues() { return complain("it stands for more values than anybody can mean"); }

    bool readContent(const Place& place, Object& object, int depth)
    {
        switch (place.kind) {
        case 0x0:
            return readConstant(place, object.value);
        case 0x1:
            return readInteger(place, object.value);
        case 0x2:
            return readReal(place, object.value);
        case 0x3:
            return readDate(place, object.value);
        case 0x4:
            return readData(place, object.value);
        case 0x5: // ASCII.
        case 0x7: // UTF-8.
            return readText(place, object.value);
        case 0x6:
            return readUtf16(place, object.value);
        case 0x8:
            return readIdentifier(place, object.value);
        case 0xA:
        case 0xB: // An ordered set.
        case 0xC: // A set.
            return readArray(place, object, depth);
        case 0xD:
            return readDictionary(place, object, depth);
        default:
            return complain(fmt::format("it holds an object of the unknown kind {}", place.kind));
        }
    }

    static bool readConstant(const Place& place, Value& value)
    {
        constexpr unsigned kNull = 0x0;
        constexpr unsigned kFalse = 0x8;
        constexpr unsigned kTrue = 0x9;
        if (place.info == kFalse || place.info == kTrue)
            value = Value(place.info == kTrue);
        return place.info == kNull || place.info == kFalse || place.info == kTrue;
    }

    bool readInteger(const Place& place, Value& value) const
    {
        const std::uint64_t width = std::uint64_t{1} << place.info;
        if (width > 16 || !isThere(place.content, width))
            return false;
        // Up to four bytes have no sign, eight have one, and sixteen hold what has no sign and needs all
        // eight.
        const std::uint64_t low = number(place.content + (width == 16 ? 8 : 0), width == 16 ? 8 : width);
        const std::uint64_t high = width == 16 ? number(place.content, 8) : 0;
        const bool isNegative = width >= 8 && low >> 63 != 0 && (width == 8 || high == UINT64_MAX);
        if (high != 0 && !isNegative)
            return false;
        value = !isNegative && low >> 63 != 0 ? Value(static_cast<double>(low))
                                              : Value(static_cast<std::int64_t>(low));
        return true;
    }

    std::optional<double> realAt(const Place& place) const
    {
        const std::uint64_t width = std::uint64_t{1} << place.info;
        if ((width != 4 && width != 8) || !isThere(place.content, width))
            return std::nullopt;
        const std::uint64_t bits = number(place.content, width);
        if (width == 4)
            return static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
        return std::bit_cast<double>(bits);
    }

    bool readReal(const Place& place, Value& value) const
    {
        const auto real = realAt(place);
        if (real)
            value = Value(*real);
        return real.has_value();
    }

    bool readDate(const Place& place, Value& value) const
    {
        const auto real = realAt(place);
        if (real)
            value = Value(Value::Date{*real + kEpoch});
        return real.has_value();
    }

    std::optional<std::string_view> content(const Place& place, std::uint64_t unit) const
    {
        // Divided: the product could overflow.
        if (place.size > (tableOffset_ - place.content) / unit)
            return std::nullopt;
        return bytes_.substr(
            static_cast<std::size_t>(place.content), static_cast<std::size_t>(place.size * unit));
    }

    // Counts bytes that are about to be copied.
    bool mayCopy(std::uint64_t count)
    {
        copiedBytes_ += count; // No count is larger than the file, and after the first refusal none comes.
        return copiedBytes_ <= kFreeCopiedBytes + bytes_.size() * kMostCopiesOfFile
            || complain("its texts or data are repeated out of all proportion");
    }

    bool readData(const Place& place, Value& value)
    {
        const auto bytes = content(place, 1);
        if (!bytes || !mayCopy(bytes->size()))
            return false;
        value = Value(Value::Data(bytes->begin(), bytes->end()));
        return true;
    }

    bool readText(const Place& place, Value& value)
    {
        const auto text = content(place, 1);
        if (text && utf8::firstInvalidByte(*text))
            return complain("it holds a text that isn't UTF-8");
        if (!text || !mayCopy(text->size()))
            return false;
        value = Value(*text);
        return true;
    }

    bool readUtf16(const Place& place, Value& value)
    {
        const auto units = content(place, 2);
        auto text = units && mayCopy(units->size()) ? utf8::fromUtf16(*units, true) : std::nullopt;
        if (text)
            value = Value(std::move(*text));
        return text.has_value();
    }

    // A number that names an object of an archive; the XML form writes it as this dictionary.
    bool readIdentifier(const Place& place, Value& value) const
    {
        const std::uint64_t width = place.info + 1;
        if (width > 8 || !isThere(place.content, width))
            return false;
        const std::uint64_t identifier = number(place.content, width);
        if (identifier > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
            return false;
        value = Value(Value::Dictionary{{"CF$UID", Value(static_cast<std::int64_t>(identifier))}});
        return true;
    }

    // Reads the member and adds it to the counts of its holder. Null on failure.
    const Value* member(Object& holder, std::uint64_t referenceOffset, int depth)
    {
        const std::uint64_t reference = number(referenceOffset, referenceSize_);
        if (!readObject(reference, depth + 1))
            return nullptr;
        const Object& read = objects_[static_cast<std::size_t>(reference)];
        holder.count += read.count; // Both stay below the limit, so the sum can't wrap.
        holder.height = std::max(holder.height, read.height + 1);
        if (holder.height > kDeepestNesting)
            complainOfDepth();
        else if (holder.count > std::min(kMostValues, kMostSharedValues + bytes_.size()))
            complainOfValues();
        else if (const std::string* text = read.value.text())
            mayCopy(text->size());
        return complaint_.empty() ? &read.value : nullptr;
    }

    bool readArray(const Place& place, Object& object, int depth)
    {
        if (!content(place, referenceSize_))
            return false;
        if (place.size > kMostValues)
            return complainOfValues();
        Value::Array elements;
        elements.reserve(static_cast<std::size_t>(place.size)); // content() has checked the size.
        for (std::uint64_t index = 0; index < place.size; ++index) {
            const Value* element = member(object, place.content + index * referenceSize_, depth);
            if (!element)
                return false;
            elements.push_back(*element);
        }
        object.value = Value(std::move(elements));
        object.height = std::max(object.height, 1);
        return true;
    }

    bool readDictionary(const Place& place, Object& object, int depth)
    {
        // The references of all keys, then those of all values.
        if (!content(place, referenceSize_ * 2))
            return false;
        Value::Dictionary members;
        for (std::uint64_t index = 0; index < place.size; ++index) {
            const std::uint64_t keyOffset = place.content + index * referenceSize_;
            const Value* key = member(object, keyOffset, depth);
            if (key && !key->text())
                return complain("it holds a dictionary with a key that is no text");
            const Value* value =
                key ? member(object, keyOffset + place.size * referenceSize_, depth) : nullptr;
            if (!value)
                return false;
            members.insert_or_assign(*key->text(), *value);
        }
        object.value = Value(std::move(members));
        object.height = std::max(object.height, 1);
        return true;
    }

    std::string_view bytes_;
    std::uint64_t offsetSize_ = 0;
    std::uint64_t referenceSize_ = 0;
    std::uint64_t objectCount_ = 0;
    std::uint64_t topObject_ = 0;
    std::uint64_t tableOffset_ = 0;
    std::uint64_t copiedBytes_ = 0;
    std::vector<Object> objects_; // Not resized while reading: references into it stay valid.
    std::string complaint_;
};

} // namespace

Result<Value> parseBinary(std::string_view bytes)
{
    return BinaryReader(bytes).read();
}

} // namespace platform::propertylist
