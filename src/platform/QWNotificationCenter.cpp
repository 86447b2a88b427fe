#include "platform/QWNotificationCenter.h"

QWObservation QWNotificationCenter::observe(const QString& name, Callback callback, const void* object) {
    if (!object)
        return observers_[name].add(std::move(callback));
    return observers_[name].add([object, callback = std::move(callback)](const QWNotification& notification) {
        if (notification.object == object)
            callback(notification);
    });
}

void QWNotificationCenter::post(const QWNotification& notification) {
    // A copy shares the list: an observer that observes a new name may move the original.
    observers_.value(notification.name).notify(notification);
}
