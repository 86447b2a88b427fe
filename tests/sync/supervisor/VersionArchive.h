#pragma once

#include "supervisor/OneDesktop.h"
#include "sync/supervisor/QWVersionArchive.h"

// The book X, "M" of 10 o'clock, stands here and in the cloud.
struct VersionArchive : OneDesktop {
    using Origin = QWArchivedVersion::Origin;
    using Reason = QWArchivedVersion::Reason;

    VersionArchive() : OneDesktop(Desktop::Supervised) {
        begin();
        cloud.putRecord(file, book("M", hourText(10)));
        receive();
    }

    static QDateTime hourOf(int hour) { return {QDate(2026, 5, 5), QTime(hour, 0), Qt::UTC}; }
    static QString hourText(int hour) {
        return QStringLiteral("2026-05-05 %1:00:00 +0000").arg(hour, 2, 10, QLatin1Char('0'));
    }

    void receive() {
        desktop.askForChanges();
        pass(30);
    }
    void receiveBook(const QString& title, int hour) {
        cloud.putRecord(file, book(title, hourText(hour)));
        receive();
    }
    // In the batch that comes next an image is out for a while, when the records have been imported.
    void beginBatchThatWaits() {
        cloud.put("Book!!!X.image", QByteArray::number(++images_));
        desktop.client->removeFaults();
        desktop.client->on(QWRestRequest::LoadFile)
            .where([](const QWRestRequest& request) { return request.path.endsWith(".image"); })
            .delaysAnswer(std::chrono::seconds(10));
        desktop.askForChanges();
        pass(5);
    }
    // By the host, dated like this, and not saved.
    void edit(const QString& title, int hour) {
        desktop.find("X")->setValueForKey("title", title);
        desktop.find("X")->setDateModified(hourOf(hour));
    }
    QString title() { return desktop.find("X")->valueForKey("title").toString(); }

    std::vector<QWArchivedVersion> versions(const QString& uuid = "X") {
        return supervisor().versionArchive().versions(uuid);
    }
    testing::AssertionResult holdsOnly(const QString& title, Origin origin, Reason reason,
                                       const QString& uuid = "X") {
        const auto found = versions(uuid);
        if (found.size() != 1)
            return testing::AssertionFailure() << found.size() << " versions";
        const QString present =
            found[0].record.value(found[0].entityName == "Book" ? "title" : "heading").toString();
        if (present != title || found[0].origin != origin || found[0].reason != reason)
            return testing::AssertionFailure()
                   << present.toStdString() << ", " << int(found[0].origin) << ", " << int(found[0].reason);
        return testing::AssertionSuccess();
    }
    const QString file = "Book!!!X.data";
    const QString copy = "Book!!!X (Bob's conflicted copy).data";

private:
    int images_ = 0;
};
