#pragma once

#include "toolkit/UndoManager.h"
#include "toolkit/View.h"

#include <string>
#include <vector>

namespace toolkit {

// A window with a tree of views in it.
class Window : public Model {
public:
    Window() = default;
    ~Window() override;

    const std::string& title() const { return title_; }
    void setTitle(std::string title) { set(title_, std::move(title)); }
    const std::string& layout() const { return layout_; } // As that of a view.
    void setLayout(std::string layout) { set(layout_, std::move(layout), {.structure = true}); }
    // The root of what the window shows, borrowed; null for an empty window.
    View* content() const { return content_; }
    void setContent(View* content);
    Size minimumSize() const { return minimumSize_; }
    Size maximumSize() const { return maximumSize_; }
    void setSizeLimits(Size minimum, Size maximum);

    bool isVisible() const { return isVisible_; }
    // Brings the window to the front, showing it when it was hidden.
    void orderFront();
    void close();
    // The user: wants to close the window, which closes unless the logic refuses. Whether it has closed.
    bool userCloses();
    // The user: works in this window now, which brings it to the front.
    void userActivates();
    // Asked by userCloses(); a window without it closes. It may destroy the window.
    std::function<bool()> shouldClose;

    UndoManager& undoManager() { return undoManager_; }

private:
    std::string title_;
    std::string layout_;
    View* content_ = nullptr;
    Observation contentsEnd_;
    Size minimumSize_;
    Size maximumSize_{1e9, 1e9};
    bool isVisible_ = false;
    UndoManager undoManager_;
};

// The windows that are shown. A front end observes them, and so learns of each new one.
class ShownWindows : public Model {
public:
    static ShownWindows& shared();
    const std::vector<Window*>& frontToBack() const { return windows_; }

private:
    friend class Window;
    void bringToFront(Window&);
    void remove(Window&);

    std::vector<Window*> windows_;
};

} // namespace toolkit
