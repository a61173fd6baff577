#include "storage/KRDataFileEntry.h"

#include "diagnostics/KRMessageCenter.h"

#include <fmt/format.h>

#include <limits>

namespace {

constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();

std::uint64_t product(std::uint64_t a, std::uint64_t b)
{
    return a != 0 && b > kMost / a ? kMost : a * b;
}

} // namespace

std::optional<ElementType> KRDataFileEntry::element() const
{
    if (isAString_ && (!row() || !row()->element))
        return ElementType::UChar;
    return row() ? row()->element : std::nullopt;
}

std::uint64_t KRDataFileEntry::elementCount() const
{
    if (shape_.m == 0 || shape_.n == 0 || shape_.o == 0)
        return 0;
    return product(product(shape_.m, shape_.n), shape_.o);
}

std::uint64_t KRDataFileEntry::requiredSize() const
{
    const auto type = element();
    if (!type)
        KRMessageCenter::addMessage("DEBUG: Unknown variable type inside a datafile.");
    return product(elementCount(), type ? sizeOfElement(*type) : 8);
}

void KRDataFileEntry::setNumberValue(const StorageNumber& number)
{
    if (isAString_)
        KRMessageCenter::addMessage("Calling setNumberValue for a string entry.");
    else
        cachedValue_ = number;
}

void KRDataFileEntry::setStringValue(std::string text)
{
    if (isAString_)
        cachedValue_ = std::make_shared<const std::string>(std::move(text));
    else
        KRMessageCenter::addMessage("Calling setStringValue for a number entry.");
}

const StorageNumber* KRDataFileEntry::numberValue() const
{
    if (isAString_)
        KRMessageCenter::addMessage("Calling numberValue for a string entry.");
    return std::get_if<StorageNumber>(&cachedValue_);
}

const std::string* KRDataFileEntry::stringValue() const
{
    if (!isAString_)
        KRMessageCenter::addMessage("Calling stringValue for a number entry.");
    const auto* text = std::get_if<std::shared_ptr<const std::string>>(&cachedValue_);
    return text ? text->get() : nullptr;
}

platform::Value KRDataFileEntry::cachedEntry() const
{
    if (isAString_) {
        const std::string* text = stringValue();
        return text ? platform::Value(*text) : platform::Value();
    }
    const StorageNumber* number = numberValue();
    return number ? number->value() : platform::Value();
}

std::string KRDataFileEntry::shapeText() const
{
    const auto part = [](std::uint32_t dimension) { return static_cast<std::int32_t>(dimension); };
    return format_->hasThirdDimension
        ? fmt::format("({}x{}x{})", part(shape_.m), part(shape_.n), part(shape_.o))
        : fmt::format("({}x{})", part(shape_.m), part(shape_.n));
}

std::string KRDataFileEntry::description() const
{
    if (isSparse_)
        return "A sparse matrix";
    if (isAString_)
        return fmt::format("A string with length {}", elementCount());
    if (!row())
        return format_->oddWords;
    if (!row()->arrayWords)
        return fmt::format("A string with size {}.", shapeText());
    if (const StorageNumber* number = numberValue())
        return fmt::format("{} ({})", number->description(), row()->numberWord);
    if (isANumber() && row()->element == ElementType::Int)
        return "A single int";
    return fmt::format("A {} array {}.", row()->arrayWords, shapeText());
}

bool KRDataFileEntry::isSameAs(const KRDataFileEntry& other) const
{
    return offsetInFile_ == other.offsetInFile_ && shape_ == other.shape_ && type_ == other.type_
        && isAString_ == other.isAString_ && isSparse_ == other.isSparse_;
}
