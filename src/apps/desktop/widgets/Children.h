#pragma once

#include "apps/desktop/widgets/MakeWidget.h"
#include "toolkit/View.h"

#include <QPointer>
#include <QWidget>
#include <algorithm>
#include <memory>
#include <vector>

// The widgets of what is in a view, in its order.
class Children {
public:
    template <class Insert>
    void follow(const toolkit::View& parent, Insert insert)
    {
        std::erase_if(children_, [&parent](const std::unique_ptr<Child>& child) {
            const auto& present = parent.subviews();
            if (child->view && std::find(present.begin(), present.end(), child->view) != present.end())
                return false;
            delete child->widget; // Null when Qt has deleted it already.
            return true;
        });
        for (std::size_t i = 0; i < parent.subviews().size(); ++i) {
            toolkit::View* view = parent.subviews()[i];
            if (i < children_.size() && children_[i]->view == view)
                continue;
            auto child = std::make_unique<Child>();
            child->view = view;
            child->widget = makeWidget(*view);
            // Another view may be made at the same address.
            child->observation = view->observe({}, [held = child.get()] { held->view = nullptr; });
            insert(static_cast<int>(i), *view, child->widget.data());
            children_.insert(children_.begin() + static_cast<std::ptrdiff_t>(i), std::move(child));
        }
    }

private:
    struct Child {
        toolkit::View* view = nullptr; // Null once it has ended.
        QPointer<QWidget> widget;
        toolkit::Model::Observation observation;
    };
    std::vector<std::unique_ptr<Child>> children_;
};
