// "Remote Machine.plist" as somebody may have edited it: what passes the check goes unquoted into scripts.

#include "platform/TemporaryFolder.h"
#include "platform/files/FileManager.h"
#include "remote/cluster/BatchFile.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const TemporaryFolder folder;
    const std::string path = folder / "Remote Machine.plist";
    if (!platform::files::writeFile(path, std::string_view(reinterpret_cast<const char*>(data), size)).ok())
        std::abort();
    BatchFile file(folder.path());
    file.load();
    if (!file.check().ok())
        return 0;
    constexpr const char* kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-/";
    const auto isSafe = [&](const char* key) {
        const auto text = file.text(key);
        return !text
            || (!text->empty() && text->find_first_not_of(kPlain) == text->npos && text->front() != '-');
    };
    const auto uuid = file.text(BatchFile::kUuid);
    if (!isSafe(BatchFile::kUuid) || !isSafe(BatchFile::kWorkFolder)
        || (uuid && uuid->find('/') != uuid->npos))
        std::abort();
    return 0;
}
