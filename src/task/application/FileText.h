#pragma once

#include "text/files/KRBigTextFile.h"
#include "toolkit/TextLines.h"

#include <optional>
#include <string>

// The text of the file that is selected in a window, shown as it grows. Main thread; the lines are indexed by
// a worker.
class FileText {
public:
    explicit FileText(toolkit::TextLines& lines) : lines_(lines) { }

    // Shows the file at a path where it is text, and whether it is; without a path, nothing. A file that is
    // shown already only tells of its new lines.
    bool show(const std::optional<std::string>& path);

    // Whether the first bytes of a file are those of a text: no zero bytes and next to no control characters.
    // An empty file is one; a folder, a pipe, a device, and a file that can't be read are none.
    static bool isText(const std::string& path);

private:
    toolkit::TextLines& lines_;
    KRBigTextFile file_;
};
