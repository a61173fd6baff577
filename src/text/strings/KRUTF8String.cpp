#include "text/strings/KRUTF8String.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/Utf8.h"
#include "text/numbers/DecimalDigits.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <functional>
#include <new>
#include <utility>

namespace {

constexpr std::int64_t kLongDescription = 1000;
constexpr std::int64_t kLargestCapacity = std::int64_t{1} << 36; // Bytes.

std::size_t countOf(std::int64_t length)
{
    return static_cast<std::size_t>(std::max<std::int64_t>(length, 0));
}

bool needsQuotes(std::string_view text)
{
    bool needs = false;
    for (const char byte : text) // Without an early end the loop runs over vectors of bytes.
        needs |= (byte == ',') | (byte == ';') | (byte == '"');
    return needs;
}

} // namespace

KRUTF8String::Pointer KRUTF8String::createEmptyUTF8String()
{
    return std::make_shared<KRUTF8String>();
}

KRUTF8String::Pointer KRUTF8String::createWithCapacity(std::int64_t capacity)
{
    auto made = std::make_shared<KRUTF8String>();
    made->prepareForCapacity(capacity);
    return made;
}

KRUTF8String::Pointer KRUTF8String::createWithString(std::string_view text)
{
    auto made = std::make_shared<KRUTF8String>();
    made->appendString(text);
    made->setMutable(false);
    return made;
}

KRUTF8String::Pointer KRUTF8String::createWithBytes(const char* bytes, std::int64_t length)
{
    if (bytes)
        return createWithString({bytes, countOf(length)});
    KRMessageCenter::addMessage("Nil");
    return nullptr;
}

KRUTF8String::Pointer KRUTF8String::copy() const
{
    return createWithString(view());
}

void KRUTF8String::prepareForCapacity(std::int64_t capacity)
{
    if (!isMutable_) {
        KRMessageCenter::seriousErrorMessage("Not mutable");
        return;
    }
    if (lengthOfPointer_ > capacity)
        return;
    try {
        if (capacity <= kLargestCapacity) {
            moveTo(countOf(capacity) + 1);
            return;
        }
    } catch (const std::bad_alloc&) { }
    KRMessageCenter::addMessage("Invalid capacity");
}

char* KRUTF8String::underlyingUTF8String()
{
    if (isMutable_)
        return pointer_.get();
    KRMessageCenter::seriousErrorMessage("Not mutable");
    return nullptr;
}

void KRUTF8String::resetLength(std::int64_t length)
{
    markChange();
    if (length < 0 || length >= std::max<std::int64_t>(lengthOfPointer_, 1))
        KRMessageCenter::addMessage("Invalid length");
    else
        setLength(countOf(length));
}

void KRUTF8String::replaceContentWith(const char* bytes, std::int64_t length)
{
    if (bytes)
        replaceWithString({bytes, countOf(length)});
    else
        KRMessageCenter::addMessage("Nil");
}

void KRUTF8String::replaceWithString(std::string_view text)
{
    if (text.empty()) {
        clear();
        return;
    }
    markChange();
    if (static_cast<std::size_t>(lengthOfPointer_) > text.size()) {
        std::memmove(pointer_.get(), text.data(), text.size()); // The text may be part of this one.
    } else {
        auto bytes = std::make_unique_for_overwrite<char[]>(text.size() + 1);
        std::memcpy(bytes.get(), text.data(), text.size());
        pointer_ = std::move(bytes);
        lengthOfPointer_ = static_cast<std::int64_t>(text.size() + 1);
    }
    setLength(text.size());
}

void KRUTF8String::replaceWithUTF8(const char* text)
{
    replaceContentWith(text, text ? static_cast<std::int64_t>(std::strlen(text)) : 0);
}

void KRUTF8String::clear()
{
    markChange();
    setLength(0);
}

std::string KRUTF8String::asString() const
{
    return platform::utf8::firstInvalidByte(view()) ? "<invalid>" : std::string(view());
}

const char* KRUTF8String::UTF8StringAndLength(std::int64_t& length) const
{
    length = lengthOfString_;
    return UTF8String();
}

std::string KRUTF8String::description() const
{
    if (lengthOfString_ == 0)
        return "(empty description)";
    if (lengthOfString_ > kLongDescription)
        return fmt::format("string with {} characters", lengthOfString_);
    return asString();
}

KRUTF8String::Pointer KRUTF8String::utf8StringByAppendingString(std::string_view text) const
{
    auto made = createWithCapacity(lengthOfString_ + static_cast<std::int64_t>(text.size()));
    made->appendString(view());
    made->appendString(text);
    made->setMutable(false);
    return made;
}

KRUTF8String::Pointer KRUTF8String::utf8SubstringToIndex(std::int64_t index) const
{
    return utf8SubstringWithRange(0, index);
}

KRUTF8String::Pointer KRUTF8String::utf8SubstringFromIndex(std::int64_t index) const
{
    return utf8SubstringWithRange(index, lengthOfString_);
}

KRUTF8String::Pointer KRUTF8String::utf8SubstringWithRange(std::int64_t location, std::int64_t length) const
{
    const std::int64_t start = std::clamp<std::int64_t>(location, 0, lengthOfString_);
    return createWithString(view().substr(countOf(start), countOf(length)));
}

void KRUTF8String::appendCharacter(char character)
{
    if ((character & 0x80) != 0) {
        KRMessageCenter::addMessage("Character needs to be 7 bits");
        return;
    }
    appendString({&character, 1});
}

void KRUTF8String::appendUTF8(const char* text)
{
    if (text)
        appendString(text);
}

void KRUTF8String::appendUTF8(const char* bytes, std::int64_t length)
{
    if (bytes)
        appendString({bytes, countOf(length)});
}

void KRUTF8String::appendString(std::string_view text)
{
    markChange();
    if (text.empty())
        return;
    // Relative to the block, since growing moves what is the string's own.
    const bool isOwn = pointer_ && std::less_equal<>()(pointer_.get(), text.data())
        && std::less<>()(text.data(), pointer_.get() + lengthOfPointer_);
    const std::ptrdiff_t offset = isOwn ? text.data() - pointer_.get() : 0;
    char* end = roomForMore(text.size());
    std::memmove(end, isOwn ? pointer_.get() + offset : text.data(), text.size());
    setLength(countOf(lengthOfString_) + text.size());
}

void KRUTF8String::appendUTF8ForCSV(const char* bytes, std::int64_t length)
{
    if (!bytes)
        return;
    std::string_view text(bytes, countOf(length));
    std::string own; // Growing moves the string's own bytes.
    const std::less_equal<const char*> isBefore;
    if (pointer_ && isBefore(pointer_.get(), bytes) && isBefore(bytes, pointer_.get() + lengthOfPointer_)) {
        own = text;
        text = own;
    }
    if (!needsQuotes(text)) {
        roomForMore(2 * text.size());
        appendString(text);
        return;
    }
    markChange();
    char* const begin = roomForMore(2 * text.size() + 2);
    char* end = begin;
    *end++ = '"';
    for (const char byte : text) {
        if (byte == '"')
            *end++ = '"';
        *end++ = byte;
    }
    *end++ = '"';
    setLength(countOf(lengthOfString_ + (end - begin)));
}

void KRUTF8String::appendInteger(std::int64_t number)
{
    std::array<char, 24> text{};
    const char* end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    appendString({text.data(), static_cast<std::size_t>(end - text.data())});
}

void KRUTF8String::appendDouble(double number)
{
    decimal::Text text;
    decimal::addNumber(text, number);
    appendString(text.view());
}

void KRUTF8String::removeCharacterFromEnd(char character)
{
    markChange();
    if (view().ends_with(character))
        setLength(countOf(lengthOfString_ - 1));
}

void KRUTF8String::removeQuotes()
{
    markChange();
    if (lengthOfString_ >= 2 && view().front() == '"' && view().back() == '"')
        replaceWithString(view().substr(1, countOf(lengthOfString_ - 2)));
}

void KRUTF8String::replaceDoubleQuoteWithSingleQuote()
{
    markChange();
    const std::string_view text = view();
    std::size_t kept = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text.substr(i, 2) == "\"\"")
            ++i;
        pointer_[kept++] = text[i];
    }
    if (kept != text.size())
        setLength(kept);
}

void KRUTF8String::replaceCharacter(char character, std::string_view withString)
{
    std::string replaced;
    for (const char byte : view())
        if (byte == character)
            replaced += withString;
        else
            replaced += byte;
    replaceWithString(replaced);
}

std::int64_t KRUTF8String::locationOfCharacter(char character) const
{
    const std::size_t found = view().find(character);
    return found == std::string_view::npos ? -1 : static_cast<std::int64_t>(found);
}

std::int64_t KRUTF8String::locationOfUTF8String(const char* text, std::int64_t startAt) const
{
    const std::size_t found = text ? view().find(text, countOf(startAt)) : std::string_view::npos;
    return found == std::string_view::npos ? -1 : static_cast<std::int64_t>(found);
}

void KRUTF8String::markChange() const
{
    if (!isMutable_)
        KRMessageCenter::addMessage(nullptr);
}

// The place behind the text, with room for so many bytes and the zero byte. A block that is too small grows
// to more than double, so that a row of appends costs a linear time.
char* KRUTF8String::roomForMore(std::size_t count)
{
    const std::size_t length = countOf(lengthOfString_);
    if (!pointer_ || countOf(lengthOfPointer_) - length < count + 1)
        moveTo(2 * length + count + 1);
    return pointer_.get() + length;
}

void KRUTF8String::moveTo(std::size_t capacity)
{
    auto bytes = std::make_unique_for_overwrite<char[]>(capacity);
    const std::size_t length = countOf(lengthOfString_);
    std::memcpy(bytes.get(), UTF8String(), length);
    bytes[length] = 0;
    pointer_ = std::move(bytes);
    lengthOfPointer_ = static_cast<std::int64_t>(capacity);
}

void KRUTF8String::setLength(std::size_t length)
{
    lengthOfString_ = static_cast<std::int64_t>(length);
    if (pointer_)
        pointer_[length] = 0;
}
