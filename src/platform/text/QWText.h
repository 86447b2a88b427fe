#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QStringView>

// Every string rule of the library in one place. All work on whole Unicode text and follow no user locale
// unless a line says so; the rules are those of the platform whose vocabulary the library speaks.
namespace qw::text {

// Title case for each letter that does not follow a letter, lower case for the others. Accents, apostrophes
// and full stops do not end a word; digits, "-", "_" and blanks do: "o'brien" → "O'brien", "book_author" →
// "Book_Author", "map2d" → "Map2D".
QString capitalized(const QString& text);
// Full Unicode case mapping ("ß" ↔ "SS" upwards only; a final sigma is "ς").
QString lowercase(const QString& text);
QString uppercase(const QString& text);

// Case folding with canonical equivalence: equal exactly for texts that differ in letter case only. The form
// in which case-insensitive keys are compared, indexed and sorted.
QString foldCase(const QString& text);
// foldCase, and marks dropped after decomposition: "É" and "e" are equal.
QString foldCaseAndMarks(const QString& text);
// Marks dropped, case kept.
QString foldMarks(const QString& text);

// A text that is looked for in others, letter case and marks ignored as by foldCaseAndMarks. It is found
// where it takes up whole characters of the other text: "s" is no part of "ß", nor "か" of "が". An empty one
// is found nowhere.
class SearchedText {
public:
    explicit SearchedText(const QString& text);
    bool isPrefixOf(QStringView text) const;
    bool isPartOf(QStringView text) const;
    // How many UTF-16 units at the start of `text` it takes up; 0 when it is no prefix.
    qsizetype lengthAsPrefixOf(QStringView text) const;

private:
    QString folded_;
};

// Removes nonspacing marks and recomposes; case is kept: "é" → "e", "한국" stays.
QString stripCombiningMarks(const QString& text);

// Code-point order: <0, 0 or >0. (UTF-16 unit order differs above U+D7FF.)
int compareCodePoints(QStringView left, QStringView right);

// The user's own order, letter case ignored (collation of the default locale at its second level; digits and
// punctuation count as they are): <0, 0 or >0.
int compareLocalizedCaseInsensitive(const QString& left, const QString& right);
// Bytes that compare as the texts do by compareLocalizedCaseInsensitive, for sorting many texts.
QByteArray localizedCaseInsensitiveSortKey(const QString& text);
// Sorts by compareLocalizedCaseInsensitive, what it holds equal by code points.
void sortLocalizedCaseInsensitive(QStringList& texts);

// Pieces between separators; keeps empty pieces. An empty separator yields the whole text.
QStringList components(const QString& text, const QString& separator);

// Paths with "/" between components, remote or local, on every platform.
QString lastPathComponent(const QString& path);     // "/a/b.c" → "b.c", "/" → "/", "/a/" → "a"
QString pathExtension(const QString& path);         // "b.c" → "c", ".data" → ""
QString deletingPathExtension(const QString& path); // "/a/b.c" → "/a/b", ".data" → ".data"
QStringList pathComponents(const QString& path);    // "/a/b" → "/", "a", "b"; "/a/" → "/", "a", "/"
QString appendingPathComponent(const QString& folder, const QString& component);

} // namespace qw::text
