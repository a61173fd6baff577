#include "datafile/SVMatlabDataFile.h"

#include "fuzz_files.h"

// An index file of any bytes beside a good Level 4 MAT-file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string path = fuzz::pathOf("data.mat");
    static const bool written = [&path] {
        SVMatlabDataFile file(path, SVFile::NewReadWrite);
        SVMutableDoubleArray cube(2, 3, 4);
        cube = 1;
        file.Save(cube, "x");
        file.Save("text", "t");
        return true;
    }();
    fuzz::store(fuzz::pathOf("data.index"), data, size);
    const SVMatlabDataFile file(path, SVFile::ReadOnly);
    if (written)
        fuzz::readAll(file);
    return 0;
}
