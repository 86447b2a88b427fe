#include "Event.h"

#include <QStringList>
#include <algorithm>
#include <array>

namespace {

const std::array<const char*, Event::KindCount> kindNames{"add",
                                                          "edit",
                                                          "delete",
                                                          "set-image",
                                                          "save",
                                                          "set-preference",
                                                          "edit-author",
                                                          "delete-author",
                                                          "add-many",
                                                          "delete-many",
                                                          "ask-about-deletions",
                                                          "sync",
                                                          "deactivate",
                                                          "close",
                                                          "kill",
                                                          "lose-power",
                                                          "offline",
                                                          "server-error",
                                                          "too-many-requests",
                                                          "refusal",
                                                          "not-found",
                                                          "lose-answer",
                                                          "delay-request",
                                                          "delay-answer",
                                                          "duplicate",
                                                          "truncate",
                                                          "refuse-token",
                                                          "stay-offline",
                                                          "jump-clock",
                                                          "fill-disk",
                                                          "free-disk",
                                                          "fail-disk",
                                                          "forget-cursors",
                                                          "delete-folder",
                                                          "delete-preferences"};

} // namespace

QString Event::text() const {
    return QStringLiteral("%1 %2 %3 %4 %5")
        .arg(pause.count())
        .arg(machine + 1)
        .arg(QLatin1String(kindNames[size_t(kind)]))
        .arg(first)
        .arg(second);
}

std::optional<Event> Event::fromText(const QString& line) {
    const QStringList words = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (words.size() != 5)
        return std::nullopt;
    const auto name = std::find(kindNames.begin(), kindNames.end(), words[2].toStdString());
    bool isPause = false, isMachine = false, isFirst = false, isSecond = false;
    Event event;
    event.pause = std::chrono::milliseconds(words[0].toLongLong(&isPause));
    event.machine = words[1].toInt(&isMachine) - 1;
    event.kind = Kind(name - kindNames.begin());
    event.first = words[3].toInt(&isFirst);
    event.second = words[4].toInt(&isSecond);
    if (name == kindNames.end() || !isPause || !isMachine || event.machine < 0 || !isFirst || !isSecond)
        return std::nullopt;
    return event;
}

QString dayText(const Day& day) {
    QString text;
    for (const Event& event : day)
        text += event.text() + QLatin1Char('\n');
    return text;
}

std::optional<Day> dayFromText(const QString& text, QString* badLine) {
    Day day;
    for (const QString& line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (line.trimmed().isEmpty())
            continue;
        const auto event = Event::fromText(line);
        if (!event) {
            if (badLine)
                *badLine = line;
            return std::nullopt;
        }
        day.push_back(*event);
    }
    return day;
}
