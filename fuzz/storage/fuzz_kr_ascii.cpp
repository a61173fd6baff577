#include "fuzz_storage.h"
#include "storage/formats/KRDataFileAscii.h"

// An ascii file of any bytes, as the application reads and writes it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string path = fuzz::pathOf("data.ascii");
    fuzz::store(path, data, size);
    fuzz::tryFile<KRDataFileAscii>(path);
    return 0;
}
