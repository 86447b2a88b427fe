#include "store/sqlite/QWDistinctReading.h"

#include "platform/text/QWText.h"

#include <QHashFunctions>
#include <algorithm>
#include <string>
#include <vector>

namespace {

// A row that repeats the value before it costs about a thirtieth of a search in the index.
constexpr int RepeatsBeforeSearch = 32;

std::string_view textOf(const QWSQLiteStatement& statement) {
    const QByteArrayView utf8 = statement.utf8(0);
    return {utf8.data(), size_t(utf8.size())};
}

// Counts what texts take in memory, up to a limit.
class TextsRead {
public:
    explicit TextsRead(qint64 mostBytes) : bytesLeft_(mostBytes) {}

    // False when it is too much.
    bool add(std::string_view utf8) {
        // In UTF-16, twice when folding changes it; and what every text takes besides.
        bytesLeft_ -= 4 * qint64(utf8.size()) + 100;
        texts_.append(QString::fromUtf8(utf8.data(), qsizetype(utf8.size())));
        return bytesLeft_ >= 0;
    }
    QStringList& texts() { return texts_; }

private:
    QStringList texts_;
    qint64 bytesLeft_;
};

// Tells apart texts that come in any order and many times each: a million rows pass here before the first
// list, so it keeps all texts in one block, and finds one in two steps through short arrays.
class TextsSeen {
public:
    // True the first time.
    bool insert(std::string_view text) {
        if (2 * places_.size() >= slots_.size())
            grow();
        const size_t hash = qHashBits(text.data(), text.size());
        Slot& slot = find(hash, text);
        if (slot.number != 0)
            return false;
        places_.push_back({bytes_.size(), text.size()});
        bytes_ += text;
        slot = {quint32(hash), quint32(places_.size())};
        return true;
    }

private:
    struct Slot {
        quint32 hash = 0;
        quint32 number = 0; // of the text, from 1; 0: free
    };
    struct Place {
        size_t start, size;
        std::string_view in(const std::string& bytes) const { return {bytes.data() + start, size}; }
    };
    // Where the text is, or may be put.
    Slot& find(size_t hash, std::string_view text) {
        for (size_t index = hash & (slots_.size() - 1);; index = (index + 1) & (slots_.size() - 1)) {
            Slot& slot = slots_[index];
            if (slot.number == 0
                || (slot.hash == quint32(hash) && places_[slot.number - 1].in(bytes_) == text))
                return slot;
        }
    }
    void grow() {
        slots_.assign(std::max<size_t>(1024, 2 * slots_.size()), {});
        quint32 number = 0;
        for (const Place& place : places_) {
            const std::string_view text = place.in(bytes_);
            const size_t hash = qHashBits(text.data(), text.size());
            find(hash, text) = {quint32(hash), ++number};
        }
    }

    std::string bytes_;
    std::vector<Place> places_;
    std::vector<Slot> slots_; // a power of two of them, half free
};

} // namespace

std::optional<QStringList> QWReadDistinctThroughIndex(QWSQLiteConnection& connection,
                                                      const QByteArray& column, const QByteArray& rows,
                                                      qint64 mostBytes) {
    TextsRead read(mostBytes);
    std::string last;
    {
        QWSQLiteStatement first(connection, "SELECT min(" + column + ")" + rows + column + " IS NOT NULL");
        if (!first.step() || first.isNull(0))
            return QStringList();
        last = textOf(first);
        if (!read.add(last))
            return std::nullopt;
    }
    // As bytes, which come back as they were even if they are no sound text.
    const QByteArray next = "SELECT " + column + rows + column + " > CAST(? AS TEXT) ORDER BY " + column;
    for (bool isThrough = false; !isThrough;) {
        QWSQLiteStatement statement(connection, next);
        statement.bindBytes(1, QByteArray(last.data(), qsizetype(last.size())));
        isThrough = true;
        for (int repeats = 0; statement.step();) {
            if (textOf(statement) != last) {
                repeats = 0;
                last = textOf(statement);
                if (!read.add(last))
                    return std::nullopt;
            } else if (++repeats == RepeatsBeforeSearch) {
                isThrough = false;
                break;
            }
        }
    }
    return read.texts();
}

std::optional<QStringList> QWReadDistinctFromRows(QWSQLiteConnection& connection, const QByteArray& column,
                                                  const QByteArray& rows, qint64 mostBytes) {
    TextsRead read(mostBytes);
    TextsSeen seen;
    QWSQLiteStatement statement(connection, "SELECT " + column + rows + column + " IS NOT NULL");
    while (statement.step()) {
        if (const std::string_view text = textOf(statement); seen.insert(text) && !read.add(text))
            return std::nullopt;
    }
    std::sort(read.texts().begin(), read.texts().end(), [](const QString& left, const QString& right) {
        return qw::text::compareCodePoints(left, right) < 0;
    });
    return read.texts();
}
