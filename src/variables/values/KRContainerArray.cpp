#include "variables/values/KRContainerArray.h"

#include "arrays/containers/KRArrayTextInput.h"
#include "diagnostics/KRMessageCenter.h"
#include "diagnostics/KRProgressEntry.h"
#include "storage/values/ElementConversion.h"
#include "text/fortran/KRUnformattedFortranStream.h"
#include "variables/values/ArrayShapes.h"
#include "variables/values/KRPlainValue.h"
#include "variables/values/StoredNumbers.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

using variables::ArrayPosition;

namespace {

constexpr double kMostBytesOfText = 500000000;
constexpr long kLongestShownVector = 4;
constexpr long kNumbersPerLook = 100000; // Between two looks at the user's abort.
constexpr const char* kArchiveWords[kElementTypeCount] = {
    "Double", "Float", "Int", "Short", "UShort", "Char", "UChar"};

const char* archiveWord(ElementType type)
{
    return kArchiveWords[static_cast<std::size_t>(type)];
}

KRAnyArray emptyNumbers()
{
    return KRAnyArray::make(ElementType::Double, 0, 0, 0);
}

KRAnyArray emptyBecause(const char* message)
{
    KRMessageCenter::addMessage(message);
    return emptyNumbers();
}

std::nullptr_t refused(const char* message)
{
    KRMessageCenter::addMessage(message);
    return nullptr;
}

KRContainer::Value readArray(KRDataStorage& storage, const std::string& name)
{
    const auto end = storage.resolveNameAllowingRedirection(name);
    const KRAnyArray array = end ? storage.readNativeArray(*end) : nullptr;
    return array ? variables::withParameters(KRContainerArray::initWithDataArray(array), storage, *end)
                 : nullptr;
}

// A record of the dimensions, as 32-bit integers, and one of doubles in column order.
KRContainer::Value readArrayRecords(KRUnformattedFortranStream& stream)
{
    auto sizes = stream.readIntArray();
    const auto numbers = stream.readDoubleArray();
    if (!sizes || !numbers)
        return nullptr;
    if (stream.shouldSkipData())
        return KRContainerArray::createEmpty();
    if (sizes->empty() || sizes->size() > 3 || std::ranges::any_of(*sizes, [](int size) { return size < 0; }))
        return nullptr;
    sizes->resize(3, 1);
    const double count = static_cast<double>((*sizes)[0]) * (*sizes)[1] * (*sizes)[2];
    if (count != static_cast<double>(numbers->size()))
        return nullptr;
    const auto array = KRDoubleArrayContainer::createArrayOfSizeM((*sizes)[0], (*sizes)[1], (*sizes)[2]);
    if (array)
        std::ranges::copy(*numbers, array->mutablePointer());
    return array ? KRContainerArray::initWithDataArray(array) : nullptr;
}

// The number at a position of an array of any type.
double numberAt(const KRAnyArray& array, long position)
{
    return withElementType(array.type(), [&]<class T>(std::type_identity<T>) {
        return static_cast<double>(array.as<T>()->constPointer()[position]);
    });
}

} // namespace

const ReadingOperation KRContainerArray::kReading{.type = "Array",
    .read = readArray,
    .descriptionFor = descriptionFor,
    .createEmpty = [] { return ReadingOperation::Value(createEmpty()); },
    .createFromUnformattedFortranStream = readArrayRecords};

KRContainerArray::Pointer KRContainerArray::initWithDataArray(const KRAnyArray& array)
{
    if (!array)
        return refused("Invalid type handed to ContainerArary");
    return std::make_shared<KRContainerArray>(Private(), array);
}

KRContainerArray::Pointer KRContainerArray::createEmpty()
{
    return std::make_shared<KRContainerArray>(Private(), emptyNumbers());
}

KRContainerArray::Pointer KRContainerArray::createFromTextFile(
    std::FILE* stream, const TextFileInformation& information)
{
    const auto array = arrayFromTextFile(stream, information, TextHead::Dimensions);
    return array ? initWithDataArray(array) : nullptr;
}

KRAnyArray KRContainerArray::arrayFromTextFile(
    std::FILE* stream, const TextFileInformation& information, TextHead head)
{
    long m = 0, n = 1, o = 1;
    const bool isList = head == TextHead::Length;
    if (!stream
        || (isList ? std::fscanf(stream, "%ld", &m) != 1
                   : std::fscanf(stream, "%ld %ld %ld", &m, &n, &o) != 3))
        return nullptr;
    if (isList && m == 0)
        return emptyNumbers();
    if (m < 1 || n < 1 || o < 1)
        return emptyBecause("Internal error when reading an array from a text file.");
    const double bytes = static_cast<double>(m) * static_cast<double>(n) * static_cast<double>(o) * 8;
    if (bytes > kMostBytesOfText)
        return emptyBecause("Parsing text file: Exceeded an upper bound for array size (500MB), make sure "
                            "format is correct.");
    return KRArrayTextInput<double>::readFromFile(stream, m, n, o, information.progress);
}

std::string KRContainerArray::descriptionFor(const std::string& name, KRDataStorage& inFile)
{
    const auto end = inFile.resolveNameAllowingRedirection(name);
    const auto size = end ? inFile.getSizeOfVariable(*end) : std::nullopt;
    if (!size || size->m == 0 || size->n == 0 || size->o == 0)
        return "Empty";
    return size->o == 1 ? fmt::format("{} x {}", size->m, size->n)
                        : fmt::format("{} x {} x {}", size->m, size->n, size->o);
}

std::string KRContainerArray::description() const
{
    if (isEmpty())
        return "Empty";
    if (array_.o() != 1)
        return fmt::format("{} x {} x {}", array_.m(), array_.n(), array_.o());
    std::string text = fmt::format("{} x {}", array_.m(), array_.n());
    if (array_.n() == 1 && length() <= kLongestShownVector)
        for (long i = 0; i < length(); ++i)
            text += fmt::format("{}{:g}", i == 0 ? " - " : ", ", numberAt(array_, i));
    return text;
}

bool KRContainerArray::isEqualTo(const KRSharedValue& other) const
{
    const auto* array = dynamic_cast<const KRContainerArray*>(&other);
    if (!array || array->typeWord() != typeWord()) {
        KRMessageCenter::addMessage(typeWord() == "Array"
                ? "Internal error, not comparing to array, please report"
                : "Internal error, not comparing to number list, please report");
        return false;
    }
    const KRAnyArray& others = array->array_;
    return array_.type() == others.type() && array_.m() == others.m() && array_.n() == others.n()
        && array_.o() == others.o()
        && (isEmpty() || std::memcmp(array_.elements(), others.elements(), memoryUsed()) == 0);
}

std::string KRContainerArray::checksum() const
{
    return fmt::format("{:016x}", array_.checksum());
}

KRContainer::Value KRContainerArray::returnParameter(const std::optional<std::string>& name) const
{
    const std::pair<const char*, long> sizes[] = {
        {"Length", length()}, {"M", array_.m()}, {"N", array_.n()}, {"O", array_.o()}};
    for (const auto& [known, size] : sizes)
        if (name == known)
            return KRRealNumber::create(static_cast<double>(size));
    return KRContainer::returnParameter(name);
}

bool KRContainerArray::saveIntoFile(KRDataStorage& file, const std::string& withName) const
{
    return KRContainer::saveIntoFile(file, withName) && file.writeArray(array_, withName);
}

platform::Value KRContainerArray::encodeWithCoder() const
{
    platform::Value archive = KRContainer::encodeWithCoder();
    auto& keys = archive.mutableDictionary();
    const char* const word = archiveWord(array_.type());
    keys["Type"] = word;
    withElementType(array_.type(),
        [&]<class T>(std::type_identity<T>) { keys[word] = array_.as<T>()->encodeWithCoder(); });
    return archive;
}

KRContainerArray::Pointer KRContainerArray::initWithCoder(const platform::Value& archive)
{
    const auto type = archive.textFor("Type");
    for (int number = 0; type && number < kElementTypeCount; ++number) {
        const platform::Value* const stored = archive.find(*type);
        if (*type != kArchiveWords[number] || !stored)
            continue;
        const KRAnyArray array = withElementType(
            static_cast<ElementType>(number), [stored]<class T>(std::type_identity<T>) -> KRAnyArray {
                return KRArrayContainer<T>::initWithCoder(*stored);
            });
        const Pointer made = array ? initWithDataArray(array) : nullptr;
        if (made)
            made->initWithSerialNumberCoder(archive);
        return made;
    }
    return nullptr;
}

template <class T>
KRDataStorage::ArrayPointer<T> KRContainerArray::converted() const
{
    if (auto same = array_.as<T>())
        return same;
    auto made = KRArrayContainer<T>::createArrayOfSizeM(array_.m(), array_.n(), array_.o());
    if (made && length() > 0)
        storage::convertElements(array_.type(), array_.elements(), static_cast<std::size_t>(length()),
            kElementTypeOf<T>, made->mutablePointer());
    return made;
}

template KRDataStorage::ArrayPointer<double> KRContainerArray::converted() const;
template KRDataStorage::ArrayPointer<float> KRContainerArray::converted() const;
template KRDataStorage::ArrayPointer<std::int32_t> KRContainerArray::converted() const;

KRDataStorage::ArrayPointer<std::int16_t> KRContainerArray::shortArray() const
{
    auto same = array_.as<std::int16_t>();
    return same
        ? same
        : refused("Asking an array container for a integer array, but this arrays has a different type");
}

KRDataStorage::ArrayPointer<signed char> KRContainerArray::characterArray() const
{
    auto same = array_.as<signed char>();
    return same
        ? same
        : refused("Asking an array container for a character array, but this arrays has a different type");
}

KRDataStorage::ArrayPointer<std::uint16_t> KRContainerArray::ushortArray() const
{
    auto same = array_.as<std::uint16_t>();
    return same ? same
                : refused("Asking an array container for an unsigned short array, but this arrays has a "
                          "different type");
}

KRDataStorage::ArrayPointer<unsigned char> KRContainerArray::ucharArray() const
{
    auto same = array_.as<unsigned char>();
    return same ? same
                : refused("Asking an array container for an unsigned character array, but this arrays has a "
                          "different type");
}

bool KRContainerArray::appendAsText(std::FILE* stream, const std::shared_ptr<KRProgressEntry>& progress) const
{
    std::string text = fmt::format("{} {} {}\n", array_.m(), array_.n(), array_.o());
    for (long i = 0; i < length(); ++i) {
        if (i % kNumbersPerLook == 0 && i > 0) {
            if (progress && progress->userHasAborted())
                return false;
            if (progress)
                progress->updatePercentage(static_cast<float>(i) / static_cast<float>(length()));
            if (!variables::writeText(stream, std::exchange(text, {})))
                return false;
        }
        fmt::format_to(std::back_inserter(text), "{:.16g}\n", numberAt(array_, i));
    }
    return variables::writeText(stream, text);
}

bool KRContainerArray::saveAsAsciiFile(const std::string& path) const
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(path.c_str(), "w"), std::fclose);
    for (long k = 0; stream && k < array_.o(); ++k)
        for (long i = 0; i < array_.m(); ++i) {
            std::string line;
            for (long j = 0; j < array_.n(); ++j)
                fmt::format_to(std::back_inserter(line), "{:.16g} ",
                    numberAt(array_, i + array_.m() * (j + array_.n() * k)));
            if (!variables::writeText(stream.get(), line + "\n"))
                return false;
        }
    return stream && std::fflush(stream.get()) == 0;
}

KRContainerArray::Pointer KRContainerArray::regionI(std::pair<long, long> i, std::pair<long, long> j) const
{
    return regionI(i, j, {0, 1});
}

KRContainerArray::Pointer KRContainerArray::regionI(
    std::pair<long, long> i, std::pair<long, long> j, std::pair<long, long> k) const
{
    const auto fits = [](const std::pair<long, long>& part, long size) {
        return part.first >= 0 && part.second >= 0 && part.first <= size && part.second <= size - part.first;
    };
    if (!fits(i, array_.m()) || !fits(j, array_.n()) || !fits(k, array_.o()))
        return refused("Out of bounds");
    return initWithDataArray(variables::rearranged(
        array_, {i.second, j.second, k.second}, [=](const ArrayPosition& p) -> ArrayPosition {
            return {p[0] + i.first, p[1] + j.first, p[2] + k.first};
        }));
}

KRContainerArray::Pointer KRContainerArray::sparsifyStartX(
    long startX, long strideX, long startY, long strideY) const
{
    if (startX < 0 || startY < 0 || strideX < 1 || strideY < 1)
        return refused("Out of bounds");
    const auto left = [](long size, long start, long stride) {
        return start >= size ? 0 : (size - start - 1) / stride + 1;
    };
    return initWithDataArray(variables::rearranged(array_,
        {left(array_.m(), startX, strideX), left(array_.n(), startY, strideY), array_.o()},
        [=](const ArrayPosition& p) -> ArrayPosition {
            return {startX + p[0] * strideX, startY + p[1] * strideY, p[2]};
        }));
}

KRContainerArray::Pointer KRContainerArray::transformWithType(int type) const
{
    if (type < 0 || type > 7)
        return refused("Not implemented for this type");
    const long m = array_.m(), n = array_.n();
    const bool exchanges = (type & 4) != 0;
    return initWithDataArray(variables::rearranged(array_, {exchanges ? n : m, exchanges ? m : n, array_.o()},
        [=](const ArrayPosition& p) -> ArrayPosition {
            const long i = exchanges ? p[1] : p[0], j = exchanges ? p[0] : p[1];
            return {(type & 1) != 0 ? m - 1 - i : i, (type & 2) != 0 ? n - 1 - j : j, p[2]};
        }));
}

KRContainerArray::Pointer KRContainerArray::permuteReflectJKI() const
{
    return initWithDataArray(
        variables::rearranged(array_, {array_.n(), array_.o(), array_.m()}, [o = array_.o()](const auto& p) {
            return ArrayPosition{p[2], p[0], o - 1 - p[1]};
        }));
}

KRContainerArray::Pointer KRContainerArray::permuteIKJ() const
{
    return initWithDataArray(
        variables::rearranged(array_, {array_.m(), array_.o(), array_.n()}, [](const auto& p) {
            return ArrayPosition{p[0], p[2], p[1]};
        }));
}

KRContainerArray::Pointer KRContainerArray::sliceAtIGrid(long i) const
{
    if (i < 0 || i >= array_.m())
        return refused("Out of bounds");
    return initWithDataArray(variables::rearranged(array_, {array_.n(), array_.o(), 1}, [i](const auto& p) {
        return ArrayPosition{i, p[0], p[1]};
    }));
}

KRContainerArray::Pointer KRContainerArray::sliceAtJGrid(long j) const
{
    if (j < 0 || j >= array_.n())
        return refused("Out of bounds");
    return initWithDataArray(variables::rearranged(array_, {array_.m(), array_.o(), 1}, [j](const auto& p) {
        return ArrayPosition{p[0], j, p[1]};
    }));
}

KRContainerArray::Pointer KRContainerArray::sliceAtKGrid(long k) const
{
    if (k < 0 || k >= array_.o())
        return refused("Out of bounds");
    return initWithDataArray(variables::rearranged(array_, {array_.m(), array_.n(), 1}, [k](const auto& p) {
        return ArrayPosition{p[0], p[1], k};
    }));
}
