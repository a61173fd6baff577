#include "text/strings/KRUTF8StringList.h"

#include "diagnostics/KRMessageCenter.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <limits>

namespace {

constexpr std::int64_t kMostBytes = std::numeric_limits<std::int32_t>::max(); // Starts have 32 bits.
constexpr std::int64_t kFirstBytes = 256;
constexpr std::int64_t kFirstStrings = 16;

template <class Container>
std::int64_t lengthOf(const std::shared_ptr<Container>& array)
{
    return array ? array->length() : 0;
}

// Room for `needed` elements, at least doubled, with the first `used` elements of the array. Another owner of
// the old array keeps it as it is.
template <class Container>
std::shared_ptr<Container> withRoom(
    const std::shared_ptr<Container>& array, std::int64_t used, std::int64_t needed, std::int64_t least)
{
    const bool isShared = array && array.use_count() > 1;
    if (lengthOf(array) >= needed && !isShared)
        return array;
    auto larger = Container::createArrayOfLength(
        lengthOf(array) >= needed ? lengthOf(array) : std::max({needed, 2 * lengthOf(array), least}));
    if (larger && larger->length() >= needed && used > 0)
        std::copy_n(array->constPointer(), used, larger->mutablePointer());
    return larger;
}

// Another owner of the array keeps it as it is.
template <class Container>
void cut(std::shared_ptr<Container>& array, std::int64_t used)
{
    if (lengthOf(array) == used)
        return;
    if (array.use_count() > 1)
        array = array->numbersFrom(0, static_cast<long>(used));
    else
        array->cropLengthTo(static_cast<long>(used));
}

std::string_view upToZero(std::string_view text)
{
    return text.substr(0, text.find('\0'));
}

std::string_view textOf(const KRCharacterArrayContainer& bytes)
{
    return {reinterpret_cast<const char*>(bytes.constPointer()), static_cast<std::size_t>(bytes.length())};
}

} // namespace

KRUTF8StringList::Pointer KRUTF8StringList::createWithCapacity(std::int64_t capacity)
{
    auto list = std::make_shared<KRUTF8StringList>();
    list->makeRoom(std::clamp<std::int64_t>(capacity, 0, kMostBytes), 0);
    return list;
}

KRUTF8StringList::Pointer KRUTF8StringList::createWithBytes(const Bytes::ConstPointer& bytes)
{
    auto starts = computeOffsetsFromUTF8Stream(bytes);
    auto list = std::make_shared<KRUTF8StringList>();
    if (!starts || !list->makeRoom(bytes->length() + 1, 0))
        return nullptr;
    const std::string_view text = textOf(*bytes);
    list->length_ = starts->length();
    list->startOfEachLine_ = std::move(starts);
    list->position_ = bytes->length();
    signed char* const block = list->data_->mutablePointer();
    std::copy(text.begin(), text.end(), block);
    if (!text.empty() && text.back() != 0)
        block[list->position_++] = 0;
    return list;
}

KRUTF8StringList::Bytes::Pointer KRUTF8StringList::utf8BytesFromStringList(
    const std::vector<std::string>& strings)
{
    KRUTF8StringList list;
    for (const std::string& string : strings)
        list.append(string);
    if (list.count() != static_cast<std::int64_t>(strings.size()))
        return nullptr;
    list.compactMemory();
    return list.data_ ? list.data_ : Bytes::createArrayOfLength(0);
}

KRUTF8StringList::Starts::Pointer KRUTF8StringList::computeOffsetsFromUTF8Stream(
    const Bytes::ConstPointer& bytes)
{
    if (!bytes || bytes->length() > kMostBytes - 1)
        return nullptr;
    const std::string_view text = textOf(*bytes);
    if (text.empty())
        return Starts::createArrayOfLength(0);
    const std::string_view inner = text.substr(0, text.size() - 1); // The last zero byte starts no string.
    auto starts = Starts::createArrayOfLength(1 + std::count(inner.begin(), inner.end(), '\0'));
    if (!starts)
        return nullptr;
    std::int32_t* next = starts->mutablePointer();
    *next++ = 0;
    for (std::size_t at = inner.find('\0'); at != std::string_view::npos; at = inner.find('\0', at + 1))
        *next++ = static_cast<std::int32_t>(at + 1);
    return starts;
}

std::string KRUTF8StringList::description() const
{
    return fmt::format("string list - {} bytes - {} lines", position_, length_);
}

void KRUTF8StringList::compactMemory()
{
    cut(data_, position_);
    cut(startOfEachLine_, length_);
}

void KRUTF8StringList::setNumberOfRows(std::int64_t rows)
{
    if (rows < length_)
        cutTo(std::max<std::int64_t>(rows, 0));
    else
        appendEmptyRows(rows - length_);
}

void KRUTF8StringList::appendEmptyRows(std::int64_t rows)
{
    if (rows <= 0 || !makeRoom(rows, rows))
        return;
    std::fill_n(data_->mutablePointer() + position_, rows, static_cast<signed char>(0));
    for (std::int64_t i = 0; i < rows; ++i)
        startOfEachLine_->mutablePointer()[length_++] = static_cast<std::int32_t>(position_++);
}

void KRUTF8StringList::append(std::string_view text)
{
    text = upToZero(text);
    const auto size = static_cast<std::int64_t>(text.size());
    if (isOwn(text)) { // The block may move below.
        append(std::string(text));
        return;
    }
    if (!makeRoom(size + 1, 1))
        return;
    signed char* const end = data_->mutablePointer() + position_;
    std::copy(text.begin(), text.end(), end);
    end[size] = 0;
    startOfEachLine_->mutablePointer()[length_++] = static_cast<std::int32_t>(position_);
    position_ += size + 1;
}

void KRUTF8StringList::appendList(const KRUTF8StringList& list)
{
    const std::int64_t count = list.count(); // The list may be this one.
    for (std::int64_t i = 0; i < count; ++i)
        append(list.viewAtIndex(i));
}

void KRUTF8StringList::appendInteger(std::int64_t number)
{
    append(std::to_string(number));
}

void KRUTF8StringList::appendDouble(double number)
{
    KRUTF8String text;
    text.appendDouble(number);
    append(text);
}

void KRUTF8StringList::removeLastString()
{
    if (length_ > 0)
        cutTo(length_ - 1);
}

void KRUTF8StringList::trimEmptyRowsFromEnd()
{
    std::int64_t count = length_;
    while (count > 0 && viewAtIndex(count - 1).empty())
        --count;
    cutTo(count);
}

const char* KRUTF8StringList::pointer() const
{
    return length_ > 0 ? reinterpret_cast<const char*>(data_->constPointer()) : nullptr;
}

const std::int32_t* KRUTF8StringList::startPointer() const
{
    return length_ > 0 ? startOfEachLine_->constPointer() : nullptr;
}

KRUTF8StringList::Bytes::ConstPointer KRUTF8StringList::utf8ByteStream()
{
    compactMemory();
    if (!data_)
        data_ = Bytes::createArrayOfLength(0);
    return data_;
}

KRUTF8String::Pointer KRUTF8StringList::stringAtIndex(std::int64_t index) const
{
    if (index >= 0 && index < length_)
        return KRUTF8String::createWithString(viewAtIndex(index));
    KRMessageCenter::addMessage("Out of bounds");
    return nullptr;
}

void KRUTF8StringList::copyStringAtIndex(std::int64_t index, KRUTF8String& into) const
{
    if (index >= 0 && index < length_)
        into.replaceWithString(viewAtIndex(index));
    else
        KRMessageCenter::addMessage("Out of bounds");
}

std::string_view KRUTF8StringList::viewAtIndex(std::int64_t index) const
{
    if (index < 0 || index >= length_)
        return {};
    const std::int32_t* const starts = startOfEachLine_->constPointer();
    const std::int64_t end = index + 1 < length_ ? starts[index + 1] : position_;
    return {pointer() + starts[index], static_cast<std::size_t>(end - starts[index] - 1)};
}

bool KRUTF8StringList::isOwn(std::string_view text) const
{
    const char* const block = pointer();
    return block && std::less_equal<>()(block, text.data()) && std::less<>()(text.data(), block + position_);
}

bool KRUTF8StringList::makeRoom(std::int64_t bytes, std::int64_t strings)
{
    if (bytes > kMostBytes - position_) {
        KRMessageCenter::addMessage("A list of strings can't hold more than 2 GiB.");
        return false;
    }
    auto block = withRoom(data_, position_, position_ + bytes, kFirstBytes);
    auto starts = withRoom(startOfEachLine_, length_, length_ + strings, kFirstStrings);
    if (lengthOf(block) < position_ + bytes || lengthOf(starts) < length_ + strings)
        return false; // The containers have reported it.
    data_ = std::move(block);
    startOfEachLine_ = std::move(starts);
    return true;
}

void KRUTF8StringList::cutTo(std::int64_t count)
{
    if (count < length_)
        position_ = startOfEachLine_->constPointer()[count];
    length_ = count;
}
