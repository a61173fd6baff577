// References to series: a file that names the file of a series in the place of its values.

#include "diagnostics/KRMessageCenter.h"
#include "platform/files/FileManager.h"
#include "platform/files/Paths.h"
#include "variables/composites/KRContainerSeries.h"
#include "variables/structures/EntryNames.h"

#include <fmt/format.h>

#include <algorithm>
#include <unistd.h>

namespace files = platform::files;
namespace names = variables::names;
namespace paths = platform::paths;

namespace {

constexpr int kMostNamesTried = 100000;

// A path of the folder that nothing has, with the name or a numbered one; nothing when all are taken.
std::optional<std::string> freePath(
    const std::string& name, const std::string& folder, const std::set<std::string>& taken)
{
    const std::size_t period = name.rfind('.');
    const std::string stem = name.substr(0, period);
    const std::string ending = period == std::string::npos ? "" : name.substr(period);
    std::string candidate = name;
    for (int number = 1; number < kMostNamesTried; ++number) {
        const std::string path = paths::appending(folder, candidate);
        if (!taken.contains(candidate) && !files::exists(path))
            return path;
        candidate = fmt::format("{}-{}{}", stem, number, ending);
    }
    return std::nullopt;
}

enum class Placed { Failed, Linked, Copied };

Placed place(const std::string& path, const std::string& target)
{
    if (::link(path.c_str(), target.c_str()) == 0)
        return Placed::Linked;
    if (!files::copy(path, target)) {
        KRMessageCenter::addMessage("Could not copy the file into the directory.",
            fmt::format("Could not copy the file \"{}\" to \"{}\"", path, target));
        return Placed::Failed;
    }
    KRMessageCenter::addMessage("Inefficient, had to copy a file");
    return Placed::Copied;
}

bool isStack(const platform::Value& structure)
{
    return structure.textFor("Type") == "DataFileStack";
}

// Whether a file announces the series, or has an entry of it.
bool concerns(const platform::Value& structure, const std::string& series)
{
    const platform::Value* const content = structure.find("Content");
    if (content && content->array())
        return std::ranges::any_of(
            *content->array(), [&](const platform::Value& member) { return concerns(member, series); });
    const auto isOne = [&](const auto& entry) {
        return entry.first == names::announcement(series) || entry.first.starts_with(series + "_")
            || entry.first.starts_with(names::description(series));
    };
    return content && content->dictionary() && std::ranges::any_of(*content->dictionary(), isOne);
}

// Places the file of a structure: of a stack the members that concern the series, in a folder.
Placed placeFile(const platform::Value& structure, const std::string& target, const std::string& series)
{
    if (!isStack(structure))
        return place(structure.textFor("File").value_or(""), target);
    const platform::Value* const members = structure.find("Content");
    if (!members || !members->array() || !files::createDirectory(target))
        return Placed::Failed;
    for (const platform::Value& member : *members->array()) {
        const std::string name = paths::lastComponent(member.textFor("File").value_or(""));
        if (concerns(member, series)
            && placeFile(member, paths::appending(target, name), series) == Placed::Failed)
            return Placed::Failed;
    }
    return Placed::Linked;
}

} // namespace

std::string KRContainerSeries::pathOfFile() const
{
    auto* const stored = dynamic_cast<KRDataFile*>(stored_.storage.get());
    std::string path = stored ? stored->fileName() : stored_.file ? stored_.file->fileName() : "";
    if (path.empty())
        KRMessageCenter::addMessage("not possible to save the file name");
    return path;
}

bool KRContainerSeries::writeReference(
    const std::string& path, KRDataStorage& file, const std::string& withName) const
{
    return !path.empty() && file.writeString(path, withName + "_file")
        && file.writeString(myStructure_->type(), withName);
}

bool KRContainerSeries::saveReferenceIntoFile(KRDataStorage& file, const std::string& withName) const
{
    return writeReference(pathOfFile(), file, withName);
}

bool KRContainerSeries::saveReferenceIntoFile(KRDataStorage& file, const std::string& withName,
    const std::string& temporaryDirectory, std::set<std::string>& filesThatExistAlready)
{
    const std::string path = pathOfFile();
    if (path.empty())
        return false;
    auto* const opened = dynamic_cast<KRDataFile*>(stored_.storage.get());
    const platform::Value structure = opened ? opened->structure() : stored_.structureOfFile;
    const auto target = freePath(paths::lastComponent(path), temporaryDirectory, filesThatExistAlready);
    const Placed placed = !target ? Placed::Failed
        : isStack(structure)      ? placeFile(structure, *target, nameInsideFile())
                                  : place(path, *target);
    if (placed == Placed::Failed) {
        KRMessageCenter::addMessage("Could not copy the file into the temporary directory.");
        return false;
    }
    filesThatExistAlready.insert(paths::lastComponent(*target));
    if (placed == Placed::Copied)
        moveTo(*target);
    return writeReference(*target, file, withName);
}

// A temporary file that nothing else needs isn't kept beside its copy.
void KRContainerSeries::moveTo(const std::string& copy)
{
    if (stored_.storage || !stored_.file->isTemporaryFile() || stored_.file.use_count() > 1)
        return;
    const std::string former = stored_.file->fileName();
    stored_.structureOfFile.mutableDictionary()["File"] = copy;
    stored_.file = KRContainerFileName::createWithName(copy); // The owner of the temporary file removes it.
    if (files::exists(former))
        KRMessageCenter::addMessage(
            "Could not delete a file.", fmt::format("Could not delete the file \"{}\"", former));
}
