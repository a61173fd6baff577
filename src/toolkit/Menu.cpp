#include "toolkit/Menu.h"

namespace toolkit {

MenuItem MenuItem::separator()
{
    MenuItem item;
    item.isSeparator = true;
    item.isEnabled = false;
    return item;
}

MenuItem& Menu::add(MenuItem item)
{
    return insert(count(), std::move(item));
}

MenuItem& Menu::insert(int index, MenuItem item)
{
    return **items_.insert(items_.begin() + index, std::make_unique<MenuItem>(std::move(item)));
}

void Menu::remove(int index)
{
    items_.erase(items_.begin() + index);
}

void Menu::choose(int index)
{
    const MenuItem chosen = item(index); // The action may rebuild the menu.
    if (chosen.isEnabled && chosen.perform)
        chosen.perform(chosen);
}

} // namespace toolkit
