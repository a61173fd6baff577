#include "arrays/containers/KRArrayTextInput.h"

#include "arrays/containers/KRArrayContainerInternal.h"
#include "arrays/containers/KRNumberBuffer.h"
#include "arrays/containers/KRNumberText.h"
#include "arrays/containers/KRTableText.h"
#include "datafile/SVCLocale.h"
#include "diagnostics/KRMessageCenter.h"
#include "platform/files/File.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <limits>
#include <new>
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

// A pipe would wait for its writer, and a device may have no end.
platform::Result<platform::File> openRegularFile(const std::string& file)
{
    std::error_code failure;
    if (!std::filesystem::is_regular_file(file, failure))
        return platform::Error{file + " isn't a file"};
    return platform::File::open(file, platform::File::Mode::Read);
}

bool enlarge(std::vector<char>& block)
{
    try {
        block.resize(2 * block.size());
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

// Gives the file in pieces of whole lines, without its last lines, until `take` answers false. A piece stays
// in the cache while it is read, which is faster than the whole file in memory.
template <class Take>
platform::Status readPieces(platform::File& file, long size, long linesAtEnd, Take take)
{
    constexpr long kLeast = 4096, kMost = 1L << 19;
    std::vector<char> block(static_cast<std::size_t>(std::clamp(size, kLeast, kMost)));
    std::size_t waiting = 0; // At the start of the block.
    while (true) {
        // At least as much as is waiting, so that the search in a very long line is repeated a few times
        // only.
        if (waiting > block.size() / 2 && !enlarge(block))
            return platform::Error{"a line is longer than the memory"};
        const auto count =
            file.read({reinterpret_cast<std::uint8_t*>(block.data()) + waiting, block.size() - waiting});
        if (!count)
            return count.error();
        waiting += *count;
        const std::string_view text(block.data(), waiting);
        // The last line may go on in the next piece.
        const char* const kept = startOfLastLines(text, *count == 0 ? linesAtEnd : linesAtEnd + 1);
        const auto whole = static_cast<std::size_t>(kept - text.data());
        if (!take(text.substr(0, whole)) || *count == 0)
            return {};
        waiting -= whole;
        std::memmove(block.data(), kept, waiting);
    }
}

// A list of numbers, given in pieces of whole lines.
template <class T>
class ListText {
public:
    ListText(long skipLines, long size, Progress progress)
        : linesToSkip_(skipLines), size_(size), progress_(std::move(progress)), numbers_(size / 8)
    { }

    bool wasAborted() const { return wasAborted_; }
    KRMutableArray<T> list() { return numbers_.take(); }

    // False if the list has ended.
    bool read(std::string_view lines)
    {
        const char* place = lines.data();
        const char* const end = place + lines.size();
        for (; linesToSkip_ > 0 && place != end; --linesToSkip_)
            place = behindLineEnd(std::find_if(place, end, endsALine), end);
        const auto isSeparator = [](char c) { return KRIsBlank(c) || c == ',' || c == ';'; };
        while (true) {
            place = std::find_if_not(place, end, isSeparator);
            if (place == end)
                break;
            const auto number = KRReadNumber<T>(place, end);
            if (!number || !numbers_.add(number.value)) {
                KRMessageCenter::addMessage(number ? "Out of memory." : "Illegal characters found in text.");
                return false;
            }
            place = number.end;
        }
        done_ += static_cast<long>(lines.size());
        progress_->updatePercentage(static_cast<float>(done_) / static_cast<float>(std::max(size_, 1L)));
        wasAborted_ = progress_->userHasAborted();
        return !wasAborted_;
    }

private:
    long linesToSkip_;
    long size_; // Of the file.
    Progress progress_;
    KRNumberBuffer<T> numbers_;
    long done_ = 0;
    bool wasAborted_ = false;
};

// Reads a file by a KRTableText or a ListText, which make(size) gives for the size of the file.
template <class Make>
auto readText(const std::string& path, long linesAtEnd, Make make) -> decltype(make(0L))
{
    auto file = openRegularFile(path);
    if (file) {
        const auto size = static_cast<long>(file->size().value_or(0));
        auto text = make(size);
        // One less than the largest number: one line more is kept while pieces come.
        const long kept = std::clamp(linesAtEnd, 0L, std::numeric_limits<long>::max() - 1);
        if (readPieces(*file, size, kept, [&](std::string_view lines) { return text->read(lines); }))
            return text;
    }
    KRMessageCenter::addMessage("Internal: Could not read the content of a file.",
        fmt::format("Could not read the content of the file \"{}\". Was asked to read in an array, but "
                    "nothing will be "
                    "returned.",
            path));
    return nullptr;
}

template <class T>
std::shared_ptr<KRArrayContainer<T>> readTable(const std::string& file, long skipLines, long skipLinesAtEnd,
    typename KRTableText<T>::LongLine longLine, const Variable& inside)
{
    const auto table = readText(file, skipLinesAtEnd, [&](long size) {
        auto text = std::make_unique<KRTableText<T>>(file, skipLines, longLine, size / 8);
        const std::string name = std::filesystem::path(file).filename().string();
        text->reportTo(progressFor(inside, name + ": Parsing file."), size);
        return text;
    });
    if (!table || table->wasAborted())
        return nullptr;
    const auto array = table->table();
    if (array.IsEmpty() && table->rows() > 0) {
        reportFailedAllocation<T>(table->rows(), table->columns(), 1);
        return nullptr;
    }
    return KRArrayContainer<T>::createArrayWithMutableObject(array);
}

} // namespace

template <class T>
auto KRArrayTextInput<T>::readInContentFromFile(
    const std::string& file, long skipLines, const Variable& inside) -> Pointer
{
    return readTable<T>(file, skipLines, 0, KRTableText<T>::LongLine::IsCut, inside);
}

template <class T>
auto KRArrayTextInput<T>::readInContentFromFileNew(
    const std::string& file, long skipLines, long skipLinesAtEnd, const Variable& inside) -> Pointer
{
    return readTable<T>(file, skipLines, skipLinesAtEnd, KRTableText<T>::LongLine::EndsTheTable, inside);
}

template <class T>
auto KRArrayTextInput<T>::readInListFromFile(
    const std::string& file, long skipLeadingLines, const Variable& inside) -> Pointer
{
    const auto list = readText(file, 0, [&](long size) {
        return std::make_unique<ListText<T>>(
            skipLeadingLines, size, progressFor(inside, TextMember<T>::listDescription));
    });
    if (!list || list->wasAborted())
        return nullptr;
    return KRArrayContainer<T>::createArrayWithMutableObject(list->list());
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
