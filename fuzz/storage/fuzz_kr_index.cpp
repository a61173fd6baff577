#include "fuzz_storage.h"
#include "storage/formats/KRDataFileAscii.h"
#include "storage/formats/KRDataFileBinary.h"
#include "storage/formats/KRDataFileMatBinary.h"

// An index of any bytes beside a good data file. The first byte chooses the format.

namespace {

template <class File>
void makeOnce(const std::string& path)
{
    static const bool made = [&path] {
        std::filesystem::remove(path);
        const auto file = File::createWithName(path);
        const auto numbers = KRDoubleArrayContainer::createArrayOfSizeM(3, 4);
        numbers->setAllValues(1);
        return file->writeDoubleArray(numbers, "x") && file->writeString("text", "t")
            && file->writeNumber(StorageNumber(7), "n");
    }();
    if (!made)
        __builtin_trap();
}

template <class File>
void tryIndex(const std::string& path, const std::uint8_t* data, std::size_t size)
{
    makeOnce<File>(path);
    fuzz::store(KRDataFile::nameOfIndexFor(path), data, size);
    const auto file = File::createWithName(path, false);
    file->openFileWithProgress();
    fuzz::readAllOf(*file);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const fuzz::QuietMessages quiet;
    if (data[0] % 3 == 0) {
        tryIndex<KRDataFileBinary>(fuzz::pathOf("indexed.svbin"), data + 1, size - 1);
    } else if (data[0] % 3 == 1) {
        tryIndex<KRDataFileMatBinary>(fuzz::pathOf("indexed.mat"), data + 1, size - 1);
    } else {
        const std::string path = fuzz::pathOf("indexed.ascii");
        makeOnce<KRDataFileAscii>(path);
        fuzz::store(fuzz::pathOf("list"), data + 1, size - 1);
        const auto file = KRDataFileAscii::createWithName(path, false);
        file->openFileWithProgress();
        file->readInContentFromIndex(fuzz::pathOf("list"));
        fuzz::readAllOf(*file);
    }
    return 0;
}
