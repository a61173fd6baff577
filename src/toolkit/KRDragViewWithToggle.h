#pragma once

#include "toolkit/Controls.h"

// A view of a draggable list that can be collapsed to its first line. Main thread.
class KRDragViewWithToggle : public toolkit::Stack {
public:
    KRDragViewWithToggle() : Stack(toolkit::Direction::Down)
    {
        toggle_.setState(1);
        toggle_.whenPressed = [this] { setOpen(toggle_.state() != 0); };
        addSubview(toggle_);
    }

    bool isOpen() const { return isOpen_; }
    void setOpen(bool isOpen)
    {
        toggle_.setState(isOpen ? 1 : 0);
        if (set(isOpen_, isOpen, {.structure = true}) && isOpen && whenOpened)
            whenOpened();
    }
    std::function<void()> whenOpened; // After it was closed.
    toolkit::CheckBox& toggle() { return toggle_; }
    const toolkit::Color& backgroundColor() const { return backgroundColor_; }
    void setBackgroundColor(const toolkit::Color& color) { set(backgroundColor_, color); }
    bool hasBorder() const { return hasBorder_; }
    void setHasBorder(bool hasBorder) { set(hasBorder_, hasBorder); }

private:
    toolkit::CheckBox toggle_;
    bool isOpen_ = true;
    bool hasBorder_ = false;
    toolkit::Color backgroundColor_;
};
