#include "storage/bytes/AsciiNumbers.h"

#include <fmt/format.h>

#include <charconv>
#include <iterator>

namespace storage {
namespace {

struct AsciiForm {
    const char* typeWord; // Null: the format doesn't have the element type.
    std::size_t numbersInLine;
    bool isBlankBeforeLineEnd; // In a full line, too.
    int digits; // Of a real number.
};

// By element type. The blanks are those that the format's first writers left: files are compared byte by
// byte.
constexpr AsciiForm kAsciiForms[kElementTypeCount] = {
    {"Real", 4, false, 16},
    {"Real", 7, false, 8},
    {"Integer", 7, false, 0},
    {nullptr, 0, false, 0},
    {nullptr, 0, false, 0},
    {"Integer", 20, true, 0},
    {nullptr, 0, false, 0},
};

template <class T>
void appendNumber(std::string& text, T number, int digits)
{
    char raw[40];
    std::to_chars_result end{};
    if constexpr (std::is_floating_point_v<T>)
        end = std::to_chars(
            raw, raw + sizeof raw, static_cast<double>(number), std::chars_format::general, digits);
    else
        end = std::to_chars(raw, raw + sizeof raw, static_cast<int>(number));
    text.append(raw, end.ptr);
}

template <class T>
void appendNumbers(std::string& text, const T* numbers, std::size_t count, const AsciiForm& form)
{
    std::size_t done = 0;
    // At least one number is left for the rest.
    for (; done + form.numbersInLine < count; done += form.numbersInLine) {
        for (std::size_t i = 0; i < form.numbersInLine; ++i) {
            appendNumber(text, numbers[done + i], form.digits);
            text += i + 1 < form.numbersInLine || form.isBlankBeforeLineEnd ? " " : "";
        }
        text += '\n';
    }
    for (; done < count; ++done) {
        appendNumber(text, numbers[done], form.digits);
        text += ' ';
    }
}

const AsciiForm& asciiFormOf(ElementType type)
{
    return kAsciiForms[static_cast<std::size_t>(type)];
}

} // namespace

bool hasAsciiForm(ElementType type)
{
    return asciiFormOf(type).typeWord != nullptr;
}

std::string asciiLinesOf(const KRAnyArray& array)
{
    const AsciiForm& form = asciiFormOf(array.type());
    std::string text = fmt::format("{}\n{} {} {}\n", form.typeWord, array.m(), array.n(), array.o());
    withElementType(array.type(), [&]<class T>(std::type_identity<T>) {
        appendNumbers(
            text, static_cast<const T*>(array.elements()), static_cast<std::size_t>(array.length()), form);
    });
    return text + "\n*\n";
}

} // namespace storage
