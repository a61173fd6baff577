// A folder includes only what stands before it in the house, and nothing of the house goes in circles.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// From the ground to the roof. A folder may include itself and what stands before it.
const std::vector<std::string> kHouse{
    "arrays/kernels", "arrays/sv", "datafile", "platform", "toolkit", // Floor 0.
    "diagnostics", "temporary", "arrays/geometry", "arrays/legacy", "arrays/containers", "text", "ssh", // 1.
    "storage", // 2.
    "variables", // 3.
    "task", "remote", // 4.
    "apps/composition", "apps/console", "apps/desktop", "apps/svdata", // 5.
};
// The computational library stands alone, and no front end knows another.
const std::map<std::string, std::set<std::string>> kSeesOnly{
    {"platform", {}},
    {"apps/svdata", {"arrays/sv", "datafile"}},
};
const std::set<std::string> kFrontEnds{"apps/console", "apps/desktop", "apps/svdata"};

// The folder of the house that a file or a subfolder stands in; the end when there is none.
auto placeOf(const std::string& path)
{
    return std::find_if(kHouse.begin(), kHouse.end(),
        [&](const std::string& folder) { return path.starts_with(folder + "/"); });
}

bool mayInclude(const std::string& from, const std::string& to)
{
    const auto source = placeOf(from);
    const auto target = placeOf(to);
    if (source == target)
        return true;
    const auto only = kSeesOnly.find(*source);
    if (only != kSeesOnly.end())
        return only->second.contains(*target);
    return target < source && !(kFrontEnds.contains(*source) && kFrontEnds.contains(*target));
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

TEST(House, EveryIncludeLeadsDown)
{
    for (const auto& [file, included] : includes()) {
        ASSERT_NE(placeOf(file), kHouse.end()) << file << " stands in a folder that has no floor";
        for (const auto& target : included) {
            ASSERT_NE(placeOf(target), kHouse.end())
                << file << " includes " << target << ", which is not a path below src/";
            EXPECT_TRUE(mayInclude(file, target)) << file << " includes " << target;
        }
    }
}

using Graph = std::map<std::string, std::set<std::string>>;

// What includes what, with files taken together by name: a header with its source, or a folder.
Graph needsBetween(const std::function<std::string(const fs::path&)>& nameOf)
{
    Graph needs;
    for (const auto& [file, included] : includes())
        for (const auto& target : included)
            if (nameOf(target) != nameOf(file))
                needs[nameOf(file)].insert(nameOf(target));
    return needs;
}

void expectNoCircle(const Graph& needs)
{
    enum class State { Unseen, Open, Done };
    std::map<std::string, State> states;
    const std::function<void(const std::string&, const std::string&)> visit = [&](const std::string& name,
                                                                                  const std::string& path) {
        if (states[name] == State::Done)
            return;
        if (states[name] == State::Open) {
            ADD_FAILURE() << "a circle: " << path << name;
            return;
        }
        states[name] = State::Open;
        const auto found = needs.find(name);
        if (found != needs.end())
            for (const auto& need : found->second)
                visit(need, path + name + " > ");
        states[name] = State::Done;
    };
    for (const auto& [name, list] : needs)
        visit(name, "");
}

TEST(House, NoCircleOfFiles)
{
    expectNoCircle(needsBetween([](fs::path file) { return file.replace_extension().string(); }));
}

TEST(House, NoCircleOfFolders)
{
    expectNoCircle(needsBetween([](const fs::path& file) { return file.parent_path().string(); }));
}

} // namespace
