#pragma once

#include <any>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace toolkit {

// A user action is known by its name, such as "abortRun:", and carried by what a front end calls when the
// item is chosen. An item without an action does nothing.
struct MenuItem {
    std::string title{};
    std::string action{};
    std::function<void(const MenuItem& sender)> perform{};
    bool isEnabled = true;
    bool isSeparator = false;
    std::any representedObject{};

    static MenuItem separator();
};

class Menu {
public:
    explicit Menu(std::string title = {}) : title_(std::move(title)) { }

    const std::string& title() const { return title_; }
    // With automatic enabling a front end asks a validator for each item; without it isEnabled counts.
    bool autoenablesItems = true;

    int count() const { return static_cast<int>(items_.size()); }
    MenuItem& item(int index) { return *items_.at(static_cast<std::size_t>(index)); }
    const MenuItem& item(int index) const { return *items_.at(static_cast<std::size_t>(index)); }
    MenuItem& add(MenuItem);
    MenuItem& insert(int index, MenuItem);
    void remove(int index);
    // Performs the item's action, as a click does; a disabled item does nothing.
    void choose(int index);

private:
    std::string title_;
    std::vector<std::unique_ptr<MenuItem>> items_; // Items keep their address while others come and go.
};

} // namespace toolkit
