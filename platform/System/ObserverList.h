// Those who asked to be told of one thing, in the order in which they asked.
#pragma once

#include <algorithm>
#include <iterator>
#include <list>
#include <memory>
#include <unordered_map>
#include <vector>

/// Keeps no observer alive. To add or to remove one takes the same time however many there are;
/// those that went without being removed are forgotten whenever the list has doubled. One thread at
/// a time.
template <class Entry>
class ObserverList {
public:
    ObserverList() = default;
    ObserverList(const ObserverList&) = delete;
    ObserverList& operator=(const ObserverList&) = delete;

    void add(const void* observer, std::weak_ptr<void> life, Entry entry) {
        if (inOrder.size() >= pruneAt) {
            prune();
            pruneAt = std::max(smallest, 2 * inOrder.size());
        }
        inOrder.push_back(std::make_shared<Held>(std::move(life), std::move(entry)));
        byObserver.emplace(observer, std::prev(inOrder.end()));
    }

    /// Removes what the observer asked for and the predicate is true of. Nobody is told any more,
    /// not even by a telling that is under way.
    template <class Predicate>
    void remove(const void* observer, const Predicate& matches) {
        const auto [first, last] = byObserver.equal_range(observer);
        for (auto each = first; each != last;) {
            const auto place = each->second;
            if (!matches((*place)->entry)) {
                ++each;
                continue;
            }
            (*place)->removed = true;
            inOrder.erase(place);
            each = byObserver.erase(each);
        }
    }

    /// Calls `tell` with what each asked for, while its observer lives. Observers may come and go
    /// meanwhile; one that comes is not told, and this list may go as well.
    template <class Tell>
    void tellAll(const Tell& tell) const {
        const std::vector<std::shared_ptr<Held>> present(inOrder.begin(), inOrder.end());
        for (const auto& held : present) {
            if (const auto alive = held->life.lock(); alive && !held->removed) {
                tell(held->entry);
            }
        }
    }

    /// Forgets those that are gone. Whether anybody is left.
    bool prune() {
        std::erase_if(byObserver, [](const auto& each) {
            Held& held = **each.second;
            return held.removed = held.life.expired();
        });
        std::erase_if(inOrder, [](const auto& held) { return held->removed; });
        return !inOrder.empty();
    }

    bool isEmpty() const { return inOrder.empty(); }

private:
    struct Held {
        Held(std::weak_ptr<void> life, Entry entry)
            : life(std::move(life)), entry(std::move(entry)) {}
        std::weak_ptr<void> life;
        Entry entry;
        bool removed = false;
    };

    static constexpr std::size_t smallest = 16;
    using InOrder = std::list<std::shared_ptr<Held>>;
    InOrder inOrder;
    std::unordered_multimap<const void*, typename InOrder::iterator> byObserver;
    std::size_t pruneAt = smallest;
};
