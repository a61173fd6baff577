#pragma once

#include "toolkit/Model.h"

#include <any>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace toolkit {

class Menu;

// A user action is known by its name, such as "abortRun:", and carried by what a front end calls when the
// item is chosen. An item without an action does nothing.
struct MenuItem {
    std::string title{};
    std::string action{};
    std::function<void(const MenuItem& sender)> perform{};
    // The key that chooses the item, in the way "Ctrl+Shift+S"; empty for none.
    std::string key{};
    bool isEnabled = true;
    bool isChecked = false;
    bool isSeparator = false;
    std::shared_ptr<Menu> submenu{};
    std::any representedObject{};

    static MenuItem separator();
};

class Menu : public Model {
public:
    explicit Menu(std::string title = {}) : title_(std::move(title)) { }

    const std::string& title() const { return title_; }
    int count() const { return static_cast<int>(items_.size()); }
    const MenuItem& item(int index) const { return items_.at(static_cast<std::size_t>(index)); }
    void add(MenuItem);
    void insert(int index, MenuItem);
    void remove(int index);
    // Changes an item by a function that is called at once.
    void change(int index, const std::function<void(MenuItem&)>& how);

    // Asked, by a front end, before the menu is shown, to bring its items up to date.
    std::function<void(Menu&)> needsUpdate;
    // Whether an item with an action is enabled; without it each item's own flag counts.
    std::function<bool(const std::string& action)> validator;
    bool isEnabled(int index) const;

    // The user. An item that isn't enabled does nothing.
    void choose(int index);

private:
    std::string title_;
    std::vector<MenuItem> items_;
};

} // namespace toolkit
