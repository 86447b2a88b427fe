#pragma once

#include <QJsonObject>
#include <QString>
#include <map>

namespace standin {

// What has been asked of the stand-in so far, and what was on its way at once.
class Statistics {
public:
    void began(const QString& route);
    // Status 0: no answer, or not the whole of it.
    void ended(const QString& route, int status);

    // {"requests": {ROUTE: how many, …}, "answers": {STATUS or "none": how many, …},
    //  "uploadsAtOnce": the most, "downloadsAtOnce": the most}
    QJsonObject toJSON() const;

private:
    struct Concurrency {
        int now = 0, most = 0;
        void change(int by);
    };
    Concurrency* concurrencyOf(const QString& route);

    std::map<QString, int> requests_, answers_;
    Concurrency uploads_, downloads_;
};

} // namespace standin
