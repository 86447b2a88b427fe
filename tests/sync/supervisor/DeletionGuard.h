#pragma once

#include "supervisor/OneDesktop.h"

#include <QJsonDocument>
#include <QJsonObject>

// A desktop whose host is asked before very many records are deleted.
struct DeletionGuard : OneDesktop {
    DeletionGuard() : OneDesktop(Desktop::Supervised) {
        begin();
        ask();
    }

    // The host answers such questions.
    void ask() {
        supervisor().setDeletionQuestion([this](qint64 count, qint64 total) {
            questions.push_back({count, total});
        });
    }
    static QString file(int number) { return QStringLiteral("Book!!!N%1.data").arg(number); }
    void hold(int count) {
        for (int number = 0; number < count; ++number)
            cloud.putRecord(file(number), book("Old"));
        receive();
        ASSERT_EQ(books(), count);
    }
    // Of each of the first books. Answers the names of their files.
    QStringList addChapters(int bookCount, int chaptersOfBook) {
        QStringList names;
        for (int number = 0; number < bookCount; ++number)
            for (int chapter = 0; chapter < chaptersOfBook; ++chapter) {
                const auto added = desktop.add("Chapter");
                added->setRelatedObject("book", desktop.find(QStringLiteral("N%1").arg(number)).data());
                names.append(fileName(*added, "data"));
            }
        desktop.save();
        pass(60);
        return names;
    }
    void remove(int count, int first = 0) {
        for (int number = first; number < first + count; ++number)
            cloud.remove(file(number));
    }
    void receive() {
        desktop.askForChanges();
        pass(60);
    }
    // 60 of 100 are deleted elsewhere, and the host was asked. Requests count from then on.
    void openQuestion() {
        hold(100);
        remove(60);
        receive();
        ASSERT_EQ(questions, Questions({{60, 100}}));
        ASSERT_TRUE(supervisor().isDeletionQuestionOpen());
        desktop.client->forgetRequests();
    }
    // In another process, after the death of the one before.
    void startAnew() {
        desktop.crash();
        desktop.start();
        ask();
        desktop.activate();
        pass(60);
    }
    qint64 books() { return desktop.context->count(QWFetchRequest("Book")).value_or(-1); }
    QString titleInCloud(const QString& name) {
        return QJsonDocument::fromJson(cloud.bytes(name)).object()["title"].toString();
    }
    int queries() { return count(QWRestRequest::LoadDelta); }

    using Questions = std::vector<std::pair<qint64, qint64>>;
    Questions questions;
};
