#include "text/fortran/KRUnformattedFortranFile.h"

#include "diagnostics/KRProgressEntry.h"
#include "text/files/LineText.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

// The numbers of a record in this machine's byte order.
template <class T>
std::vector<T> numbersOf(std::string& bytes, bool bigEndian)
{
    constexpr bool kIsBig = std::endian::native == std::endian::big;
    if (bigEndian != kIsBig)
        for (std::size_t at = 0; at < bytes.size(); at += sizeof(T))
            std::reverse(bytes.data() + at, bytes.data() + at + sizeof(T));
    std::vector<T> numbers(bytes.size() / sizeof(T));
    if (!numbers.empty())
        std::memcpy(numbers.data(), bytes.data(), bytes.size());
    return numbers;
}

} // namespace

platform::Result<std::unique_ptr<KRUnformattedFortranFile>> KRUnformattedFortranFile::open(
    const std::string& path, std::shared_ptr<KRProgressEntry> progress)
{
    auto records = FortranRecordFile::open(path);
    if (!records)
        return records.error();
    return std::unique_ptr<KRUnformattedFortranFile>(
        new KRUnformattedFortranFile(std::move(*records), std::move(progress)));
}

std::optional<std::string> KRUnformattedFortranFile::readString()
{
    auto text = nextRecord();
    if (!text)
        return std::nullopt;
    // Some compilers pad with zero bytes.
    constexpr std::string_view kPadding(" \0", 2);
    text->resize(text->find_last_not_of(kPadding) + 1);
    return decodedLine(std::move(*text));
}

std::optional<double> KRUnformattedFortranFile::readNumber()
{
    auto bytes = nextRecord();
    if (!bytes)
        return std::nullopt;
    if (bytes->size() == sizeof(double))
        return numbersOf<double>(*bytes, isBigEndian()).front();
    if (bytes->size() == sizeof(float))
        return numbersOf<float>(*bytes, isBigEndian()).front();
    errorMessage("Could not read in a number.",
        fmt::format(
            "A record of {} bytes stands where one real number of 8 or 4 bytes is expected.", bytes->size()));
    return std::nullopt;
}

std::optional<std::vector<double>> KRUnformattedFortranFile::readDoubleArray()
{
    return numbers<double>("double precision numbers");
}

std::optional<std::vector<float>> KRUnformattedFortranFile::readFloatArray()
{
    return numbers<float>("single precision numbers");
}

std::optional<std::vector<std::int32_t>> KRUnformattedFortranFile::readIntArray()
{
    return numbers<std::int32_t>("integers");
}

std::optional<std::string> KRUnformattedFortranFile::readBytes()
{
    return nextOrSkipped();
}

bool KRUnformattedFortranFile::atEndOfFile()
{
    if (isAtEnd_ || error())
        return isAtEnd_;
    const auto size = records_.size();
    return !size || records_.position() >= *size;
}

template <class T>
std::optional<std::vector<T>> KRUnformattedFortranFile::numbers(const char* kind)
{
    auto bytes = nextOrSkipped();
    if (!bytes)
        return std::nullopt;
    if (bytes->size() % sizeof(T) == 0)
        return numbersOf<T>(*bytes, isBigEndian());
    errorMessage("Could not read in an array.",
        fmt::format("A record of {} bytes stands where {} of {} bytes are expected.", bytes->size(), kind,
            sizeof(T)));
    return std::nullopt;
}

std::optional<std::string> KRUnformattedFortranFile::nextRecord()
{
    if (error())
        return std::nullopt;
    auto record = records_.next();
    if (!record) {
        errorMessage("Could not read in a record.", record.error().text);
        return std::nullopt;
    }
    isAtEnd_ = !*record;
    tellProgress();
    return std::move(*record);
}

std::optional<std::string> KRUnformattedFortranFile::nextOrSkipped()
{
    if (!shouldSkipData() || error())
        return nextRecord();
    const auto record = records_.skip();
    if (!record) {
        errorMessage("Could not read in a record.", record.error().text);
        return std::nullopt;
    }
    isAtEnd_ = !*record;
    tellProgress();
    return *record ? std::optional(std::string()) : std::nullopt;
}

void KRUnformattedFortranFile::tellProgress()
{
    const auto size = records_.size();
    if (progress_ && size && *size > 0)
        progress_->updatePercentage(static_cast<float>(records_.position()) / static_cast<float>(*size));
}
