#include "arrays/containers/KRTableText.h"

#include "arrays/containers/KRNumberText.h"
#include "arrays/legacy/KRArrayOperations.h"
#include "diagnostics/KRMessageCenter.h"

#include <cstdint>
#include <fmt/format.h>
#include <limits>

using namespace krcontainers;

namespace {

constexpr long kLinesBetweenReports = 3000;

const char* endOfLine(const char* place, const char* end)
{
    return std::find_if(place, end, endsALine);
}

// A line as a message shows it: it may be as long as the file.
std::string shownLine(const char* line, const char* end)
{
    constexpr long kMost = 1000;
    const char* const lineEnd = endOfLine(line, end);
    return std::string(line, std::min(lineEnd, line + std::min(kMost, end - line)));
}

} // namespace

namespace krcontainers {

const char* behindLineEnd(const char* lineEnd, const char* end)
{
    if (lineEnd == end)
        return end;
    const bool isPair = *lineEnd == '\r' && end - lineEnd > 1 && lineEnd[1] == '\n';
    return lineEnd + (isPair ? 2 : 1);
}

const char* startOfLastLines(std::string_view text, long count)
{
    const char* const begin = text.data();
    const char* start = begin + text.size();
    for (; count > 0 && start != begin; --count) {
        // The end of the line itself, then back to behind the end of the line before.
        if (endsALine(start[-1]))
            start -= start - begin > 1 && start[-1] == '\n' && start[-2] == '\r' ? 2 : 1;
        while (start != begin && !endsALine(start[-1]))
            --start;
    }
    return start;
}

} // namespace krcontainers

template <class T>
bool KRTableText<T>::read(std::string_view lines)
{
    const char* place = lines.data();
    const char* const end = place + lines.size();
    while (place != end && !hasEnded_) {
        ++line_;
        if (line_ > linesToSkip_)
            place = readLine(place, end);
        place = behindLineEnd(endOfLine(place, end), end);
        if (line_ % kLinesBetweenReports == 0)
            tellProgress(done_ + (place - lines.data()));
    }
    done_ += static_cast<long>(lines.size());
    return !hasEnded_;
}

// Gives a place in the line behind everything that was looked at.
template <class T>
const char* KRTableText<T>::readLine(const char* const line, const char* end)
{
    const auto isSeparator = [](char c) {
        return c == ' ' || c == ',' || c == '\t' || c == '\v' || c == '\f';
    };
    const long before = numbers_.count();
    const char* place = line;
    for (long count = 0;; ++count) {
        while (place != end && isSeparator(*place))
            ++place;
        if (place == end || endsALine(*place)) {
            endLine(line, end, count);
            return place;
        }
        const bool isFull = count == columns_ && columns_ > 0;
        if (isFull && longLine_ == LongLine::IsCut) {
            ++rows_;
            return place;
        }
        const auto number = KRReadNumber<T>(place, end);
        if (number && isFull) {
            ++rows_;
            reportLongLine();
            return place;
        }
        if (!number || !numbers_.add(number.value)) {
            numbers_.truncate(before);
            endWith(number ? "Out of memory." : "Illegal characters found in text.");
            return place;
        }
        place = number.end;
    }
}

// A line of so many numbers, with nothing behind them.
template <class T>
void KRTableText<T>::endLine(const char* line, const char* end, long count)
{
    if (count == 0)
        return;
    if (columns_ == 0)
        columns_ = count;
    if (count == columns_) {
        ++rows_;
        return;
    }
    numbers_.truncate(numbers_.count() - count);
    endWith(fmt::format("Error when reading \"{}\"", file_),
        fmt::format(
            "Error when reading the file\n\"{}\"\nCould only read {} number(s) from line {}, but need to "
            "read "
            "{} numbers to match previous line(s).\nThe content of this line is \n\"{}\"\nReturning...",
            file_, count, line_, columns_, shownLine(line, end)));
}

template <class T>
void KRTableText<T>::reportLongLine()
{
    endWith(fmt::format("Error when reading \"{}\"", file_),
        fmt::format("Error when reading the file\n\"{}\"\nMore than {} number(s) in line {}.\nReturning "
                    "everything up to "
                    "and including that line",
            file_, columns_, line_));
}

template <class T>
void KRTableText<T>::endWith(const MessageText& text, const MessageText& longText)
{
    KRMessageCenter::addMessage(text, longText);
    hasEnded_ = true;
}

template <class T>
void KRTableText<T>::tellProgress(long size)
{
    if (!progress_)
        return;
    progress_->updatePercentage(total_ > 0 ? static_cast<float>(size) / static_cast<float>(total_) : 0);
    wasAborted_ = progress_->userHasAborted();
    hasEnded_ = hasEnded_ || wasAborted_;
}

template <class T>
KRMutableArray<T> KRTableText<T>::table()
{
    KRMutableArray<T> numbers = numbers_.take();
    if (columns_ <= 1 || rows_ == 0)
        return numbers;
    numbers.Reshape(columns_, rows_, 1);
    return Transpose(numbers);
}

template class KRTableText<double>;
template class KRTableText<float>;
template class KRTableText<std::int32_t>;
