#include "task/wrapper/UploadPreparation.h"

#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>

namespace {

namespace files = platform::files;

void writeScript(const std::string& path, const std::string& text)
{
    std::ignore = files::writeFile(path, text);
    std::ignore = files::setPermissions(path, files::kOwnersFolder);
}

} // namespace

ProjectToBuild::Opener& ProjectToBuild::opener()
{
    static Opener opener;
    return opener;
}

void UploadPreparation::run() const
{
    const std::string folder = wrapperName + "/Project";
    const std::string sources = folder + "/Sources";
    std::ignore = files::createDirectory(folder);
    std::ignore = files::createDirectory(sources);

    if (const auto project = ProjectToBuild::opener() ? ProjectToBuild::opener()(projectPath) : nullptr) {
        std::string programName = executable.value_or("");
        std::replace(programName.begin(), programName.end(), ' ', '_');
        const auto makeFiles = project->makefile(programName);
        for (const std::string& path : project->filesToCopy())
            std::ignore =
                files::copy(path, platform::paths::appending(sources, platform::paths::lastComponent(path)));
        for (const auto& [name, text] : makeFiles)
            std::ignore = files::writeFile(platform::paths::appending(sources, name), text);
    }

    writeScript(folder + "/compile",
        "#!/bin/sh\n\n"
        "pushd .\n"
        "cd Sources\n"
        "make -j 3\n"
        "popd\n");
    // The user has to provide runScript.
    writeScript(folder + "/submit",
        fmt::format("#!/bin/bash\n\n"
                    "for i in {{0..{}}}\n"
                    "do\n"
                    "   cp runScript ../$i/test\n"
                    "done\n",
            static_cast<long>(numberOfTasks) - 1));
}
