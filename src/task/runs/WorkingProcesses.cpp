#include "task/runs/WorkingProcesses.h"

#include "platform/files/FileManager.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <optional>
#include <system_error>

namespace {

std::optional<int> wholeNumber(const std::string& text)
{
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

} // namespace

WorkingProcesses WorkingProcesses::now()
{
    WorkingProcesses found;
    for (const auto& name :
        platform::files::contentsOfDirectory("/proc").value_or(std::vector<std::string>())) {
        const auto id = wholeNumber(name);
        if (!id)
            continue;
        std::error_code error;
        const auto folder = std::filesystem::read_symlink("/proc/" + name + "/cwd", error);
        if (!error)
            found.byFolder_[folder.string()].push_back(*id);
    }
    for (auto& [folder, ids] : found.byFolder_)
        std::sort(ids.begin(), ids.end());
    return found;
}

std::vector<int> WorkingProcesses::in(const std::string& folder) const
{
    std::error_code error;
    const auto found = byFolder_.find(std::filesystem::canonical(folder, error).string());
    return error || found == byFolder_.end() ? std::vector<int>() : found->second;
}
