// The text scanners of a file: lines, words, fields of tables, numbers.

#include "arrays/sv/SVErrorMessage.h"
#include "datafile/SVCLocale.h"
#include "datafile/SVFile.h"
#include "datafile/SVFileWords.h"

#include <cmath>
#include <cstdlib>
#include <limits>

namespace {

constexpr int kLongestNumber = 40;
constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

bool isDigit(int c)
{
    return c >= '0' && c <= '9';
}

bool isLineEnd(int c)
{
    return c == '\n' || c == '\r';
}

// Which characters may still come in a number that has been read so far.
class NumberForm {
public:
    // The first character; false if no number begins with it.
    bool begin(int c)
    {
        pointSeen_ = c == '.';
        return c == '-' || c == '+' || c == '.' || isDigit(c);
    }
    void take(int c)
    {
        if (isDigit(c))
            return;
        if (c == '.' && !pointSeen_ && !exponentSeen_)
            pointSeen_ = true;
        else if ((c == 'e' || c == 'E') && !exponentSeen_)
            exponentSeen_ = true;
        else if ((c == '+' || c == '-') && exponentSeen_ && !signSeen_)
            signSeen_ = true;
        else
            isValid_ = false;
    }
    bool isValid() const { return isValid_; }

private:
    bool pointSeen_ = false;
    bool exponentSeen_ = false;
    bool signSeen_ = false;
    bool isValid_ = true;
};

} // namespace

int SVFile::NextCharacter()
{
    return std::fgetc(FILEForReading());
}

// Reads the LF of a CR LF. At the end of the file the step back lands on the CR itself, so the next call
// finds an empty line: readers of tables rely on that last line.
void SVFile::FinishLine(int last)
{
    if (last == '\r' && NextCharacter() != '\n')
        fseeko(FILEForReading(), -1, SEEK_CUR);
}

std::string SVFile::ReadLine(long maxLength)
{
    std::string line;
    if (!IsOpen()) {
        SVErrorMessage("SVFile::ReadLine()", "No file");
        return line;
    }
    int c = 0;
    while (maxLength < 0 || static_cast<long>(line.size()) < maxLength) {
        c = NextCharacter();
        if (c == EOF || isLineEnd(c) || c == 0)
            break;
        line += static_cast<char>(c);
    }
    FinishLine(c);
    return line;
}

std::string SVFile::NextWord()
{
    std::string word;
    if (!IsOpen()) {
        SVErrorMessage("SVFile::NextWord()", "No file");
        return word;
    }
    int c = NextCharacter();
    while (c == ' ')
        c = NextCharacter();
    for (; c >= 33 && c <= 126; c = NextCharacter())
        word += static_cast<char>(c);
    FinishLine(c);
    return word;
}

// Whether only blanks stand between a field that ended on a blank and the separator or the end. `last` is the
// last character read.
bool SVFile::OnlySeparatorFollows(char separator, int& last)
{
    if (last != ' ' || separator == ' ')
        return true;
    while (last == ' ')
        last = NextCharacter();
    return last == EOF || isLineEnd(last) || last == static_cast<unsigned char>(separator);
}

double SVFile::ReadNumberWithSeparator(char separator, bool& failed, bool& endOfLine)
{
    failed = true;
    endOfLine = false;
    if (!IsOpen()) {
        SVErrorMessage("SVFile::NextWord()", "No file");
        return kNoNumber;
    }
    const int separates = static_cast<unsigned char>(separator);
    int c = NextCharacter();
    while (c == ' ')
        c = NextCharacter();
    endOfLine = isLineEnd(c) && c != separates;
    NumberForm form;
    if (c == EOF || c == separates || !form.begin(c))
        return kNoNumber;

    std::string digits(1, static_cast<char>(c));
    for (c = NextCharacter(); c != EOF && c != separates && c != ' ' && !isLineEnd(c); c = NextCharacter()) {
        if (static_cast<int>(digits.size()) == kLongestNumber)
            break; // The character just read is dropped.
        form.take(c);
        digits += static_cast<char>(c);
    }
    if (!OnlySeparatorFollows(separator, c))
        return kNoNumber;
    // A CR isn't paired with an LF here: CR LF gives one more empty field at the next call.
    endOfLine = isLineEnd(c);
    if (!form.isValid())
        return kNoNumber;
    const SVCLocale locale;
    char* end = nullptr;
    const double number = std::strtod(digits.c_str(), &end);
    failed = *end != '\0';
    return failed ? kNoNumber : number;
}

std::string SVFile::ReadStringWithSeparator(char separator, bool& failed, bool& endOfLine)
{
    failed = true;
    endOfLine = false;
    if (!IsOpen()) {
        SVErrorMessage("SVFile::NextWord()", "No file");
        return {};
    }
    const int separates = static_cast<unsigned char>(separator);
    int c = NextCharacter();
    while (c == ' ')
        c = NextCharacter();
    if (c == EOF)
        return {};
    if (c == separates) {
        failed = false;
        return {};
    }
    if (isLineEnd(c)) {
        endOfLine = true;
        return {};
    }

    std::string text;
    if (c == '"') {
        // The separator after the closing quote stays for the next call, which takes it for an empty field.
        for (c = NextCharacter(); c != EOF && c != '"'; c = NextCharacter())
            text += static_cast<char>(c);
        failed = false;
        return text;
    }
    for (; c != EOF && c != separates && c != ' ' && !isLineEnd(c); c = NextCharacter())
        text += static_cast<char>(c);
    if (!OnlySeparatorFollows(separator, c))
        return {};
    endOfLine = isLineEnd(c);
    failed = false;
    return text;
}

bool SVFile::ReadAscii(SVMutableDoubleArray& array)
{
    constexpr const char* kWord = "SVFile::ReadAscii(DoubleArray)";
    if (array.IsEmpty())
        return true;
    if (!IsOpen()) {
        SVErrorMessage(kWord, "No file");
        return false;
    }
    const SVCLocale locale;
    long count = 0;
    int result = 1;
    for (; count < array.Length(); ++count) {
        double* element = array.Pointer() + count;
        result = std::fscanf(FILEForReading(), "%lf", element);
        if (result == 0) {
            if (NextCharacter() == EOF)
                break;
            result = std::fscanf(FILEForReading(), "%lf", element);
        }
        if (result < 1)
            break;
    }
    if (count == array.Length())
        return true;
    if (result == EOF)
        SVErrorMessage(kWord, kSVTooFewValues);
    return false;
}

// Unlike the form for doubles, the end of the file counts as a value: a file that ends early leaves the rest
// of the array as it was, and is a success. Old input files are shorter than their arrays.
bool SVFile::ReadAscii(SVMutableFloatArray& array)
{
    constexpr const char* kWord = "SVFile::ReadAscii(FloatArray)";
    if (array.IsEmpty())
        return true;
    if (!IsOpen()) {
        SVErrorMessage(kWord, "No file");
        return false;
    }
    const SVCLocale locale;
    for (long count = 0; count < array.Length(); ++count) {
        while (std::fscanf(FILEForReading(), "%f", array.Pointer() + count) == 0) {
            if (NextCharacter() == EOF) {
                SVErrorMessage(kWord, kSVTooFewValues);
                return false;
            }
        }
    }
    return true;
}

double SVFile::ReadAsciiNumber()
{
    if (!IsOpen()) {
        SVErrorMessage("SVFile::ReadAsciiNumber(SVFile)", "No file");
        return kNoNumber;
    }
    const SVCLocale locale;
    double number = kNoNumber;
    int result = std::fscanf(FILEForReading(), "%lf", &number);
    while (result == 0) {
        if (NextCharacter() == EOF)
            return kNoNumber;
        result = std::fscanf(FILEForReading(), "%lf", &number);
    }
    return result == 1 ? number : kNoNumber;
}
