#include "Event.h"

#include <QStringList>
#include <algorithm>
#include <array>

namespace {

enum Role { Work, Fault, RequestFault };

using enum Event::Kind;

struct Description {
    Event::Kind kind;
    const char* name;
    Role role;
};

// In the order of the kinds; behind each what `first` and `second` say, if anything. "Which" of several is a number in the
// order of their uuids, counted around.
// clang-format off
constexpr std::array<Description, Event::KindCount> descriptions{{
    {Add, "add", Work},                                  // first: multiples of 8: an author; second: text
    {Edit, "edit", Work},                                // first: which book; second: title
    {Delete, "delete", Work},                            // first: which book
    {SetImage, "set-image", Work},                       // first: of which book; second: content
    {Save, "save", Work},
    {SetPreference, "set-preference", Work},             // first: which; second: value
    {EditAuthor, "edit-author", Work},                   // first: which author; second: name
    {DeleteAuthor, "delete-author", Work},               // first: which author
    {AddMany, "add-many", Work},                         // first: how many books; second: title of the first one
    {DeleteMany, "delete-many", Work},                   // first: how many books; second: from which on
    {AskAboutDeletions, "ask-about-deletions", Work},    // first: odd: yes; second: after s, 0: at the end
    {RollBack, "roll-back", Work},
    {Refresh, "refresh", Work},                          // first: which book
    {Restore, "restore", Work},                          // first: which of the versions that lost, the latest first
    {AddAgain, "add-again", Work},                       // first: which of the books deleted there; second: title
    {Sync, "sync", Work},
    {Deactivate, "deactivate", Work},
    {Close, "close", Work},
    {Kill, "kill", Fault},                               // first: after how many steps
    {LosePower, "lose-power", Fault},                    // first: as kill; second: seed of what the disk keeps
    {Offline, "offline", RequestFault},                  // first: how many requests, as in all of these
    {ServerError, "server-error", RequestFault},
    {TooManyRequests, "too-many-requests", RequestFault},
    {Refusal, "refusal", RequestFault},
    {NotFound, "not-found", RequestFault},
    {LoseAnswer, "lose-answer", RequestFault},
    {DelayRequest, "delay-request", RequestFault},       // second: s
    {DelayAnswer, "delay-answer", RequestFault},         // second: s
    {Duplicate, "duplicate", RequestFault},
    {Truncate, "truncate", RequestFault},
    {RefuseToken, "refuse-token", RequestFault},
    {StayOffline, "stay-offline", Fault},                // first: minutes
    {JumpClock, "jump-clock", Fault},                    // first: s, also back
    {FillDisk, "fill-disk", Fault},
    {FreeDisk, "free-disk", Work},
    {FailDisk, "fail-disk", Fault},                      // first: see Event::diskFailures
    {ForgetCursors, "forget-cursors", Fault},
    {DeleteFolder, "delete-folder", Fault},
    {DeletePreferences, "delete-preferences", Fault},
}};
// clang-format on

constexpr bool areInOrder() {
    for (size_t kind = 0; kind < descriptions.size(); ++kind)
        if (descriptions[kind].kind != Event::Kind(kind))
            return false;
    return true;
}
static_assert(areInOrder(), "one description of each kind, in their order");

} // namespace

bool Event::isFault() const {
    return descriptions[kind].role != Work;
}

bool Event::disturbsRequests() const {
    return descriptions[kind].role == RequestFault;
}

QString Event::text() const {
    return QStringLiteral("%1 %2 %3 %4 %5")
        .arg(pause.count())
        .arg(machine + 1)
        .arg(QLatin1String(descriptions[kind].name))
        .arg(first)
        .arg(second);
}

std::optional<Event> Event::fromText(const QString& line) {
    const QStringList words = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (words.size() != 5)
        return std::nullopt;
    const auto description =
        std::find_if(descriptions.begin(), descriptions.end(),
                     [&](const Description& each) { return words[2] == QLatin1String(each.name); });
    if (description == descriptions.end())
        return std::nullopt;
    bool isPause = false, isMachine = false, isFirst = false, isSecond = false;
    Event event;
    event.pause = std::chrono::milliseconds(words[0].toLongLong(&isPause));
    event.machine = words[1].toInt(&isMachine) - 1;
    event.kind = description->kind;
    event.first = words[3].toInt(&isFirst);
    event.second = words[4].toInt(&isSecond);
    if (!isPause || !isMachine || event.machine < 0 || !isFirst || !isSecond)
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
