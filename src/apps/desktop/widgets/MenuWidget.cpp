#include "apps/desktop/widgets/MenuWidget.h"

#include "apps/desktop/widgets/Text.h"

#include <QAction>
#include <QKeySequence>

MenuWidget::MenuWidget(std::shared_ptr<toolkit::Menu> menu, QWidget* parent)
    : QMenu(toQt(menu->title()), parent), menu_(std::move(menu))
{
    rebuild();
    connect(this, &QMenu::aboutToShow, this, [this] {
        isShown_ = true;
        if (menu_->needsUpdate) {
            menu_->needsUpdate(*menu_);
            rebuild();
        }
        refresh();
    });
    connect(this, &QMenu::aboutToHide, this, [this] {
        isShown_ = false;
        refresh();
    });
    observation_ = menu_->observe([this](const toolkit::Change& change) {
        if (change.structure)
            rebuild();
        else
            refresh();
    });
}

void MenuWidget::rebuild()
{
    clear();
    qDeleteAll(findChildren<MenuWidget*>(Qt::FindDirectChildrenOnly));
    for (int i = 0; i < menu_->count(); ++i)
        add(i);
    refresh();
}

void MenuWidget::add(int index)
{
    const toolkit::MenuItem& item = menu_->item(index);
    if (item.isSeparator) {
        addSeparator();
        return;
    }
    if (item.submenu) {
        addMenu(new MenuWidget(item.submenu, this));
        return;
    }
    QAction* action = addAction(toQt(item.title));
    if (!item.key.empty())
        action->setShortcut(QKeySequence(toQt(item.key), QKeySequence::PortableText));
    // By the item's place: what an action does may rebuild the menu.
    connect(action, &QAction::triggered, this, [this, index] {
        if (index < menu_->count())
            menu_->choose(index);
    });
}

void MenuWidget::refresh()
{
    const auto shown = actions();
    for (int i = 0; i < menu_->count() && i < shown.size(); ++i) {
        const toolkit::MenuItem& item = menu_->item(i);
        if (item.isSeparator || item.submenu)
            continue;
        shown[i]->setText(toQt(item.title));
        // Qt ignores the key of a disabled item. The model asks again when the key is pressed, so that only a
        // menu on display needs the answer.
        shown[i]->setEnabled((!isShown_ && !item.key.empty()) || menu_->isEnabled(i));
        shown[i]->setCheckable(item.isChecked);
        shown[i]->setChecked(item.isChecked);
    }
}
