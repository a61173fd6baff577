#pragma once

#include "toolkit/View.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <set>

namespace toolkit {

// A vertical list of views, in the order of adding. Rows are counted from 0.
class ViewList : public View {
public:
    void add(std::shared_ptr<View>);
    void remove(const std::shared_ptr<View>&);
    void removeAll();
    const std::vector<std::shared_ptr<View>>& views() const { return views_; }

    // The rows that the user has selected. Adding and removing views leaves none.
    const std::set<std::size_t>& selectedRows() const { return selectedRows_; }
    std::function<void()> whenSelected;
    // Moves a row so that it stands at another place afterwards; empty for a list with a fixed order.
    std::function<void(std::size_t from, std::size_t to)> whenMoved;
    std::function<void()> whenRemoved; // Removes the selected rows; empty where they can't be removed.

    // The user.
    void select(std::set<std::size_t> rows);

    double spaceToTheLeft() const { return spaceToTheLeft_; }
    void setSpaceToTheLeft(double space) { set(spaceToTheLeft_, space); }

private:
    double spaceToTheLeft_ = 0;
    std::set<std::size_t> selectedRows_;
    std::vector<std::shared_ptr<View>> views_;
};

} // namespace toolkit
