#include "toolkit/ViewList.h"

#include <algorithm>

namespace toolkit {

void ViewList::add(std::shared_ptr<View> view)
{
    if (!view || std::find(views_.begin(), views_.end(), view) != views_.end())
        return;
    addSubview(*view);
    views_.push_back(std::move(view));
    select({});
}

void ViewList::remove(const std::shared_ptr<View>& view)
{
    const auto place = std::find(views_.begin(), views_.end(), view);
    if (place == views_.end())
        return;
    (*place)->removeFromSuperview();
    views_.erase(place);
    select({});
}

void ViewList::removeAll()
{
    for (const auto& view : views_)
        view->removeFromSuperview();
    views_.clear();
    select({});
}

void ViewList::select(std::set<std::size_t> rows)
{
    std::erase_if(rows, [this](std::size_t row) { return row >= views_.size(); });
    if (set(selectedRows_, std::move(rows), {.selection = true}) && whenSelected)
        whenSelected();
}

} // namespace toolkit
