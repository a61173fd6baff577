#include "toolkit/Model.h"

#include "platform/loop/MainLoop.h"

#include <utility>
#include <vector>

namespace toolkit {

struct Model::Observation::Entry {
    ChangeHandler changed;
    std::function<void()> ended;
};

struct Model::State {
    using Entry = Observation::Entry;

    // Those that still observe. A copy: a handler may begin or end observations.
    std::vector<std::shared_ptr<Entry>> present()
    {
        std::erase_if(entries, [](const auto& entry) { return entry.expired(); });
        std::vector<std::shared_ptr<Entry>> held;
        for (const auto& entry : entries)
            held.push_back(entry.lock());
        return held;
    }

    // Calls one function of each entry. An observer that is destroyed meanwhile isn't called any more: only
    // this then holds its entry.
    template <typename Call>
    void tell(Call call)
    {
        for (auto& entry : present()) {
            const std::weak_ptr<Entry> observed = entry;
            entry.reset();
            if (const auto held = observed.lock())
                call(*held);
        }
    }

    std::vector<std::weak_ptr<Entry>> entries;
    Change gathered;
    bool isNoticePosted = false;
};

Change& Change::operator|=(const Change& other)
{
    value |= other.value;
    rows |= other.rows;
    data |= other.data;
    selection |= other.selection;
    structure |= other.structure;
    order |= other.order;
    return *this;
}

Model::~Model()
{
    if (!state_)
        return;
    state_->tell([](const Observation::Entry& entry) {
        if (entry.ended)
            entry.ended();
    });
}

Model::Observation Model::observe(ChangeHandler changed, std::function<void()> ended)
{
    if (!state_)
        state_ = std::make_shared<State>();
    auto entry =
        std::make_shared<Observation::Entry>(Observation::Entry{std::move(changed), std::move(ended)});
    state_->entries.push_back(entry);
    return Observation(std::move(entry));
}

void Model::changed(const Change& change)
{
    if (!state_ || change == Change())
        return;
    state_->gathered |= change;
    if (std::exchange(state_->isNoticePosted, true))
        return;
    platform::MainLoop::main().post([weak = std::weak_ptr(state_)] {
        const auto state = weak.lock();
        if (!state)
            return; // The model was destroyed, and has notified its observers.
        state->isNoticePosted = false;
        const Change all = std::exchange(state->gathered, {});
        state->tell([&all](const Observation::Entry& entry) {
            if (entry.changed)
                entry.changed(all);
        });
    });
}

} // namespace toolkit
