#include "../storage/fuzz_storage.h"
#include "storage/formats/KRDataFileAscii.h"
#include "variables/composites/KRContainerGroup.h"
#include "variables/composites/KRContainerSeries.h"
#include "variables/composites/ValueTypes.h"
#include "variables/values/KRContainer.h"

// The readers of all types of values, on each name of a native file of any bytes; and what can be asked of a
// value that was read.

namespace {

constexpr int kDeepest = 4;
constexpr long kMostSteps = 8;

void lookInto(const ReadingOperation::Value& value, int depth)
{
    const auto* const container = dynamic_cast<const KRContainer*>(value.get());
    if (!container || depth > kDeepest)
        return;
    container->variableDescription();
    container->memoryUsed();
    if (const auto* const group = dynamic_cast<const KRContainerGroup*>(container))
        for (const std::string& name : group->groupStructure()->groupNames()) {
            group->descriptionForEntry(name);
            lookInto(group->valueForEntry(name), depth + 1);
        }
    if (const auto* const series = dynamic_cast<const KRContainerSeries*>(container))
        for (long step = 0; step < std::min(series->howManyTimes(), kMostSteps); ++step) {
            series->descriptionForTimeValue(step);
            lookInto(series->valueForStep(step), depth + 1);
        }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool isFilled = (variables::addValueTypes(), true);
    std::ignore = isFilled;
    const fuzz::QuietMessages quiet;
    const std::string path = fuzz::pathOf("values.svbin");
    fuzz::store(path, data, size);
    const auto file = KRDataFile::openFileName(path);
    if (!file)
        return 0;
    for (const std::string& name : file->variablesNames())
        for (const std::string_view type : ReadingOperations::types()) {
            lookInto(ReadingOperations::read(type, *file, name), 0);
            if (const auto* const operation = ReadingOperations::forType(type); operation->descriptionFor)
                operation->descriptionFor(name, *file);
        }
    return 0;
}
