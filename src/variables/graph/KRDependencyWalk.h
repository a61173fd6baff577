#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <unordered_set>
#include <utility>
#include <vector>

class KRDependencyBase;

// What a walk over a graph of objects remembers while it is passed from object to object. One thread.
//
// No object is asked or told inside of another one's turn beyond the next: a chain of any length needs no
// more of the stack than a short one.
class KRDependencyWalk {
public:
    using Pointer = std::shared_ptr<KRDependencyBase>;
    using Objects = std::vector<Pointer>;

    // The objects that have answered.
    bool contains(const KRDependencyBase* object) const { return answered_.contains(object); }
    bool insert(const KRDependencyBase* object) { return answered_.insert(object).second; } // False if known.
    // Those whose answer was the other one, which ends the walk for all that depend on them.
    bool hasObjected(const KRDependencyBase* object) const { return objected_.contains(object); }
    void insertObjection(const KRDependencyBase* object) { objected_.insert(object); }

    // Calls `tell` for an object. While the same message is on its way already, the object waits until its
    // turn; `message` tells messages apart and is only compared.
    template <class Tell>
    void spread(const void* message, Pointer from, Tell tell)
    {
        if (message_ == message) {
            waiting_.push_back(std::move(from));
            return;
        }
        const void* const outerMessage = std::exchange(message_, message);
        std::deque<Pointer> outerWaiting = std::exchange(waiting_, {std::move(from)});
        while (!waiting_.empty()) {
            const Pointer next = std::move(waiting_.front());
            waiting_.pop_front();
            tell(next);
        }
        message_ = outerMessage;
        waiting_ = std::move(outerWaiting);
    }

    // Visits what `next` leads to from the first objects on, at any depth, each object once. `enter` comes
    // before what lies behind an object and tells whether to go there; `leave` comes behind it, and ends the
    // walk with false. True when the walk came to its end.
    template <class Next, class Enter, class Leave>
    static bool visit(Objects first, Next next, Enter enter, Leave leave)
    {
        struct Level {
            Pointer object; // Null for the first ones.
            Objects behind;
            std::size_t at = 0;
        };
        std::unordered_set<const KRDependencyBase*> seen;
        std::vector<Level> levels;
        levels.push_back({nullptr, std::move(first)});
        while (!levels.empty()) {
            Level& level = levels.back();
            if (level.at == level.behind.size()) {
                const Pointer object = std::move(level.object);
                levels.pop_back();
                if (object && !leave(*object))
                    return false;
                continue;
            }
            const Pointer object = level.behind[level.at++];
            if (!seen.contains(object.get()) && enter(object)) {
                seen.insert(object.get());
                levels.push_back({object, next(*object)});
            }
        }
        return true;
    }

private:
    std::unordered_set<const KRDependencyBase*> answered_;
    std::unordered_set<const KRDependencyBase*> objected_;
    const void* message_ = nullptr; // On its way; null for none.
    std::deque<Pointer> waiting_;
};
