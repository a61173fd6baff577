#include "toolkit/Controls.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

namespace toolkit {

namespace {

// A copy, so that the action may replace itself or take its control away.
void perform(const std::function<void()>& action)
{
    if (const auto held = action)
        held();
}

} // namespace

int TextField::integerValue() const
{
    const char* first = stringValue_.data();
    const char* last = first + stringValue_.size();
    while (first != last && (*first == ' ' || *first == '\t'))
        ++first;
    if (last - first > 1 && first[0] == '+' && first[1] != '-')
        ++first;
    int value = 0;
    const auto [end, error] = std::from_chars(first, last, value);
    if (error == std::errc::result_out_of_range)
        return *first == '-' ? -std::numeric_limits<int>::max() : std::numeric_limits<int>::max();
    return value;
}

void TextField::edit(std::string text)
{
    if (!isEditable_)
        return;
    edited_ = std::move(text);
    changed({.value = true});
    perform(whenEdited);
}

void TextField::commit()
{
    if (!edited_)
        return;
    stringValue_ = std::move(*edited_);
    edited_.reset();
    changed({.value = true});
    perform(whenCommitted);
}

void TextField::commit(std::string text)
{
    if (!isEditable_)
        return;
    edited_ = std::move(text);
    commit();
}

void TextField::cancelEditing()
{
    if (std::exchange(edited_, std::nullopt))
        changed({.value = true});
}

void TextView::edit(RichText text)
{
    if (!isEditable_)
        return;
    setText(std::move(text));
    perform(whenEdited);
}

void TextView::endEditing()
{
    perform(whenEditingEnded);
}

void Button::press()
{
    if (isEnabled_ && !isHidden())
        perform(whenPressed);
}

void CheckBox::press()
{
    if (!isEnabled() || isHidden())
        return;
    setState(state() == 0 ? 1 : 0);
    Button::press();
}

void PopUp::setItems(std::vector<std::string> items)
{
    const std::string selected =
        selectedIndex_ < 0 ? std::string() : items_[static_cast<std::size_t>(selectedIndex_)];
    items_ = std::move(items);
    const auto place = std::find(items_.begin(), items_.end(), selected);
    selectedIndex_ = items_.empty() ? -1
        : place == items_.end()     ? 0
                                    : static_cast<int>(place - items_.begin());
    changed({.selection = true, .structure = true});
}

void PopUp::selectIndex(int index)
{
    if (index >= 0 && static_cast<std::size_t>(index) < items_.size())
        set(selectedIndex_, index, {.selection = true});
}

void PopUp::choose(int index)
{
    selectIndex(index);
    if (selectedIndex_ == index)
        perform(whenChosen);
}

void ProgressBar::setRange(double minimum, double maximum)
{
    set(minimum_, minimum);
    set(maximum_, maximum);
}

void TabView::addTab(Tab tab)
{
    if (tab.view)
        addSubview(*tab.view);
    if (tabs_.empty())
        selectedIdentifier_ = tab.identifier;
    tabs_.push_back(std::move(tab));
    changed({.selection = true, .structure = true});
}

void TabView::choose(const std::string& identifier)
{
    perform(willSelect);
    select(identifier);
}

} // namespace toolkit
