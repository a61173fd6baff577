#pragma once

#include <memory>
#include <optional>
#include <string>

// One message of the message center. Immutable, so that any thread may read it.
class KRMessageCenter_Entry {
public:
    // The date is taken now.
    static std::shared_ptr<const KRMessageCenter_Entry> shortDescription(
        std::string text, std::optional<std::string> longDescription);

    const std::string& shortDescription() const { return shortDescription_; }
    const std::optional<std::string>& longDescription() const { return longDescription_; }
    double date() const { return whenItHappened_; } // Seconds since 1970.
    static double now(); // As a date is counted.

private:
    KRMessageCenter_Entry(std::string shortDescr, std::optional<std::string> longDescr);

    std::string shortDescription_;
    std::optional<std::string> longDescription_;
    double whenItHappened_;
};
