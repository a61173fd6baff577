#include "toolkit/View.h"

#include <algorithm>

namespace toolkit {

namespace {

std::vector<Window*>& frontToBack()
{
    static std::vector<Window*> windows;
    return windows;
}

} // namespace

const std::vector<Window*>& Window::shownWindows()
{
    return frontToBack();
}

Window::~Window()
{
    std::erase(frontToBack(), this);
}

void Window::orderFront()
{
    std::erase(frontToBack(), this);
    frontToBack().insert(frontToBack().begin(), this);
    visible_ = true;
    ++timesOrderedFront_;
    if (whenVisibilityChanges)
        whenVisibilityChanges();
}

void Window::close()
{
    std::erase(frontToBack(), this);
    visible_ = false;
    if (whenVisibilityChanges)
        whenVisibilityChanges();
}

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
}

void View::removeFromSuperview()
{
    if (!superview_)
        return;
    std::erase(superview_->subviews_, this);
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
