#include "datafile/SVDataFile.h"

#include "fuzz_files.h"

// An index file of any bytes beside a good native data file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string path = fuzz::pathOf("data.svbin");
    static const bool written = [&path] {
        SVDataFile file(path, SVFile::NewReadWrite);
        file.Save(SVMutableDoubleArray(3, 4), "x");
        file.Save("text", "t");
        file.Save(7, "n");
        return true;
    }();
    fuzz::store(fuzz::pathOf("data.index"), data, size);
    const SVDataFile file(path, SVFile::ReadOnly);
    if (written)
        fuzz::readAll(file);
    return 0;
}
