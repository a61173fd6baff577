#include "toolkit/Menu.h"

namespace toolkit {

MenuItem MenuItem::separator()
{
    MenuItem item;
    item.isSeparator = true;
    item.isEnabled = false;
    return item;
}

void Menu::add(MenuItem item)
{
    insert(count(), std::move(item));
}

void Menu::insert(int index, MenuItem item)
{
    items_.insert(items_.begin() + index, std::move(item));
    changed({.structure = true});
}

void Menu::remove(int index)
{
    items_.erase(items_.begin() + index);
    changed({.structure = true});
}

void Menu::change(int index, const std::function<void(MenuItem&)>& how)
{
    how(items_.at(static_cast<std::size_t>(index)));
    changed({.value = true});
}

bool Menu::isEnabled(int index) const
{
    const MenuItem& asked = item(index);
    if (asked.isSeparator)
        return false;
    return validator && !asked.action.empty() ? validator(asked.action) : asked.isEnabled;
}

void Menu::choose(int index)
{
    if (!isEnabled(index))
        return;
    const MenuItem chosen = item(index); // The action may rebuild the menu.
    if (chosen.perform)
        chosen.perform(chosen);
}

} // namespace toolkit
