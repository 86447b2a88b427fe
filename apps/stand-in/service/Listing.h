#pragma once

#include <QString>

namespace standin {

// What a listing is about and how far it has come: all of it is in its cursor's text.
struct Listing {
    static constexpr int mostEntries = 2000; // in a page

    QString lowercasePath; // empty: the root
    bool isRecursive = false;
    int limit = mostEntries;
    QString cursor; // the app folder's own; empty: from the start

    QString toText() const;
    // A text that `toText` has not made gives a listing whose cursor no folder knows.
    static Listing fromText(const QString& text);

    bool holds(const QString& path) const;
};

} // namespace standin
