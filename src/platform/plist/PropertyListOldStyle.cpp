#include "platform/plist/PropertyListOldStyle.h"

#include "platform/Utf8.h"
#include "platform/plist/PropertyListLimits.h"

#include <algorithm>
#include <fmt/format.h>

namespace platform::propertylist {

namespace {

constexpr std::string_view kOldStyleBlanks = " \t\r\n\v\f";
constexpr std::string_view kDelimiters = "{}()<>=;,\"'";

int hexValue(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    return -1;
}

bool isOneOf(std::string_view set, char letter)
{
    return set.find(letter) != std::string_view::npos;
}

bool isOctal(char digit)
{
    return digit >= '0' && digit <= '7';
}

// document   := value | pairs                   (pairs without braces are a file of strings)
// value      := dictionary | array | data | string
// dictionary := "{" pairs "}"
// pairs      := [string ["=" value] ";"]...     (the last ";" may be missing)
// array      := "(" [value ","]... ")"          (the last "," may be missing or not)
// data       := "<" hexadecimal digits ">"
// string     := bare | quoted with " or '
// Blanks and comments may stand between any two of these.
class OldStyleParser {
public:
    explicit OldStyleParser(std::string_view text) : text_(text) { }

    Result<Value> parse()
    {
        Value value;
        if (!parseDocument(value))
            return Error{fmt::format("line {}: {}", lineOf(complaintPlace_), complaint_)};
        return value;
    }

private:
    bool complain(std::size_t place, std::string what)
    {
        if (complaint_.empty()) {
            complaint_ = std::move(what);
            complaintPlace_ = place;
        }
        return false;
    }

    std::ptrdiff_t lineOf(std::size_t place) const
    {
        return 1 + std::count(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(place), '\n');
    }

    bool atEnd() const { return place_ >= text_.size(); }
    char current() const { return text_[place_]; }
    bool nextIs(std::string_view token) const { return text_.substr(place_).starts_with(token); }
    bool take(char wanted)
    {
        if (atEnd() || current() != wanted)
            return false;
        ++place_;
        return true;
    }

    // Skips blanks and comments. False for a comment without an end.
    bool skip()
    {
        for (;;) {
            place_ = std::min(text_.find_first_not_of(kOldStyleBlanks, place_), text_.size());
            if (nextIs("//")) {
                place_ = std::min(text_.find_first_of("\r\n", place_), text_.size());
            } else if (nextIs("/*")) {
                const std::size_t end = text_.find("*/", place_ + 2);
                if (end == std::string_view::npos)
                    return complain(place_, "a comment that doesn't end");
                place_ = end + 2;
            } else {
                return true;
            }
        }
    }

    bool parseDocument(Value& value)
    {
        if (!skip())
            return false;
        if (atEnd())
            return complain(place_, "there is no value in it");
        const bool isString = !isOneOf("{}()<", current());
        if (!parseValue(value) || !skip())
            return false;
        if (isString && !atEnd() && (current() == '=' || current() == ';')) {
            place_ = 0;
            Value::Dictionary members;
            if (!parsePairs(members))
                return false;
            value = Value(std::move(members));
        }
        return atEnd() || complain(place_, "something behind the end of the value");
    }

    bool parseValue(Value& value)
    {
        if (atEnd())
            return complain(place_, "it ends where a value belongs");
        if (++count_ > kMostValues)
            return complain(place_, "more values than anybody can mean");
        switch (current()) {
        case '{':
            return parseNested(value, &OldStyleParser::parseDictionary);
        case '(':
            return parseNested(value, &OldStyleParser::parseArray);
        case '<':
            return parseData(value);
        default:
            break;
        }
        std::string text;
        if (!parseString(text))
            return false;
        value = Value(std::move(text));
        return true;
    }

    bool parseNested(Value& value, bool (OldStyleParser::*parseContent)(Value&))
    {
        if (depth_ >= kDeepestNesting)
            return complain(place_, fmt::format("nested more than {} levels deep", kDeepestNesting));
        ++depth_;
        const bool parsed = (this->*parseContent)(value);
        --depth_;
        return parsed;
    }

    bool parseDictionary(Value& value)
    {
        const std::size_t begin = place_++;
        Value::Dictionary members;
        if (!parsePairs(members))
            return false;
        if (!take('}'))
            return complain(atEnd() ? begin : place_,
                atEnd() ? "a dictionary that doesn't end"
                        : fmt::format("'{}' where a key belongs", current()));
        value = Value(std::move(members));
        return true;
    }

    // Ends before what can't begin a pair.
    bool parsePairs(Value::Dictionary& members)
    {
        for (;;) {
            if (!skip())
                return false;
            if (atEnd() || isOneOf("{}()<>=;,", current()))
                return true;
            std::string key;
            if (!parseString(key) || !skip())
                return false;
            Value value(key); // A key alone stands for itself, as in files of strings.
            if (++count_ > kMostValues)
                return complain(place_, "more values than anybody can mean");
            if (take('=') && (!skip() || !parseValue(value) || !skip()))
                return false;
            members.insert_or_assign(std::move(key), std::move(value));
            if (!take(';') && !atEnd() && current() != '}')
                return complain(place_, "a ';' is missing");
        }
    }

    bool parseArray(Value& value)
    {
        const std::size_t begin = place_++;
        Value::Array elements;
        for (;;) {
            if (!skip())
                return false;
            if (atEnd())
                return complain(begin, "an array that doesn't end");
            if (take(')'))
                break;
            if (!parseValue(elements.emplace_back()) || !skip())
                return false;
            if (!take(',') && !atEnd() && current() != ')')
                return complain(place_, "a ',' is missing");
        }
        value = Value(std::move(elements));
        return true;
    }

    bool parseData(Value& value)
    {
        const std::size_t begin = place_++;
        Value::Data bytes;
        int high = -1;
        for (;;) {
            if (!skip())
                return false;
            if (atEnd())
                return complain(begin, "data that don't end");
            if (take('>'))
                break;
            const int digit = hexValue(current());
            if (digit < 0)
                return complain(place_, "data that are not hexadecimal digits");
            if (high >= 0)
                bytes.push_back(static_cast<std::uint8_t>(high << 4 | digit));
            high = high >= 0 ? -1 : digit;
            ++place_;
        }
        if (high >= 0)
            return complain(begin, "data with half a byte");
        value = Value(std::move(bytes));
        return true;
    }

    // At least one character is left.
    bool parseString(std::string& text)
    {
        return current() == '"' || current() == '\'' ? parseQuoted(text) : parseBare(text);
    }

    bool parseBare(std::string& text)
    {
        const std::size_t begin = place_;
        for (; !atEnd(); ++place_) {
            const char letter = current();
            const auto code = static_cast<unsigned char>(letter);
            if (code <= ' ' || code == 0x7F || isOneOf(kDelimiters, letter) || nextIs("/*"))
                break;
            // A comment, but for the slashes of an address such as http://host.
            if (nextIs("//") && (place_ == begin || text_[place_ - 1] != ':'))
                break;
            if (nextIs("//"))
                ++place_; // Both slashes at once.
        }
        if (place_ == begin)
            return complain(place_, "a character that begins no value");
        text = text_.substr(begin, place_ - begin);
        return true;
    }

    bool parseQuoted(std::string& text)
    {
        const std::size_t begin = place_;
        const char quote = current();
        ++place_;
        for (;;) {
            const char stops[] = {quote, '\\'};
            const std::size_t stop = text_.find_first_of(std::string_view(stops, 2), place_);
            if (stop == std::string_view::npos)
                return complain(begin, "a text whose quotation mark is missing at its end");
            text.append(text_.substr(place_, stop - place_));
            place_ = stop + 1;
            if (text_[stop] == quote)
                return true;
            if (atEnd())
                return complain(begin, "a text whose quotation mark is missing at its end");
            parseEscape(text);
        }
    }

    // The character that a backslash sequence stands for. At least one character follows the backslash.
    void parseEscape(std::string& text)
    {
        constexpr std::string_view kNames = "abfnrtv";
        constexpr std::string_view kMeanings = "\a\b\f\n\r\t\v";
        const char letter = current();
        if (isOctal(letter)) {
            text.append(octal());
        } else if (const auto character = letter == 'U' ? unicode() : std::nullopt) {
            utf8::append(text, *character);
        } else {
            const std::size_t name = kNames.find(letter);
            text += name == std::string_view::npos ? letter : kMeanings[name];
            ++place_;
        }
    }

    // Up to three digits and up to 255, as a character of Latin 1.
    std::string octal()
    {
        unsigned code = 0;
        for (int digits = 0; digits < 3 && !atEnd() && isOctal(current()); ++digits) {
            const unsigned next = code * 8 + static_cast<unsigned>(current() - '0');
            if (next > 0xFF)
                break;
            code = next;
            ++place_;
        }
        std::string character;
        utf8::append(character, code);
        return character;
    }

    // The four digits behind a U; nothing when they aren't there.
    std::optional<char32_t> fourDigits(std::size_t place) const
    {
        char32_t code = 0;
        for (std::size_t index = 0; index < 4; ++index) {
            const int digit = place + index < text_.size() ? hexValue(text_[place + index]) : -1;
            if (digit < 0)
                return std::nullopt;
            code = code << 4 | static_cast<char32_t>(digit);
        }
        return code;
    }

    std::optional<char32_t> unicode()
    {
        const auto code = fourDigits(place_ + 1);
        if (!code)
            return std::nullopt;
        place_ += 5;
        const bool isHigh = *code >= 0xD800 && *code < 0xDC00;
        const auto low = isHigh && nextIs("\\U") ? fourDigits(place_ + 2) : std::nullopt;
        if (!low || *low < 0xDC00 || *low >= 0xE000)
            return code;
        place_ += 6;
        return 0x10000 + ((*code - 0xD800) << 10) + (*low - 0xDC00);
    }

    std::string_view text_;
    std::size_t place_ = 0;
    int depth_ = 0;
    std::uint64_t count_ = 0;
    std::string complaint_;
    std::size_t complaintPlace_ = 0;
};

} // namespace

Result<Value> parseOldStyle(std::string_view bytes)
{
    const auto text = utf8::fromMarkedText(bytes);
    if (!text)
        return Error{"it ends in the middle of a character"};
    if (const auto invalid = utf8::firstInvalidByte(*text))
        return Error{fmt::format("the byte at {} isn't UTF-8", *invalid)};
    return OldStyleParser(*text).parse();
}

} // namespace platform::propertylist
