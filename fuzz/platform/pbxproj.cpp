// Project files, down to the make files that are written from them.

#include "platform/files/FileManager.h"
#include "platform/loop/MainLoop.h"
#include "remote/project/XCodeProject.h"
#include "remote/project/XCodeTextScanners.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <tuple>
#include <unistd.h>

namespace {

// A bundle in memory, if the machine has such a place.
std::string makeBundle()
{
    std::string folder = "/dev/shm/trelkind-fuzz-XXXXXX";
    if (!mkdtemp(folder.data())) {
        folder = "/tmp/trelkind-fuzz-XXXXXX";
        if (!mkdtemp(folder.data()))
            std::abort();
    }
    return folder;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    static const std::string bundle = makeBundle();
    static const int cleaning = std::atexit([] { std::ignore = platform::files::remove(bundle); });
    static_cast<void>(cleaning);

    const std::string text(reinterpret_cast<const char*>(bytes), size);
    std::ignore = platform::files::writeFile(bundle + "/project.pbxproj", text);
    const auto project = XCodeProject::createWithFile(bundle);
    project->filesToCopy();
    if (project->makefile(project->programName().value_or("program")).size() != 2)
        std::abort();
    XCodeFileGroup::fromFileDescription(text);
    XCodeFileEntry::fromFileRefrence(text);
    platform::MainLoop::main().runPending(); // Where the messages go.
    return 0;
}
