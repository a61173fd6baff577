#pragma once

#include "toolkit/Menu.h"

#include <QMenu>
#include <memory>

// A toolkit menu as a widget. Its items are brought up to date each time it is shown; the keys of its items
// work without.
class MenuWidget final : public QMenu {
public:
    explicit MenuWidget(std::shared_ptr<toolkit::Menu> menu, QWidget* parent);

private:
    void rebuild();
    void refresh();
    void add(int index);

    std::shared_ptr<toolkit::Menu> menu_;
    bool isShown_ = false;
    toolkit::Model::Observation observation_;
};
