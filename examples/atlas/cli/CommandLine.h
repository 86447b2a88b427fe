#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <vector>

struct QWError;

// How a command ends when it does not succeed: thrown by whatever finds out, answered by `main`, which prints
// the message on stderr and exits with the code.
struct Failure {
    explicit Failure(QString text, int code = 1) : message(std::move(text)), exitCode(code) {}
    explicit Failure(const QWError& error);

    QString message;
    int exitCode;
};

// What the user has typed, checked against the command's entry in the table.
struct Arguments {
    QString library;        // absolute path
    QStringList positional; // after the command's name
    QVariantMap options;    // by name: texts, or true for options without a value

    bool has(const QString& option) const { return options.contains(option); }
    QString value(const QString& option) const { return options.value(option).toString(); }
};

struct Command {
    QString name;
    QString usage;                // what follows the name
    QString summary;              // one line
    QStringList options;          // that the command takes besides --library
    int minimum, maximum;         // positional arguments; maximum -1: any number
    int (*run)(const Arguments&); // answers the exit code
};

const std::vector<Command>& commands();

// The command that the program's arguments name, and the rest of them.
std::pair<const Command*, Arguments> parseCommandLine(const QStringList& arguments);

// A line for machines, on stdout.
void print(const QString& line);
