#pragma once

#include "toolkit/UndoManager.h"

#include <functional>
#include <string>
#include <vector>

namespace toolkit {

// View models: what a front end shows and what the logic sets and asks. They hold no pixels and no events; a
// front end reads them, and a test is a front end too. All of the toolkit belongs to the main thread.

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    double top() const { return y + height; }
    bool operator==(const Rect&) const = default;
};

struct Size {
    double width = 0;
    double height = 0;
    bool operator==(const Size&) const = default;
};

struct Color {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;
    bool operator==(const Color&) const = default;
};

class Window {
public:
    Window() = default;
    ~Window();
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    // The windows that are shown, the frontmost first.
    static const std::vector<Window*>& shownWindows();

    const std::string& title() const { return title_; }
    void setTitle(std::string title) { title_ = std::move(title); }
    bool isVisible() const { return visible_; }
    // Brings the window to the front, showing it when it was hidden.
    void orderFront();
    void close();
    int timesOrderedFront() const { return timesOrderedFront_; }
    UndoManager& undoManager() { return undoManager_; }

    std::string layout; // As that of a view.
    Size minimumSize;
    Size maximumSize{1e9, 1e9};
    // The front end's: called after the window was brought to the front or closed.
    std::function<void()> whenVisibilityChanges;

private:
    std::string title_;
    bool visible_ = false;
    int timesOrderedFront_ = 0;
    UndoManager undoManager_;
};

// A rectangle in a tree of rectangles. The tree borrows: a view leaves its parent, and lets its children go,
// when it is destroyed.
class View {
public:
    View() = default;
    virtual ~View();
    View(const View&) = delete;
    View& operator=(const View&) = delete;

    void addSubview(View&);
    void removeFromSuperview();
    View* superview() const { return superview_; }
    const std::vector<View*>& subviews() const { return subviews_; }

    // The window of the root view; null when the tree has none.
    Window* window() const;
    void setWindow(Window* window) { window_ = window; }

    // The layout that a front end draws the view and what is in it by; empty for one that is drawn by its
    // kind.
    std::string layout;
    Rect frame; // In the parent's coordinates.
    Rect bounds; // The visible part, in the view's own coordinates.
    bool isHidden = false;
    // The view shows less than what is known; a front end draws it anew and clears the flag.
    bool needsDisplay = false;

private:
    View* superview_ = nullptr;
    std::vector<View*> subviews_;
    Window* window_ = nullptr;
};

} // namespace toolkit
