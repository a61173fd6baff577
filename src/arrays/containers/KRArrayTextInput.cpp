#include "arrays/containers/KRArrayTextInput.h"

#include "arrays/containers/KRNumberBuffer.h"
#include "arrays/containers/KRNumberText.h"
#include "arrays/containers/KRTableText.h"
#include "datafile/SVCLocale.h"
#include "diagnostics/KRMessageCenter.h"
#include "platform/files/File.h"

#include <filesystem>
#include <fmt/format.h>
#include <span>
#include <string_view>
#include <vector>

using namespace krcontainers;

namespace {

constexpr long kNumbersBetweenReports = 10000;

// What differs in the words and in the reading from a stream.
template <class T>
struct TextMember;
template <>
struct TextMember<double> {
    static constexpr const char* word = "double";
    static constexpr const char* listDescription = "Parsing a double array";
    static constexpr const char* format = "%lf";
};
template <>
struct TextMember<float> {
    static constexpr const char* word = "float";
    static constexpr const char* listDescription = "Parsing a float array";
    static constexpr const char* format = "%f";
};
template <>
struct TextMember<std::int32_t> {
    static constexpr const char* word = "int";
    static constexpr const char* listDescription = "Parsing an integer array";
    static constexpr const char* format = "%d";
};

using Variable = std::optional<KRProgressVariable>;
using Progress = std::shared_ptr<KRProgressEntry>;

Progress progressFor(const Variable& inside, const std::string& otherwise)
{
    if (inside)
        return KRProgressEntry::createForVariable(*inside, std::string("%@: Parsing file."));
    return KRProgressEntry::createWithDescription(otherwise);
}

Progress progressOfTable(const Variable& inside, const std::string& file)
{
    return progressFor(inside, std::filesystem::path(file).filename().string() + ": Parsing file.");
}

// A pipe would wait for its writer, and a device may have no end.
platform::Result<platform::File> openRegularFile(const std::string& file)
{
    std::error_code failure;
    if (!std::filesystem::is_regular_file(file, failure))
        return platform::Error{file + " isn't a file"};
    return platform::File::open(file, platform::File::Mode::Read);
}

void reportUnreadable(const std::string& file)
{
    KRMessageCenter::addMessage("Internal: Could not read the content of a file.",
        fmt::format("Could not read the content of the file \"{}\". Was asked to read in an array, but "
                    "nothing will be "
                    "returned.",
            file));
}

// A block that isn't cleared before it is read into.
struct WholeText {
    std::unique_ptr<std::uint8_t[]> block;
    std::size_t size = 0;
    std::string_view text() const { return {reinterpret_cast<const char*>(block.get()), size}; }
};

platform::Result<WholeText> wholeText(const std::string& path)
{
    auto file = openRegularFile(path);
    if (!file)
        return file.error();
    const auto size = file->size();
    if (!size)
        return size.error();
    WholeText whole{std::unique_ptr<std::uint8_t[]>(new (std::nothrow) std::uint8_t[*size])};
    if (!whole.block)
        return platform::Error{path + " is larger than the memory"};
    while (whole.size < *size) {
        const auto count = file->read(std::span(whole.block.get() + whole.size, *size - whole.size));
        if (!count)
            return count.error();
        if (*count == 0) // The file has become shorter.
            break;
        whole.size += *count;
    }
    return whole;
}

// Gives the file in pieces of whole lines, without its last lines, until `take` answers false.
template <class Take>
platform::Status readPieces(platform::File& file, long linesAtEnd, Take take)
{
    constexpr std::size_t kPiece = std::size_t{1} << 20;
    std::vector<std::uint8_t> block;
    std::string waiting;
    for (bool goesOn = true, atEnd = false; goesOn && !atEnd;) {
        // As much as is waiting, so that the search in a very long line is repeated a few times only.
        block.resize(std::max(kPiece, waiting.size()));
        const auto count = file.read(block);
        if (!count)
            return count.error();
        waiting.append(reinterpret_cast<const char*>(block.data()), *count);
        atEnd = *count == 0;
        // The last line may go on in the next piece.
        const char* const kept = startOfLastLines(waiting, atEnd ? linesAtEnd : linesAtEnd + 1);
        const auto whole = static_cast<std::size_t>(kept - waiting.data());
        goesOn = take(std::string_view(waiting).substr(0, whole));
        waiting.erase(0, whole);
    }
    return {};
}

template <class T>
std::shared_ptr<KRArrayContainer<T>> contained(KRTableText<T>& table)
{
    if (table.wasAborted())
        return nullptr;
    return KRArrayContainer<T>::createArrayWithMutableObject(table.table());
}

// Adds all numbers of the text. False if the user has aborted.
template <class T>
bool readList(std::string_view text, KRNumberBuffer<T>& numbers, KRProgressEntry& progress)
{
    const auto isSeparator = [](char c) { return KRIsBlank(c) || c == ',' || c == ';'; };
    const char* place = text.data();
    const char* const end = place + text.size();
    while (true) {
        place = std::find_if_not(place, end, isSeparator);
        if (place == end)
            return true;
        const auto number = KRReadNumber<T>(place, end);
        if (!number || !numbers.add(number.value)) {
            KRMessageCenter::addMessage(number ? "Out of memory." : "Illegal characters found in text.");
            return true;
        }
        place = number.end;
        if (numbers.count() % kNumbersBetweenReports == 0) {
            progress.updatePercentage(
                static_cast<float>(place - text.data()) / static_cast<float>(text.size()));
            if (progress.userHasAborted())
                return false;
        }
    }
}

} // namespace

template <class T>
auto KRArrayTextInput<T>::readInContentFromFile(
    const std::string& file, long skipLines, const Variable& inside) -> Pointer
{
    const auto whole = wholeText(file);
    if (!whole) {
        reportUnreadable(file);
        return nullptr;
    }
    const auto size = static_cast<long>(whole->size);
    KRTableText<T> table(file, skipLines, KRTableText<T>::LongLine::IsCut, size / 8);
    table.reportTo(progressOfTable(inside, file), size);
    table.read(whole->text());
    return contained(table);
}

template <class T>
auto KRArrayTextInput<T>::readInContentFromFileNew(
    const std::string& file, long skipLines, long skipLinesAtEnd, const Variable& inside) -> Pointer
{
    auto opened = openRegularFile(file);
    if (!opened) {
        reportUnreadable(file);
        return nullptr;
    }
    const long size = static_cast<long>(opened->size().value_or(0));
    KRTableText<T> table(file, skipLines, KRTableText<T>::LongLine::EndsTheTable, size / 8);
    table.reportTo(progressOfTable(inside, file), size);
    // One less than the largest number: one line more is kept while pieces come.
    const long linesAtEnd = std::clamp(skipLinesAtEnd, 0L, std::numeric_limits<long>::max() - 1);
    const auto status =
        readPieces(*opened, linesAtEnd, [&](std::string_view lines) { return table.read(lines); });
    if (!status) {
        reportUnreadable(file);
        return nullptr;
    }
    return contained(table);
}

template <class T>
auto KRArrayTextInput<T>::readInListFromFile(
    const std::string& file, long skipLeadingLines, const Variable& inside) -> Pointer
{
    const auto whole = wholeText(file);
    if (!whole) {
        reportUnreadable(file);
        return nullptr;
    }
    std::string_view text = whole->text();
    const char* const end = text.data() + text.size();
    for (long line = 0; line < skipLeadingLines && !text.empty(); ++line) {
        const char* const lineEnd = std::find_if(text.data(), end, endsALine);
        text.remove_prefix(static_cast<std::size_t>(behindLineEnd(lineEnd, end) - text.data()));
    }
    const auto progress = progressFor(inside, TextMember<T>::listDescription);
    KRNumberBuffer<T> numbers(static_cast<long>(text.size()) / 8);
    if (!readList(text, numbers, *progress))
        return nullptr;
    return KRArrayContainer<T>::createArrayWithMutableObject(numbers.take());
}

template <class T>
auto KRArrayTextInput<T>::readFromFile(
    std::FILE* stream, long m, long n, long o, std::shared_ptr<KRProgressEntry> progress) -> Pointer
{
    const auto fails = [](const std::string& reason) {
        constexpr const char* kWords = "Could not read in the required number of values";
        KRMessageCenter::addMessage(
            fmt::format("{} ({}).", kWords, TextMember<T>::word), fmt::format("{}.\n{}", kWords, reason));
        return nullptr;
    };
    if (!stream)
        return fails("Could not read the file.");
    const auto array = KRArrayContainer<T>::createArrayOfSizeM(m, n, o);
    if (!array)
        return nullptr;
    if (progress)
        progress->updateDescription("Parsing an integer array");
    else
        progress = KRProgressEntry::createWithDescription(std::string("Parsing an integer array"));
    const SVCLocale locale;
    const long length = array->length();
    for (long i = 0; i < length; ++i) {
        const int found = std::fscanf(stream, TextMember<T>::format, array->mutablePointer() + i);
        if (found != 1 && std::ferror(stream))
            return fails("Could not read the file.");
        if (found == EOF)
            return fails(fmt::format("Hit end of file after {} of {} numbers.", i, length));
        if (found != 1)
            return fails(fmt::format("Could read in {} of {} numbers.", i, length));
        if (i % kNumbersBetweenReports == 0) {
            progress->updatePercentage(static_cast<float>(i) / static_cast<float>(length));
            if (progress->userHasAborted())
                return nullptr;
        }
    }
    return array;
}

template class KRArrayTextInput<double>;
template class KRArrayTextInput<float>;
template class KRArrayTextInput<std::int32_t>;
