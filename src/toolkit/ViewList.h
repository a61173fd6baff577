#pragma once

#include "toolkit/View.h"

#include <memory>

namespace toolkit {

// A vertical list of views, in the order of adding.
class ViewList : public View {
public:
    void add(std::shared_ptr<View>);
    void remove(const std::shared_ptr<View>&);
    void removeAll();
    const std::vector<std::shared_ptr<View>>& views() const { return views_; }

    double spaceToTheLeft() const { return spaceToTheLeft_; }
    void setSpaceToTheLeft(double space) { set(spaceToTheLeft_, space); }

private:
    double spaceToTheLeft_ = 0;
    std::vector<std::shared_ptr<View>> views_;
};

} // namespace toolkit
