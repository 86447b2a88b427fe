#pragma once

#include <QString>
#include <chrono>
#include <optional>
#include <vector>

// What happens to the simulated machines and their cloud, and when. A day is a list of events; it follows from a
// seed and a scenario, or is read from text, one line for each event: "1500 2 edit 7 31" is, 1.5 s after the
// one before, on machine 2 an edit with these two arguments.
struct Event {
    // clang-format off
    // The table in Event.cpp says what each is called in a text, and what its arguments are.
    enum Kind {
        Add, Edit, Delete, SetImage, Save, SetPreference, EditAuthor, DeleteAuthor, // the host's user
        AddMany, DeleteMany, AskAboutDeletions, RollBack, Refresh, Restore, AddAgain,
        Sync, Deactivate, Close, Kill, LosePower,                                   // the process
        Offline, ServerError, TooManyRequests, Refusal, NotFound, LoseAnswer,       // the network
        DelayRequest, DelayAnswer, Duplicate, Truncate, RefuseToken, StayOffline,
        JumpClock, FillDisk, FreeDisk, FailDisk,                                    // the machine
        ForgetCursors, DeleteFolder, DeletePreferences,                             // the cloud
        KindCount
    };
    // clang-format on

    std::chrono::milliseconds pause{0}; // since the event before
    int machine = 0;
    Kind kind = Add;
    int first = 0, second = 0;

    QString text() const;
    static std::optional<Event> fromText(const QString& line);

    bool isFault() const;
    bool disturbsRequests() const; // the next `first` ones

    // Of FailDisk `first` says how many operations fail, up to so many, and after how many times so many that do not.
    static constexpr int mostDiskFailures = 4;
    int diskFailures() const { return (first - 1) % mostDiskFailures + 1; }
    int operationsBeforeDiskFailures() const { return first - diskFailures(); }
};

using Day = std::vector<Event>;

QString dayText(const Day& day);
// Nothing, with the line that is none, when the text holds something else.
std::optional<Day> dayFromText(const QString& text, QString* badLine = nullptr);
