#pragma once

#include <string>
#include <vector>

namespace toolkit {

// A text with the few kinds of emphasis that notes have. Paragraphs end with a line feed.
struct RichText {
    struct Run {
        std::string text; // UTF-8.
        bool bold = false;
        bool italic = false;
        bool underlined = false;
        bool operator==(const Run&) const = default;
    };
    std::vector<Run> runs; // None empty, and no two beside each other that are alike.

    RichText() = default;
    explicit RichText(std::string plain);
    // Adds text with the emphasis of the run.
    void append(const Run& run);
    std::string plain() const;
    bool operator==(const RichText&) const = default;
};

} // namespace toolkit
