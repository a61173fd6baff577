#include "toolkit/ViewList.h"

#include <algorithm>

namespace toolkit {

void ViewList::add(std::shared_ptr<View> view)
{
    if (!view || std::find(views_.begin(), views_.end(), view) != views_.end())
        return;
    addSubview(*view);
    views_.push_back(std::move(view));
}

void ViewList::remove(const std::shared_ptr<View>& view)
{
    const auto place = std::find(views_.begin(), views_.end(), view);
    if (place == views_.end())
        return;
    (*place)->removeFromSuperview();
    views_.erase(place);
}

void ViewList::removeAll()
{
    for (const auto& view : views_)
        view->removeFromSuperview();
    views_.clear();
}

} // namespace toolkit
