#pragma once

#include "toolkit/Model.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace toolkit {

class Window;

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

// A rectangle in a tree of rectangles. The tree owns nothing: a view that is destroyed leaves its parent, and
// its children are left without one.
class View : public Model {
public:
    ~View() override;

    void addSubview(View&);
    void removeFromSuperview();
    View* superview() const { return superview_; }
    const std::vector<View*>& subviews() const { return subviews_; }

    // The window of the root view; null when the tree has none.
    Window* window() const;

    // What the view is called for people who can't see it, and in tests.
    const std::string& accessibleName() const { return accessibleName_; }
    void setAccessibleName(std::string name) { set(accessibleName_, std::move(name)); }
    // The layout that a front end draws the view and what is in it by; empty for one that is drawn by its
    // kind.
    const std::string& layout() const { return layout_; }
    void setLayout(std::string layout) { set(layout_, std::move(layout), {.structure = true}); }
    const Rect& frame() const { return frame_; } // In the parent's coordinates.
    void setFrame(const Rect& frame) { set(frame_, frame); }
    const Rect& bounds() const { return bounds_; } // The visible part, in the view's own coordinates.
    void setBounds(const Rect& bounds) { set(bounds_, bounds); }
    bool isHidden() const { return isHidden_; }
    void setHidden(bool isHidden) { set(isHidden_, isHidden); }
    // Asks for the keys of the user, once; a front end gives them to the view when it shows it.
    void requestFocus() { set(focusRequests_, focusRequests_ + 1); }
    int focusRequests() const { return focusRequests_; }
    // Tells that the view shows less than what is known.
    void setNeedsDisplay() { changed({.data = true}); }

private:
    friend class Window;

    View* superview_ = nullptr;
    std::vector<View*> subviews_;
    Window* window_ = nullptr; // Of a window's content alone.
    std::string accessibleName_;
    std::string layout_;
    Rect frame_;
    Rect bounds_;
    bool isHidden_ = false;
    int focusRequests_ = 0;
};

// Views in a row or one below the other, in the order of adding.
enum class Direction { Down, Across };

class Stack : public View {
public:
    explicit Stack(Direction direction) : direction_(direction) { }
    Direction direction() const { return direction_; }

private:
    Direction direction_;
};

// The same with borders that the user moves. Until then each view has its share of the room: as many parts as
// `shares` says, and one where it says nothing.
class Split : public Stack {
public:
    explicit Split(Direction direction, std::vector<int> shares = {2})
        : Stack(direction), shares_(std::move(shares))
    { }
    int share(std::size_t index) const { return index < shares_.size() ? shares_[index] : 1; }

private:
    std::vector<int> shares_;
};

} // namespace toolkit
