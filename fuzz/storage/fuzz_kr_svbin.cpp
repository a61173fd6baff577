#include "fuzz_storage.h"
#include "storage/formats/KRDataFileBinary.h"

// A native file of any bytes, as the application reads and writes it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string path = fuzz::pathOf("data.svbin");
    fuzz::store(path, data, size);
    fuzz::tryFile<KRDataFileBinary>(path);
    return 0;
}
