#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace toolkit {

// Questions to the user. A front end shows them without holding up the program, and answers each by its
// callback, on the main loop. The asker may be gone when the answer comes: the callback
// holds weak pointers.

// A short message with buttons, of which the first is the usual choice and the last one cancels.
struct Alert {
    std::string message{};
    std::string informative{}; // Below the message, in smaller letters.
    std::vector<std::string> buttons{"OK"};
    std::function<void(int button)> answered{};
};

// A question that is answered with a line of text.
struct TextQuestion {
    std::string title{};
    std::string text{};
    bool isSecret = false; // The answer isn't shown while it is typed.
    std::function<void(const std::optional<std::string>& answer)> answered{}; // Nothing when it is refused.
};

// A choice of files or folders.
struct FilePanel {
    enum class Kind { OpenFiles, OpenFolders, SaveFile };
    Kind kind = Kind::OpenFiles;
    std::string title{};
    std::string startAt{}; // The path that is shown first; empty for the usual one.
    // 1 and what was chosen, else 0.
    std::function<void(int returnCode, const std::vector<std::string>& chosen)> answered{};
};

} // namespace toolkit
