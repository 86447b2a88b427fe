#include "Shrinker.h"

#include "World.h"

#include <QStringList>

namespace {

bool breaksPromise(const Script& script, unsigned seed) {
    return !World::run(script, seed).violations.isEmpty();
}

// Without the events of one day from `first` on; the time that they took passes all the same.
Script without(Script script, size_t day, size_t first, size_t count) {
    Day& events = script.days[day];
    const auto begin = events.begin() + std::ptrdiff_t(first);
    const auto end = begin + std::ptrdiff_t(std::min(count, events.size() - first));
    std::chrono::milliseconds pause{0};
    for (auto event = begin; event != end; ++event)
        pause += event->pause;
    if (end != events.end())
        end->pause += pause;
    events.erase(begin, end);
    return script;
}

QString literalOf(const Day& day) {
    return QLatin1Char('"') + dayText(day).trimmed().replace(QLatin1Char('\n'), QStringLiteral("\\n\"\n\""))
           + QLatin1Char('"');
}

// As a test makes it.
QString literalOf(const Script& script) {
    QStringList offsets, days;
    for (const int offset : script.clockOffsets)
        offsets.append(QString::number(offset));
    for (const Day& day : script.days)
        days.append(literalOf(day));
    return QStringLiteral("scriptOf({%1}, {%2})")
        .arg(offsets.join(QStringLiteral(", ")), days.join(QStringLiteral(", ")));
}

} // namespace

Script shrink(const Script& script, unsigned seed) {
    Script shortest = script;
    bool isShorter = true;
    while (isShorter) {
        isShorter = false;
        for (size_t day = 0; day < shortest.days.size(); ++day) {
            for (size_t count = std::max<size_t>(1, shortest.days[day].size() / 2); count > 0; count /= 2) {
                for (size_t first = 0; first < shortest.days[day].size();) {
                    const Script shorter = without(shortest, day, first, count);
                    if (breaksPromise(shorter, seed)) {
                        shortest = shorter;
                        isShorter = true;
                    } else {
                        first += count;
                    }
                }
            }
        }
    }
    return shortest;
}

QString testOf(const Script& script, unsigned seed) {
    const QString expectation = QStringLiteral("EXPECT_TRUE(keepsEveryPromise(%1, %2));");
    if (script.isSupervised)
        return expectation.arg(literalOf(script)).arg(seed);
    QStringList lines{QStringLiteral("Script script = %1;").arg(literalOf(script)),
                      QStringLiteral("script.isSupervised = false;")};
    if (script.forbidden)
        lines.append(
            QStringLiteral("script.forbidden = leftoverNamed(\"%1\");").arg(nameOf(*script.forbidden)));
    lines.append(expectation.arg(QStringLiteral("script")).arg(seed));
    return lines.join(QLatin1Char('\n'));
}
