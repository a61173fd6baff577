#pragma once

#include "platform/plist/Value.h"
#include "task/wrapper/UploadPreparation.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Reads the development project from which a local executable came, just far enough to build the same program
// with make on another machine: the files to copy, the files to compile, the product's name, and the build
// settings. A project that is missing or can't be read is an empty one. Any thread, one at a
// time.
class XCodeProject : public ProjectToBuild {
public:
    // The path of the project bundle, a folder that holds "project.pbxproj". Never null.
    static std::unique_ptr<XCodeProject> createWithFile(const std::string& path);

    // The full paths of all known files with a source or header ending: "c", "cpp", "h", "hpp" in any case.
    std::vector<std::string> filesToCopy() override;
    // Bare names, in the order of the build phase. Only the first target and its first build phase count.
    std::vector<std::string> sourceFilesToCompile() const;
    // The product's name with each blank replaced by "_"; nothing when there is no target.
    std::optional<std::string> programName() const;
    // The build settings of the first target's default configuration; null when there is none.
    platform::Value compilerSettings() const;
    // The texts of "Makefile" and "Makefile.sources", by these names. A source file that is neither C nor C++
    // is left out with the message "unexpected ending".
    std::map<std::string, std::string> makefile(const std::string& programName) override;
    // The same without the dialect of C++ and the library of threads.
    std::map<std::string, std::string> makefileOfSetUp(const std::string& programName);

    const std::string& projectRoot() const { return projectRoot_; } // The folder that holds the bundle.
    const std::string& fileName() const { return fileName_; } // As it was given.
    const std::map<std::string, std::string>& filesByID() const { return filesByID_; }
    const platform::Value& objects() const { return objects_; }
    const platform::Value& projectSettings() const { return projectSettings_; }

private:
    explicit XCodeProject(std::string fileName);

    // The groups above are those that the object lies in, from the main group on.
    void extractAllFiles(
        const std::string& from, const std::string& groupLocation, std::vector<std::string>& groupsAbove);
    std::optional<std::string> locate(const platform::Value& object, const std::string& groupLocation) const;
    // The object whose identifier is the value of the key; null without one.
    const platform::Value* objectUnder(const platform::Value* holder, std::string_view key) const;
    const platform::Value* objectWith(const platform::Value& identifier) const;
    const platform::Value* projectObject() const;
    const platform::Value* firstObjectUnder(const platform::Value* holder, std::string_view key) const;
    const platform::Value* firstTarget() const;
    std::map<std::string, std::string> makefileWith(
        const std::string& programName, const char* flags, const char* libraries);

    std::string fileName_;
    std::string projectRoot_;
    std::map<std::string, std::string> filesByID_; // From file reference to resolved path.
    int objectsVisited_ = 0;
    platform::Value objects_; // From identifier to object; every reference between objects is an identifier.
    platform::Value projectSettings_; // All that the project file holds.
};
