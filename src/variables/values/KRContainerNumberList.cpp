#include "variables/values/KRContainerNumberList.h"

#include "diagnostics/KRMessageCenter.h"
#include "storage/values/ElementConversion.h"
#include "variables/values/FortranValues.h"
#include "variables/values/KRPlainValue.h"
#include "variables/values/StoredNumbers.h"

#include <fmt/format.h>

#include <cmath>

namespace {

constexpr long kLongestShownList = 4;

KRContainer::Value readNumberList(KRDataStorage& storage, const std::string& name)
{
    const auto end = storage.resolveNameAllowingRedirection(name);
    const KRAnyArray array = end ? storage.readNativeArray(*end) : nullptr;
    return array ? variables::withParameters(KRContainerNumberList::createWithArray(array), storage, *end)
                 : nullptr;
}

std::string lines(const KRContainerNumberList& list)
{
    std::string text;
    const auto numbers = list.doubleArray();
    for (long i = 0; numbers && i < numbers->length(); ++i)
        fmt::format_to(std::back_inserter(text), "{:.16g}\n", numbers->constPointer()[i]);
    return text;
}

} // namespace

const ReadingOperation KRContainerNumberList::kReading{.type = "NumberList",
    .read = readNumberList,
    .descriptionFor = descriptionFor,
    .createEmpty = [] { return ReadingOperation::Value(createEmpty()); },
    .createFromUnformattedFortranStream = variables::fromRecord<kReading>};

KRContainerNumberList::Pointer KRContainerNumberList::createWithNumber(double number)
{
    return createWithArray(variables::arrayOf({number}));
}

KRContainerNumberList::Pointer KRContainerNumberList::createWithArray(const KRAnyArray& array)
{
    if (!array) {
        KRMessageCenter::addMessage("Invalid type handed to ContainerArary");
        return nullptr;
    }
    return std::make_shared<KRContainerNumberList>(Private(), array);
}

KRContainerNumberList::Pointer KRContainerNumberList::createEmpty()
{
    return createWithArray(variables::arrayOf<double>({}));
}

KRContainerNumberList::Pointer KRContainerNumberList::createFromTextFile(
    std::FILE* stream, const TextFileInformation& information)
{
    const auto array = arrayFromTextFile(stream, information, TextHead::Length);
    return array ? createWithArray(array) : nullptr;
}

KRContainerNumberList::Pointer KRContainerNumberList::initWithCoder(const platform::Value& archive)
{
    const auto array = KRContainerArray::initWithCoder(archive);
    auto list = array ? createWithArray(array->numbersArray()) : nullptr;
    if (list)
        list->initWithSerialNumberCoder(archive);
    return list;
}

std::string KRContainerNumberList::descriptionFor(const std::string& name, KRDataStorage& inFile)
{
    const auto end = inFile.resolveNameAllowingRedirection(name);
    const auto size = end ? inFile.getSizeOfVariable(*end) : std::nullopt;
    const std::uint64_t plane = size ? std::uint64_t{size->m} * size->n : 0;
    if (plane == 0 || size->o == 0)
        return "Empty";
    return fmt::format("{:.0f} numbers", static_cast<double>(plane) * size->o);
}

KRAnyArray KRContainerNumberList::asArray() const
{
    KRAnyArray vector = KRAnyArray::make(savingType(), length(), length() > 0 ? 1 : 0, 1);
    const auto numbers = numbersArray();
    if (vector && length() > 0)
        storage::convertElements(numbers.type(), numbers.elements(), static_cast<std::size_t>(length()),
            savingType(), vector.mutableElements());
    return vector;
}

double KRContainerNumberList::numberAtIndex(long index) const
{
    const auto numbers = numbersArray();
    if (index < 0 || index >= length()) {
        KRMessageCenter::addMessage("Out of bounds");
        return NAN;
    }
    return withElementType(numbers.type(), [&]<class T>(std::type_identity<T>) {
        return static_cast<double>(numbers.as<T>()->constPointer()[index]);
    });
}

KRBoundingRange KRContainerNumberList::valueRange() const
{
    const auto numbers = doubleArray();
    KRBoundingRange range = KRBoundingRangeCreateEmpty();
    for (long i = 0; numbers && i < numbers->length(); ++i) {
        const double number = numbers->constPointer()[i];
        if (std::isnan(number))
            continue;
        if (range.isEmpty)
            range = {number, number, false, true};
        range.minV = std::min(range.minV, number);
        range.maxV = std::max(range.maxV, number);
    }
    return range;
}

std::string KRContainerNumberList::description() const
{
    const long count = length();
    if (count == 0)
        return "No Numbers";
    const auto number = [this](long i) { return fmt::format("{:g}", numberAtIndex(i)); };
    if (count > kLongestShownList)
        return fmt::format("(# = {}): {}, {}, ..., {}, {}", count, number(0), number(1), number(count - 2),
            number(count - 1));
    std::string text = number(0);
    for (long i = 1; i < count; ++i)
        text = fmt::format("{}, {}", text, number(i));
    return text;
}

KRContainer::Value KRContainerNumberList::returnParameter(const std::optional<std::string>& name) const
{
    if (name == "Length")
        return KRRealNumber::create(static_cast<double>(length()));
    return KRContainer::returnParameter(name);
}

bool KRContainerNumberList::saveIntoFile(KRDataStorage& file, const std::string& withName) const
{
    return KRContainer::saveIntoFile(file, withName)
        && file.writeArray(savingType() == numbersArray().type() ? numbersArray() : asArray(), withName);
}

bool KRContainerNumberList::appendAsText(std::FILE* stream) const
{
    return variables::writeText(stream, fmt::format("{}\n", length()) + lines(*this));
}

bool KRContainerNumberList::saveAsAsciiFile(const std::string& path) const
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(path.c_str(), "w"), std::fclose);
    return variables::writeText(stream.get(), lines(*this)) && std::fflush(stream.get()) == 0;
}
