#include "text/RtfText.h"

#include "platform/Utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace {

using platform::Error;
using platform::Result;
using toolkit::RichText;

constexpr std::size_t kDeepestGroup = 500;

// Words that say nothing which writing the text anew would lose: the document's settings, and those which
// every writer puts around plain paragraphs.
constexpr std::array<std::string_view, 21> kSettings{"rtf", "ansi", "mac", "pc", "pca", "ansicpg", "deff",
    "deflang", "deflangfe", "lang", "viewkind", "uc", "pard", "plain", "ql", "nowidctlpar", "widctlpar", "f0",
    "fs24", "cf0", "partightenfactor0"};
// Groups whose content is no text of the document, and is the same in every plain one.
constexpr std::array<std::string_view, 4> kSilentGroups{"fonttbl", "colortbl", "stylesheet", "info"};

// Code page 1252, 0x80 to 0x9F; the rest is as in Unicode.
constexpr std::array<std::uint16_t, 32> kWindows{0x20AC, 0x81, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x8D, 0x017D, 0x8F, 0x90, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D, 0x017E, 0x0178};

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

template <class List>
bool contains(const List& list, std::string_view word)
{
    return std::find(list.begin(), list.end(), word) != list.end();
}

// A control word with its number, such as "\u8364".
struct Word {
    std::string_view name;
    std::string_view whole; // With the number.
    std::optional<int> number;
    bool isOff() const { return number == 0; } // "\b0" ends what "\b" began.
};

class Reader {
public:
    explicit Reader(std::string_view document) : rest_(document) { }

    Result<RtfText> read()
    {
        if (!rest_.starts_with("{\\rtf"))
            return Error{"this is no rich text"};
        while (!rest_.empty()) {
            const char c = rest_.front();
            if (c == '{' || c == '}') {
                rest_.remove_prefix(1);
                if (c == '{' ? !openGroup() : !closeGroup())
                    break;
            } else if (c == '\\') {
                rest_.remove_prefix(1);
                readControl();
            } else {
                rest_.remove_prefix(1);
                if (c != '\r' && c != '\n')
                    addByte(static_cast<unsigned char>(c));
            }
        }
        endSurrogate();
        if (!groups_.empty())
            return Error{"the rich text ends in the middle"};
        return std::move(result_);
    }

private:
    struct Group {
        RichText::Run style; // Without text.
        int fallbackLength = 1; // Characters that stand for a "\u" where it isn't understood.
        bool isSilent = false;
    };

    bool openGroup()
    {
        if (groups_.size() == kDeepestGroup) {
            result_.isWhole = false;
            return false;
        }
        groups_.push_back(group_);
        isGroupStart_ = true;
        toSkip_ = 0;
        return true;
    }
    // False at the end of the document.
    bool closeGroup()
    {
        if (groups_.empty())
            return false;
        group_ = groups_.back();
        groups_.pop_back();
        toSkip_ = 0;
        return !groups_.empty();
    }

    void readControl()
    {
        if (rest_.empty())
            return;
        const char c = rest_.front();
        if (isLetter(c))
            return handle(readWord());
        rest_.remove_prefix(1);
        if (c == '\'') {
            unsigned byte = 0;
            const auto text = rest_.substr(0, 2);
            const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), byte, 16);
            rest_.remove_prefix(text.size());
            if (error == std::errc() && end == text.data() + text.size())
                addByte(byte);
        } else if (c == '\\' || c == '{' || c == '}') {
            addByte(static_cast<unsigned char>(c));
        } else if (c == '~') {
            addCharacter(0xA0);
        } else if (c == '\n' || c == '\r') {
            addCharacter('\n');
        } else if (c == '*') {
            group_.isSilent = true; // A kind of content that a reader may leave out.
            result_.isWhole = false;
        }
    }

    Word readWord()
    {
        const std::size_t letters =
            static_cast<std::size_t>(std::find_if_not(rest_.begin(), rest_.end(), isLetter) - rest_.begin());
        Word word{rest_.substr(0, letters), {}, std::nullopt};
        int number = 0;
        const auto [end, error] =
            std::from_chars(rest_.data() + letters, rest_.data() + rest_.size(), number);
        const std::size_t length =
            error == std::errc() ? static_cast<std::size_t>(end - rest_.data()) : letters;
        if (error == std::errc())
            word.number = number;
        word.whole = rest_.substr(0, length);
        rest_.remove_prefix(length + (rest_.size() > length && rest_[length] == ' ' ? 1 : 0));
        return word;
    }

    void handle(const Word& word)
    {
        const bool atStart = std::exchange(isGroupStart_, false);
        if (atStart && contains(kSilentGroups, word.name)) {
            group_.isSilent = true;
            return;
        }
        if (word.name == "u" && word.number) {
            addUtf16(static_cast<std::uint16_t>(*word.number));
            toSkip_ = group_.fallbackLength;
        } else if (word.name == "par" || word.name == "line") {
            addCharacter('\n');
        } else if (word.name == "tab") {
            addCharacter('\t');
        } else if (word.name == "b") {
            group_.style.bold = !word.isOff();
        } else if (word.name == "i") {
            group_.style.italic = !word.isOff();
        } else if (word.name == "ul" || word.name == "ulnone") {
            group_.style.underlined = word.name == "ul" && !word.isOff();
        } else if (word.name == "plain") {
            group_.style = {};
        } else if (word.name == "uc") {
            group_.fallbackLength = std::clamp(word.number.value_or(1), 0, 100);
        } else if (!group_.isSilent && !contains(kSettings, word.name) && !contains(kSettings, word.whole)) {
            result_.isWhole = false;
        }
    }

    void addByte(unsigned byte) { addCharacter(byte >= 0x80 && byte < 0xA0 ? kWindows[byte - 0x80] : byte); }

    void addCharacter(std::uint32_t character)
    {
        isGroupStart_ = false;
        if (toSkip_ > 0) {
            --toSkip_;
            return;
        }
        endSurrogate();
        add(character);
    }

    // Characters beyond 16 bits come in two halves.
    void addUtf16(std::uint16_t unit)
    {
        if (unit >= 0xDC00 && unit < 0xE000 && surrogate_) {
            add(0x10000 + ((*surrogate_ - 0xD800U) << 10) + (unit - 0xDC00U));
            surrogate_.reset();
            return;
        }
        endSurrogate();
        if (unit >= 0xD800 && unit < 0xDC00)
            surrogate_ = unit;
        else
            add(unit >= 0xDC00 && unit < 0xE000 ? 0xFFFDU : unit);
    }

    void endSurrogate()
    {
        if (surrogate_)
            add(0xFFFD);
        surrogate_.reset();
    }

    void add(std::uint32_t character)
    {
        if (group_.isSilent || character == 0)
            return;
        RichText::Run run = group_.style;
        platform::utf8::append(run.text, character);
        result_.text.append(run);
    }

    std::string_view rest_;
    RtfText result_;
    Group group_;
    std::vector<Group> groups_; // Those around the present one.
    bool isGroupStart_ = false;
    int toSkip_ = 0; // Characters of a fallback still to come.
    std::optional<std::uint16_t> surrogate_;
};

// Bytes that aren't UTF-8 become U+FFFD.
std::u32string charactersOf(std::string_view text)
{
    std::u32string characters;
    while (!text.empty()) {
        const auto first = static_cast<unsigned char>(text.front());
        const std::size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        if (platform::utf8::firstInvalidByte(text.substr(0, length))) {
            characters += U'\xFFFD';
            text.remove_prefix(1);
            continue;
        }
        char32_t character = length == 1 ? first : first & (0x7FU >> length);
        for (std::size_t i = 1; i < length; ++i)
            character = (character << 6) | (static_cast<unsigned char>(text[i]) & 0x3FU);
        characters += character;
        text.remove_prefix(length);
    }
    return characters;
}

void appendEscaped(std::string& document, char32_t character)
{
    if (character == '\n')
        document += "\\par\n";
    else if (character == '\t')
        document += "\\tab ";
    else if (character == '\\' || character == '{' || character == '}')
        (document += '\\') += static_cast<char>(character);
    else if (character < 0x80)
        document += static_cast<char>(character);
    else if (character < 0x10000)
        document += fmt::format("\\u{}?", static_cast<std::int16_t>(character));
    else
        document +=
            fmt::format("\\u{}?\\u{}?", static_cast<std::int16_t>(0xD800 + ((character - 0x10000) >> 10)),
                static_cast<std::int16_t>(0xDC00 + ((character - 0x10000) & 0x3FF)));
}

} // namespace

Result<RtfText> RtfText::read(std::string_view document)
{
    return Reader(document).read();
}

std::string RtfText::write(const RichText& text)
{
    std::string document = "{\\rtf1\\ansi\\ansicpg1252\\deff0{\\fonttbl{\\f0 Helvetica;}}\n\\pard\\plain ";
    for (const RichText::Run& run : text.runs) {
        document += '{';
        document += run.bold ? "\\b " : "";
        document += run.italic ? "\\i " : "";
        document += run.underlined ? "\\ul " : "";
        for (const char32_t character : charactersOf(run.text))
            appendEscaped(document, character);
        document += '}';
    }
    return document + "}\n";
}
