#pragma once

#include "toolkit/View.h"

#include <memory>

namespace toolkit {

// A vertical list of views, in the order of adding.
class ViewList : public View {
public:
    void add(std::shared_ptr<View>);
    void remove(const std::shared_ptr<View>&);
    const std::vector<std::shared_ptr<View>>& views() const { return views_; }

    double spaceToTheLeft = 0;
    // The front end's: called after a view came or went.
    std::function<void()> whenChanged;

private:
    std::vector<std::shared_ptr<View>> views_;
};

} // namespace toolkit
