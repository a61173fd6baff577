#include "toolkit/View.h"

namespace toolkit {

View::~View()
{
    removeFromSuperview();
    for (View* child : subviews_)
        child->superview_ = nullptr;
}

void View::addSubview(View& child)
{
    child.removeFromSuperview();
    child.superview_ = this;
    subviews_.push_back(&child);
    changed({.structure = true});
}

void View::removeFromSuperview()
{
    if (!superview_)
        return;
    std::erase(superview_->subviews_, this);
    superview_->changed({.structure = true});
    superview_ = nullptr;
}

Window* View::window() const
{
    const View* root = this;
    while (!root->window_ && root->superview_)
        root = root->superview_;
    return root->window_;
}

} // namespace toolkit
