#include "fuzz_storage.h"
#include "platform/plist/PropertyList.h"

// The structure of an open file as another process sends it, and trees of values read back from storage.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzz::QuietMessages quiet;
    auto structure =
        platform::propertylist::parse(std::string_view(reinterpret_cast<const char*>(data), size));
    if (!structure || !structure->dictionary())
        return 0;
    // No file but that of the target is opened.
    const std::string path = fuzz::pathOf("structure.bytes");
    fuzz::store(path, data, size);
    structure->mutableDictionary()["File"] = path;
    if (structure->textFor("Type") == "DataFileStack")
        structure->mutableDictionary().erase("Content");
    if (const auto file = KRDataFile::createFromStructure(*structure)) {
        fuzz::readAllOf(*file);
        file->structure();
        file->description();
        file->readObject("a");
    }
    if (const auto file = KRDataFile::openNewFileWithName(fuzz::pathOf("tree.svbin")))
        file->writeObject(*structure, "tree");
    return 0;
}
