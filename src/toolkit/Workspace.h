#pragma once

#include "platform/Result.h"
#include "toolkit/Dialogs.h"

#include <functional>
#include <string>
#include <vector>

namespace toolkit {

// What the desktop around the program offers: a front end fills in the functions it can serve, the others do
// nothing. Main thread.
class Workspace {
public:
    static Workspace& shared();

    std::function<void(const std::string& text)> setPasteboardText;
    std::function<void(const std::string& url)> openUrl;
    // A file opens in the program that is meant for it, a folder in the file manager.
    std::function<platform::Status(const std::string& path)> openFile;
    std::function<platform::Status(const std::string& folder)> openTerminal;
    std::function<void(const std::string& path)> noteFileSystemChanged;
    std::function<void()> soundAlert;
    // A note for a user who works elsewhere, such as that a batch has ended.
    std::function<void(const std::string& title, const std::string& text)> notify;
    std::function<void(const std::vector<std::string>& paths)> openPaths; // Dropped on a window.
    std::function<void(const Alert& alert)> showAlert;
    std::function<void(const FilePanel& panel)> showFilePanel;
    std::function<void(const TextQuestion& question)> askForText;

    // The documents opened last, the newest first, each once.
    void noteRecentDocument(const std::string& path);
    std::function<void()> recentDocumentsChanged;
    const std::vector<std::string>& recentDocuments() const { return recent_; }

private:
    std::vector<std::string> recent_;
};

} // namespace toolkit
