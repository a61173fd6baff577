#include "remote/project/XCodeProject.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/Paths.h"
#include "platform/plist/PropertyList.h"

#include <algorithm>

namespace {

namespace paths = platform::paths;
using platform::Value;

// The longest path that the system opens; a longer one needs no entry. A group may be in several others and,
// in a damaged file, in itself: without limits a small file could keep the reader busy forever.
constexpr std::size_t kLongestPath = 4096;
constexpr std::size_t kDeepestGroup = 200;
constexpr int kMostVisits = 200'000;

constexpr std::string_view kEndingsToCopy[] = {"c", "cpp", "h", "hpp"};

const Value::Array& elementsUnder(const Value* holder, std::string_view key)
{
    static const Value::Array none;
    const Value* list = holder ? holder->find(key) : nullptr;
    return list && list->array() ? *list->array() : none;
}

std::string sourceList(std::string_view variable, const std::vector<std::string>& names)
{
    std::string text(variable);
    text += " = ";
    for (const std::string& name : names)
        text.append("\\\n").append(name);
    return text += "\n\n";
}

} // namespace

std::unique_ptr<XCodeProject> XCodeProject::createWithFile(const std::string& path)
{
    return std::unique_ptr<XCodeProject>(new XCodeProject(path));
}

XCodeProject::XCodeProject(std::string fileName)
    : fileName_(std::move(fileName)), projectRoot_(paths::deletingLastComponent(fileName_)),
      projectSettings_(platform::propertylist::readFile(paths::appending(fileName_, "project.pbxproj"))
                           .value_or(platform::Value()))
{
    if (const Value* objects = projectSettings_.find("objects"))
        objects_ = *objects;
    if (const Value* project = projectObject())
        if (const auto mainGroup = project->textFor("mainGroup")) {
            std::vector<std::string> groupsAbove;
            extractAllFiles(*mainGroup, projectRoot_, groupsAbove);
        }
}

void XCodeProject::extractAllFiles(
    const std::string& from, const std::string& groupLocation, std::vector<std::string>& groupsAbove)
{
    const Value* object = objectWith(Value(from));
    const auto location = object ? locate(*object, groupLocation) : std::nullopt;
    if (!location || location->size() > kLongestPath || ++objectsVisited_ > kMostVisits)
        return;
    const auto isa = object->textFor("isa");
    if (isa == "PBXFileReference") {
        filesByID_.insert_or_assign(from, *location);
    } else if (isa == "PBXGroup" && groupsAbove.size() < kDeepestGroup
        && std::find(groupsAbove.begin(), groupsAbove.end(), from) == groupsAbove.end()) {
        groupsAbove.push_back(from);
        for (const Value& child : elementsUnder(object, "children"))
            if (child.text())
                extractAllFiles(*child.text(), *location, groupsAbove);
        groupsAbove.pop_back();
    }
}

std::optional<std::string> XCodeProject::locate(const Value& object, const std::string& groupLocation) const
{
    const auto sourceTree = object.textFor("sourceTree");
    auto path = object.textFor("path");
    if (sourceTree == "<group>")
        return path ? paths::appending(groupLocation, *path) : groupLocation;
    if (sourceTree == "<absolute>")
        return path;
    if (sourceTree == "SOURCE_ROOT")
        return paths::standardizing(paths::appending(projectRoot_, path.value_or("")));
    // Products of the build and files of the development tools aren't copied.
    return std::nullopt;
}

const Value* XCodeProject::objectWith(const Value& identifier) const
{
    return identifier.text() ? objects_.find(*identifier.text()) : nullptr;
}

const Value* XCodeProject::objectUnder(const Value* holder, std::string_view key) const
{
    const Value* identifier = holder ? holder->find(key) : nullptr;
    return identifier ? objectWith(*identifier) : nullptr;
}

const Value* XCodeProject::firstObjectUnder(const Value* holder, std::string_view key) const
{
    const Value::Array& identifiers = elementsUnder(holder, key);
    return identifiers.empty() ? nullptr : objectWith(identifiers.front());
}

const Value* XCodeProject::projectObject() const
{
    return objectUnder(&projectSettings_, "rootObject");
}

const Value* XCodeProject::firstTarget() const
{
    return firstObjectUnder(projectObject(), "targets");
}

std::vector<std::string> XCodeProject::filesToCopy()
{
    std::vector<std::string> result;
    for (const auto& [identifier, path] : filesByID_) {
        const std::string ending = paths::lowercaseExtension(path);
        if (std::find(std::begin(kEndingsToCopy), std::end(kEndingsToCopy), ending)
            != std::end(kEndingsToCopy))
            result.push_back(path);
    }
    return result;
}

std::vector<std::string> XCodeProject::sourceFilesToCompile() const
{
    std::vector<std::string> result;
    // The first phase is taken to be that of the sources; nothing verifies it.
    const Value* phase = firstObjectUnder(firstTarget(), "buildPhases");
    for (const Value& identifier : elementsUnder(phase, "files")) {
        const Value* buildFile = objectWith(identifier);
        const auto reference = buildFile ? buildFile->textFor("fileRef") : std::nullopt;
        const auto file = reference ? filesByID_.find(*reference) : filesByID_.end();
        if (file != filesByID_.end())
            result.push_back(paths::lastComponent(file->second));
    }
    return result;
}

std::optional<std::string> XCodeProject::programName() const
{
    const Value* target = firstTarget();
    auto name = target ? target->textFor("productName") : std::nullopt;
    if (name)
        std::replace(name->begin(), name->end(), ' ', '_');
    return name;
}

Value XCodeProject::compilerSettings() const
{
    const Value* list = objectUnder(firstTarget(), "buildConfigurationList");
    const auto defaultName = list ? list->textFor("defaultConfigurationName") : std::nullopt;
    Value result;
    if (!defaultName)
        return result;
    for (const Value& identifier : elementsUnder(list, "buildConfigurations")) {
        const Value* configuration = objectWith(identifier);
        if (!configuration || configuration->textFor("name") != defaultName)
            continue;
        const Value* settings = configuration->find("buildSettings");
        result = settings ? *settings : Value(); // When several match, the last wins.
    }
    return result;
}

std::map<std::string, std::string> XCodeProject::makefile(const std::string& programName)
{
    // The dialect of C++ follows the setting of the C standard, and C files get none of these flags: existing
    // builds on other machines depend on it.
    const bool isModern = compilerSettings().textFor("GCC_C_LANGUAGE_STANDARD") == "c11";
    return makefileWith(programName, isModern ? "-std=c++11 -Os" : "-Os", "$(LDLIBS) -lpthread");
}

std::map<std::string, std::string> XCodeProject::makefileOfSetUp(const std::string& programName)
{
    return makefileWith(programName, "-Os", "$(LDLIBS)");
}

std::map<std::string, std::string> XCodeProject::makefileWith(
    const std::string& programName, const char* flags, const char* libraries)
{
    std::vector<std::string> cppFiles;
    std::vector<std::string> cFiles;
    for (const std::string& name : sourceFilesToCompile()) {
        const std::string ending = paths::lowercaseExtension(name);
        if (ending == "cpp")
            cppFiles.push_back(name);
        else if (ending == "c")
            cFiles.push_back(name);
        else
            KRMessageCenter::addMessage("unexpected ending");
    }
    std::string makefile = "include Makefile.sources\n"
                           "OBJS = $(C_SRCS:.c=.o) $(F_SRCS:.f=.o) $(CXX_SRCS:.cpp=.o)\n"
                           "PROGRAM = ";
    makefile.append(programName)
        .append("\n"
                "CC = cc\n"
                "CXX =  c++\n"
                "\n"
                ".SUFFIXES: .cpp .o\n"
                ".cpp.o:\n"
                "\t$(CXX) -c $(CXXFLAGS) $< -o $@\n"
                "\n");
    makefile.append("CXXFLAGS = ").append(flags);
    makefile.append("\n"
                    "\n"
                    "LDLIBS = -lm\n"
                    "\n"
                    "$(PROGRAM) : $(OBJS)\n"
                    "\t$(CXX) $(CXXFLAGS) $(OBJS) -o $(PROGRAM) ");
    makefile.append(libraries);
    makefile.append("\n"
                    "\n"
                    "# Remove targets that can be re-created\n"
                    "clean :\n"
                    "\trm -f $(OBJS) $(PROGRAM)\n");
    return {{"Makefile", std::move(makefile)},
        {"Makefile.sources", sourceList("CXX_SRCS", cppFiles) + sourceList("C_SRCS", cFiles)}};
}
