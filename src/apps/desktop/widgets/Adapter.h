#pragma once

#include "toolkit/View.h"

#include <QObject>
#include <QWidget>
#include <utility>

// The tie between a model and the widget that shows it. Either may go first: a model that has ended is not
// asked any more, and a widget that has gone is not told.
template <class Shown>
class Adapter {
public:
    explicit Adapter(Shown& model) : model_(&model) { }

    Shown* model() const { return model_; } // Null once it has ended.

    // Calls show(model) now and whenever the model has changed.
    template <class Show>
    void follow(Show show)
    {
        show(*model_);
        observation_ = model_->observe(
            [this, show = std::move(show)](const toolkit::Change&) {
                if (model_)
                    show(*model_);
            },
            [this] { model_ = nullptr; });
    }

private:
    Shown* model_;
    toolkit::Model::Observation observation_;
};

// A control of Qt's that shows a model.
template <class Widget, class Shown>
class Adapted : public Widget {
public:
    explicit Adapted(Shown& model) : adapter_(model) { }

protected:
    Adapter<Shown> adapter_;
};

// What all views have in common: their name for people who can't see them, and whether they are there.
void showCommonParts(QWidget& widget, const toolkit::View& view);
