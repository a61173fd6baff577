#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// A development project as far as building it on another machine needs it.
class ProjectToBuild {
public:
    virtual ~ProjectToBuild() = default;
    virtual std::vector<std::string> filesToCopy() = 0;
    // From file name to text.
    virtual std::map<std::string, std::string> makefile(const std::string& programName) = 0;

    // Opens a project by its path. Set at start-up.
    using Opener = std::function<std::unique_ptr<ProjectToBuild>(const std::string& path)>;
    static Opener& opener();
};

// Makes "Project" in a wrapper, with the sources of its project, make files and the scripts that compile and
// submit on another machine. Whatever can't be made is left out in silence.
struct UploadPreparation {
    std::string wrapperName;
    std::string projectPath;
    std::optional<std::string> executable;
    std::size_t numberOfTasks = 0;

    void run() const;
};
