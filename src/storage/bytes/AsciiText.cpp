#include "storage/bytes/AsciiText.h"

#include "arrays/containers/KRNumberText.h"
#include "storage/bytes/StoredText.h"

#include <algorithm>

namespace {

constexpr std::size_t kTextBlock = 1 << 18; // Bytes.
constexpr std::size_t kLongestLine = 254;
constexpr std::size_t kLongestNumberLine = 39;
constexpr std::size_t kLongestInt = 64;

const char* skipBlanks(const char* text, const char* end)
{
    while (text != end && KRIsBlank(*text))
        ++text;
    return text;
}

} // namespace

std::string_view AsciiText::peek(std::size_t count)
{
    if (position_ >= length_)
        return {};
    count = static_cast<std::size_t>(std::min<std::uint64_t>(count, length_ - position_));
    const bool isHeld = position_ >= blockStart_ && position_ - blockStart_ <= block_.size()
        && block_.size() - (position_ - blockStart_) >= count;
    if (!isHeld) {
        blockStart_ = position_;
        block_.resize(static_cast<std::size_t>(
            std::min<std::uint64_t>(std::max(kTextBlock, count), length_ - position_)));
        if (!file_.readAt(position_, block_.data(), block_.size())) {
            block_.clear(); // The file was cut: it ends here.
            length_ = position_;
            return {};
        }
    }
    return {block_.data() + (position_ - blockStart_), count};
}

std::optional<std::string> AsciiText::readLine(std::size_t mostBytes)
{
    std::string_view bytes = peek(mostBytes + 1);
    if (bytes.empty())
        return {};
    const bool isCut = bytes.size() > mostBytes;
    const char behind = isCut ? bytes[mostBytes] : '\0';
    bytes = bytes.substr(0, mostBytes);
    bytes = bytes.substr(0, std::min(bytes.find('\n'), bytes.size() - 1) + 1);
    const std::size_t end = bytes.find_first_of(std::string_view("\r\n\0", 3));
    std::string line(bytes.substr(0, end));
    if (end == std::string_view::npos || bytes[end] == '\0') {
        position_ += bytes.size();
        return line;
    }
    const char next = end + 1 < bytes.size() ? bytes[end + 1] : behind;
    position_ += end + 1 + (bytes[end] == '\r' && next == '\n' ? 1U : 0U);
    return line;
}

std::optional<std::string> AsciiText::readString()
{
    const auto line = readLine(kLongestLine);
    if (!line)
        return {};
    const std::string text = storage::decodedText(*line);
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::optional<double> AsciiText::readNumberFromFile()
{
    auto line = readLine(kLongestNumberLine);
    if (!line)
        return {};
    std::replace_if(
        line->begin(), line->end(), [](char c) { return c == 'D' || c == 'd'; }, 'e');
    const char* const end = line->data() + line->size();
    return KRReadNumber<double>(skipBlanks(line->data(), end), end).value;
}

std::int32_t AsciiText::readInt()
{
    while (!peek(1).empty() && KRIsBlank(peek(1).front()))
        ++position_;
    const std::string_view text = peek(kLongestInt);
    const auto number = KRReadNumber<std::int32_t>(text.data(), text.data() + text.size());
    if (!number)
        return 0;
    position_ += static_cast<std::uint64_t>(number.end - text.data());
    return number.value;
}

bool AsciiText::searchForNextAsterix()
{
    for (std::string_view text = peek(1); !text.empty(); text = peek(1)) {
        text = {text.data(), block_.size() - static_cast<std::size_t>(position_ - blockStart_)};
        const std::size_t place = text.find('*');
        if (place != std::string_view::npos) {
            position_ += place + 2;
            return true;
        }
        position_ += text.size();
    }
    return false;
}

bool AsciiText::endsWithLine()
{
    const std::uint64_t here = std::exchange(position_, length_ == 0 ? 0 : length_ - 1);
    const std::string_view last = peek(1);
    const bool ends = last.empty() || last.front() == '\n' || last.front() == '\r';
    position_ = here;
    return ends;
}

// Text that doesn't end inside of a number.
std::string_view AsciiText::peekWholeNumbers()
{
    const std::string_view text = peek(kTextBlock);
    if (position_ + text.size() >= length_)
        return text;
    std::size_t size = text.size();
    while (size > 0 && !KRIsBlank(text[size - 1]))
        --size;
    return text.substr(0, size);
}

template <class T>
std::size_t AsciiText::readNumbers(std::size_t count, T* into)
{
    std::size_t done = 0;
    while (done < count) {
        const std::string_view text = peekWholeNumbers();
        const char* const end = text.data() + text.size();
        for (const char* next = text.data(); done < count;) {
            next = skipBlanks(next, end);
            if (next == end)
                break;
            const auto number = KRReadNumber<T>(next, end);
            if (!number)
                return done;
            into[done++] = number.value;
            next = number.end;
        }
        if (text.empty())
            return done;
        position_ += text.size();
    }
    return done;
}

template std::size_t AsciiText::readNumbers(std::size_t, double*);
template std::size_t AsciiText::readNumbers(std::size_t, float*);
template std::size_t AsciiText::readNumbers(std::size_t, std::int32_t*);
