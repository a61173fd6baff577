#include "datafile/SVMatlabDataFile.h"

#include "fuzz_files.h"

// A Level 4 MAT-file of any bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string path = fuzz::pathOf("data.mat");
    fuzz::store(path, data, size);
    SVMatlabDataFile file(path, SVFile::ExistingReadWrite);
    fuzz::readAll(file);
    file.Listing();
    file.Save("text", "appended");
    file = SVMatlabDataFile(path, SVFile::ReadOnly);
    fuzz::readAll(file);
    return 0;
}
