#include "../storage/fuzz_storage.h"
#include "platform/loop/MainLoop.h"
#include "storage/formats/KRDataFileAscii.h"
#include "variables/files/KRDataFile_StorageNative.h"
#include "variables/scan/ExtraParameters.h"
#include "variables/scan/KRVariableInformation.h"

#include <filesystem>

// The scan of a file of any bytes. The first byte chooses among the three formats and a stack with one native
// member.

namespace {

// What is shown of a variable. A few entries far apart may claim more values than there are, up to a limit.
void showAll(KRDataFile& file, const KRVariableInformation& information)
{
    const auto entries = static_cast<std::int64_t>(file.variablesNames().size());
    for (const auto& record : information.records()) {
        KRVariableInformation::informationText(record, file);
        if (record.structure())
            record.structure()->description();
        extraParametersOf(record.name(), file);
        const std::int64_t count = record.times().count();
        if (count > std::max<std::int64_t>(entries, 131072))
            __builtin_trap();
        if (record.times().asArray()->length() != count)
            __builtin_trap();
        if (information.informationFor(record.name())->type() != record.type())
            __builtin_trap();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const fuzz::QuietMessages quiet;
    static const char* const kNames[] = {"scan.svbin", "scan.mat", "scan.ascii", "scan.svdata"};
    const unsigned choice = data[0] % 4U;
    const std::string path = fuzz::pathOf(kNames[choice]);
    if (choice == 3)
        std::filesystem::create_directory(path);
    fuzz::store(choice == 3 ? path + "/member.svbin" : path, data + 1, size - 1);
    const auto file = KRDataFile::openFileName(path);
    const auto information = KRVariableInformation::computeInformationFromFile(file);
    platform::MainLoop::main().runPending(); // Progress that has ended is put away there.
    if (!information)
        return 0;
    showAll(*file, *information);
    KRDataFile_StorageNative::createWithFile(file, information)->variablesWithType("Path2D");
    if (file->updateFile() > 0)
        __builtin_trap();
    return 0;
}
