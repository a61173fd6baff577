// A folder includes only what stands on lower floors, and no circle of files stands in a folder.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <string>

namespace {

namespace fs = std::filesystem;

// From a folder to its floor. Folders of one floor stand beside each other; what is listed as seen may be
// included all the same.
struct Place {
    int floor;
    std::set<std::string> seen;
};
const std::map<std::string, Place> kHouse{
    {"platform", {0, {}}},
    {"toolkit", {0, {}}},
    {"arrays/sv", {0, {}}},
    {"datafile", {0, {"arrays/sv"}}},
    {"diagnostics", {1, {}}},
    {"text", {1, {}}},
    {"ssh", {1, {}}},
    {"task", {4, {}}},
    {"remote", {4, {"task"}}},
    {"svdata", {5, {}}},
    {"app", {5, {}}},
};

std::string folderOf(const std::string& file)
{
    return fs::path(file).parent_path().string();
}

// From each source below src/ to the files of the house that it includes.
std::map<std::string, std::set<std::string>> includes()
{
    const std::regex line(R"re(\s*#\s*include\s+"([^"]+)".*)re");
    std::map<std::string, std::set<std::string>> found;
    for (const auto& entry : fs::recursive_directory_iterator(SOURCE_FOLDER)) {
        const auto extension = entry.path().extension();
        if (extension != ".h" && extension != ".cpp")
            continue;
        auto& included = found[fs::relative(entry.path(), SOURCE_FOLDER).string()];
        std::ifstream text(entry.path());
        std::smatch match;
        for (std::string read; std::getline(text, read);)
            if (std::regex_match(read, match, line))
                included.insert(match[1]);
    }
    return found;
}

TEST(House, EveryIncludeLeadsToALowerFloor)
{
    for (const auto& [file, included] : includes()) {
        const auto from = kHouse.find(folderOf(file));
        ASSERT_NE(from, kHouse.end()) << file << " stands in a folder that has no floor";
        for (const auto& target : included) {
            const std::string folder = folderOf(target);
            const auto to = kHouse.find(folder);
            ASSERT_NE(to, kHouse.end())
                << file << " includes " << target << ", which is not a path below src/";
            EXPECT_TRUE(folder == from->first || to->second.floor < from->second.floor
                || from->second.seen.contains(folder))
                << file << " includes " << target;
        }
    }
}

// A header and its source are one piece; what either includes, the piece includes. A header that carries the
// inside of a piece, and so begins with its name, belongs to it.
TEST(House, NoCircleOfFilesStandsInAFolder)
{
    const auto piece = [](const std::string& file) { return fs::path(file).replace_extension().string(); };
    std::map<std::string, std::set<std::string>> needs;
    for (const auto& [file, included] : includes())
        for (const auto& target : included)
            if (folderOf(target) == folderOf(file) && !piece(target).starts_with(piece(file)))
                needs[piece(file)].insert(piece(target));

    std::map<std::string, int> state; // 1 while its needs are looked at, 2 afterwards.
    const std::function<void(const std::string&, const std::string&)> visit = [&](const std::string& name,
                                                                                  const std::string& path) {
        if (state[name] == 2)
            return;
        ASSERT_EQ(state[name], 0) << "a circle: " << path << name;
        state[name] = 1;
        for (const auto& need : needs[name])
            visit(need, path + name + " > ");
        state[name] = 2;
    };
    for (const auto& [name, list] : std::map(needs))
        visit(name, "");
}

} // namespace
