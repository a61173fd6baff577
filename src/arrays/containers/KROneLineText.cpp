// readInOneLineFrom(): a line as simulation programs print it.

#include "arrays/containers/KROneLineText.h"
#include "arrays/containers/KRArrayTextInput.h"
#include "arrays/containers/KRNumberBuffer.h"
#include "arrays/containers/KRNumberText.h"
#include "diagnostics/KRMessageCenter.h"

#include <cmath>
#include <limits>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr char kOldInfinitySign = '\xB0'; // In the old Macintosh character set.

// Exponents with D become such with e, the names of infinity and NaN lower case, separators blanks.
char mapped(char c)
{
    switch (c) {
    case 'A':
        return 'a';
    case 'D':
    case 'E':
    case 'd':
        return 'e';
    case 'F':
        return 'f';
    case 'I':
        return 'i';
    case 'N':
        return 'n';
    case ',':
    case '\t':
    case '\n':
    case '\r':
        return ' ';
    default:
        return c;
    }
}

KRNumberInText<double> readOneNumber(const char* place, const char* end)
{
    if (const auto number = KRReadNumber<double>(place, end))
        return number;
    if (place != end && *place == kOldInfinitySign)
        return {kInfinity, place + 1};
    if (end - place > 1 && place[0] == '-' && place[1] == kOldInfinitySign)
        return {-kInfinity, place + 2};
    return {};
}

// How many copies a number before a star stands for; 0 if it is no count.
long countOfCopies(double number, long most)
{
    if (!(number >= 1) || number != std::floor(number))
        return 0;
    return number >= static_cast<double>(most) ? most : static_cast<long>(number);
}

// Adds the numbers of a line until there are maxLength of them. False without memory for them.
bool readMappedLine(const char* place, const char* end, long maxLength, KRNumberBuffer<double>& numbers)
{
    const auto skipBlanks = [&] { place = std::find_if_not(place, end, KRIsBlank); };
    for (skipBlanks(); numbers.count() < maxLength; skipBlanks()) {
        const auto number = readOneNumber(place, end);
        if (!number)
            return true;
        place = number.end;
        if (!numbers.add(number.value))
            return false;
        skipBlanks();
        if (place == end || *place != '*')
            continue;
        ++place;
        skipBlanks();
        const long before = numbers.count() - 1;
        const long copies = countOfCopies(number.value, maxLength - before);
        const auto repeated = readOneNumber(place, end);
        if (copies == 0 || !repeated)
            return true;
        place = repeated.end;
        numbers.truncate(before);
        for (long i = 0; i < copies; ++i)
            if (!numbers.add(repeated.value))
                return false;
    }
    return true;
}

} // namespace

std::shared_ptr<KRDoubleArrayContainer> readInOneLineFrom(std::FILE* stream, long maxLength)
{
    constexpr long kBytesOfANumber = 30;
    if (!stream)
        return nullptr;
    KRNumberBuffer<char> line(0);
    int c = std::fgetc(stream);
    if (c == EOF)
        return nullptr;
    const long most = maxLength > std::numeric_limits<long>::max() / kBytesOfANumber
        ? std::numeric_limits<long>::max()
        : maxLength * kBytesOfANumber;
    bool hasMemory = true;
    for (; c != EOF && c != '\n' && c != '\r'; c = std::fgetc(stream))
        hasMemory = hasMemory && (line.count() >= most || line.add(mapped(static_cast<char>(c))));
    if (c == '\r') // Alone, or with a line feed.
        if (const int next = std::fgetc(stream); next != '\n' && next != EOF)
            std::ungetc(next, stream);
    KRNumberBuffer<double> numbers(std::min(maxLength, line.count()) / 2);
    if (!readMappedLine(line.numbers(), line.numbers() + line.count(), maxLength, numbers) || !hasMemory)
        KRMessageCenter::addMessage("Out of memory.");
    return KRDoubleArrayContainer::createArrayWithMutableObject(numbers.take());
}
