#include "toolkit/Window.h"

namespace toolkit {

ShownWindows& ShownWindows::shared()
{
    static auto* windows = new ShownWindows; // Never destroyed: windows may outlive other statics.
    return *windows;
}

void ShownWindows::bringToFront(Window& window)
{
    std::erase(windows_, &window);
    windows_.insert(windows_.begin(), &window);
    changed({.order = true});
}

void ShownWindows::remove(Window& window)
{
    if (std::erase(windows_, &window) != 0)
        changed({.order = true});
}

Window::~Window()
{
    ShownWindows::shared().remove(*this);
    setContent(nullptr);
}

void Window::setContent(View* content)
{
    if (content_)
        content_->window_ = nullptr;
    content_ = content;
    contentsEnd_ = {};
    if (content_) {
        content_->window_ = this;
        contentsEnd_ = content_->observe({}, [this] { content_ = nullptr; });
    }
    changed({.structure = true});
}

void Window::setSizeLimits(Size minimum, Size maximum)
{
    set(minimumSize_, minimum);
    set(maximumSize_, maximum);
}

void Window::orderFront()
{
    isVisible_ = true;
    ShownWindows::shared().bringToFront(*this);
    changed({.order = true});
}

void Window::close()
{
    isVisible_ = false;
    ShownWindows::shared().remove(*this);
    changed({.order = true});
}

void Window::userActivates()
{
    if (isVisible_)
        ShownWindows::shared().bringToFront(*this);
}

bool Window::userCloses()
{
    const auto mayClose = shouldClose; // A copy: the answer may take the window's function away.
    if (mayClose && !mayClose())
        return false;
    close();
    return true;
}

} // namespace toolkit
