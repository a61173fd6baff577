#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// A development project, as needed to build it on another machine.
class ProjectToBuild {
public:
    virtual ~ProjectToBuild() = default;
    virtual std::vector<std::string> filesToCopy() = 0;
    // Returns a dictionary from file name to file text.
    virtual std::map<std::string, std::string> makefile(const std::string& programName) = 0;

    // Opens the project at a path. Set at start-up.
    using Opener = std::function<std::unique_ptr<ProjectToBuild>(const std::string& path)>;
    static Opener& opener();
};

// Makes the folder "Project" in a wrapper: the sources of its project, make files, and the scripts that
// compile and submit on another machine. Ignores files that can't be made.
struct UploadPreparation {
    std::string wrapperName;
    std::string projectPath;
    std::optional<std::string> executable;
    std::size_t numberOfTasks = 0;

    void run() const;
};
