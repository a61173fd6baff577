#include "datafile/SVDataFile.h"

#include "fuzz_files.h"

// A native data file of any bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string path = fuzz::pathOf("data.svbin");
    fuzz::store(path, data, size);
    SVDataFile file(path, SVFile::ExistingReadWrite);
    fuzz::readAll(file);
    file.Listing();
    // Appends to the file and reads it again.
    file.Save(1.0, "appended");
    file.SaveIndex();
    file = SVDataFile(path, SVFile::ReadOnly);
    fuzz::readAll(file);
    return 0;
}
