#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

// Keeps one observer registered for as long as it lives; move-only. May outlive what it observes.
class [[nodiscard]] QWObservation {
public:
    QWObservation() = default;
    explicit QWObservation(std::function<void()> remove) : remove_(std::move(remove)) {}
    QWObservation(QWObservation&& other) noexcept : remove_(std::exchange(other.remove_, nullptr)) {}
    QWObservation& operator=(QWObservation&& other) noexcept {
        if (this != &other) {
            stop();
            remove_ = std::exchange(other.remove_, nullptr);
        }
        return *this;
    }
    ~QWObservation() { stop(); }

    // Removes the observer now; later calls do nothing.
    void stop() {
        if (auto remove = std::exchange(remove_, nullptr))
            remove();
    }
    bool isActive() const { return static_cast<bool>(remove_); }

private:
    std::function<void()> remove_;
};

// The observers of one event, called synchronously in the order of registration. An observer may add and
// remove observers (itself included) while it is called: one removed is not called any more, one added is
// called from the next notice on. One thread.
template <class... Arguments>
class QWObserverList {
public:
    using Callback = std::function<void(Arguments...)>;

    QWObservation add(Callback callback) {
        auto entry = std::make_shared<Callback>(std::move(callback));
        entries_->push_back(entry);
        return QWObservation([list = std::weak_ptr(entries_), weak = std::weak_ptr(entry)] {
            auto entries = list.lock();
            auto target = weak.lock();
            if (!entries || !target)
                return;
            std::erase(*entries, target);
            *target = nullptr; // so that a notice under way skips it
        });
    }

    void notify(Arguments... arguments) const {
        const auto snapshot = *entries_;
        for (const auto& entry : snapshot) {
            if (!*entry)
                continue;
            const Callback callback = *entry; // the observer may remove itself while it runs
            callback(arguments...);
        }
    }

    bool isEmpty() const { return entries_->empty(); }

private:
    using Entries = std::vector<std::shared_ptr<Callback>>;
    std::shared_ptr<Entries> entries_ = std::make_shared<Entries>();
};
