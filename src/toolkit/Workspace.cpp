#include "toolkit/Workspace.h"

namespace toolkit {

namespace {
constexpr std::size_t kRecentDocumentsKept = 10;
}

Workspace& Workspace::shared()
{
    static Workspace workspace;
    return workspace;
}

void Workspace::noteRecentDocument(const std::string& path)
{
    std::erase(recent_, path);
    recent_.insert(recent_.begin(), path);
    if (recent_.size() > kRecentDocumentsKept)
        recent_.resize(kRecentDocumentsKept);
    if (recentDocumentsChanged)
        recentDocumentsChanged();
}

} // namespace toolkit
