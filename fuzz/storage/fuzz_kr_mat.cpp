#include "fuzz_storage.h"
#include "storage/formats/KRDataFileMatBinary.h"

// A Level 4 file of any bytes, as the application reads and writes it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string path = fuzz::pathOf("data.mat");
    fuzz::store(path, data, size);
    fuzz::tryFile<KRDataFileMatBinary>(path);
    return 0;
}
