#pragma once

#include "platform/QWObservation.h"

#include <QHash>
#include <QString>
#include <QVariantMap>

// What a notification says: its name, whom it is about (compared by address only, may be null) and further
// facts.
struct QWNotification {
    QString name;
    const void* object = nullptr;
    QVariantMap userInfo = {};
};

// Broadcasts by name, delivered synchronously in the order of registration. One thread.
class QWNotificationCenter {
public:
    using Callback = std::function<void(const QWNotification&)>;

    // Calls `callback` for each notification of `name`; with an `object`, only for those about it.
    QWObservation observe(const QString& name, Callback callback, const void* object = nullptr);
    void post(const QWNotification& notification);

private:
    QHash<QString, QWObserverList<const QWNotification&>> observers_;
};

// Posted when the application is about to end. A program with an event loop gets it from
// `QCoreApplication::aboutToQuit` (see QWEnvironment::standard); a command-line host posts it itself.
inline const QString NSApplicationWillTerminateNotification =
    QStringLiteral("NSApplicationWillTerminateNotification");
