#include "Shrinker.h"

#include "World.h"

namespace {

bool breaksPromise(const Script& script, unsigned seed) {
    return !World::run(script, seed).violations.isEmpty();
}

// Without the events of one day from `first` on; the time that they took passes all the same.
Script without(Script script, size_t day, size_t first, size_t count) {
    Day& events = script.days[day];
    const auto begin = events.begin() + std::ptrdiff_t(first);
    const auto end = begin + std::ptrdiff_t(std::min(count, events.size() - first));
    std::chrono::milliseconds pause{0};
    for (auto event = begin; event != end; ++event)
        pause += event->pause;
    if (end != events.end())
        end->pause += pause;
    events.erase(begin, end);
    return script;
}

} // namespace

Script shrink(const Script& script, unsigned seed) {
    Script shortest = script;
    bool isShorter = true;
    while (isShorter) {
        isShorter = false;
        for (size_t day = 0; day < shortest.days.size(); ++day) {
            for (size_t count = std::max<size_t>(1, shortest.days[day].size() / 2); count > 0; count /= 2) {
                for (size_t first = 0; first < shortest.days[day].size();) {
                    const Script shorter = without(shortest, day, first, count);
                    if (breaksPromise(shorter, seed)) {
                        shortest = shorter;
                        isShorter = true;
                    } else {
                        first += count;
                    }
                }
            }
        }
    }
    return shortest;
}
