#include "platform/text/QWText.h"

#include "platform/text/QWUnicode_p.h"

#include <QVarLengthArray>
#include <algorithm>
#include <array>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>

namespace qw::text {

namespace {

const icu::Normalizer2& nfc() {
    static const icu::Normalizer2* const normalizer = [] {
        UErrorCode status = U_ZERO_ERROR;
        const auto* instance = icu::Normalizer2::getNFCInstance(status);
        Q_ASSERT(U_SUCCESS(status));
        return instance;
    }();
    return *normalizer;
}

const icu::Normalizer2& nfd() {
    static const icu::Normalizer2* const normalizer = [] {
        UErrorCode status = U_ZERO_ERROR;
        const auto* instance = icu::Normalizer2::getNFDInstance(status);
        Q_ASSERT(U_SUCCESS(status));
        return instance;
    }();
    return *normalizer;
}

icu::UnicodeString normalized(const icu::Normalizer2& form, const icu::UnicodeString& text) {
    UErrorCode status = U_ZERO_ERROR;
    return form.normalize(text, status);
}

// The decomposed text without the nonspacing marks that follow a base for which `dropsMarksAfter` holds; the
// base of a mark without one is 0.
template <class Condition>
icu::UnicodeString withoutMarks(const icu::UnicodeString& decomposed, Condition dropsMarksAfter) {
    icu::UnicodeString result(decomposed.length(), 0, 0);
    UChar32 base = 0;
    for (int32_t position = 0; position < decomposed.length();
         position = decomposed.moveIndex32(position, 1)) {
        const UChar32 character = decomposed.char32At(position);
        const bool isMark = u_charType(character) == U_NON_SPACING_MARK;
        if (!isMark)
            base = character;
        if (!isMark || !dropsMarksAfter(base))
            result.append(character);
    }
    return result;
}

// Latin, Greek and Cyrillic letters are the same with and without marks; in later scripts a mark makes
// another letter (か, が).
bool isBaseOfAccents(UChar32 base) {
    return base < 0x510;
}

// Whether a character that a reader sees goes on with this one: a mark, or the next letter of a Hangul
// syllable.
bool continuesCharacter(UChar32 character) {
    if (U_MASK(u_charType(character)) & U_GC_M_MASK)
        return true;
    const int32_t hangul = u_getIntPropertyValue(character, UCHAR_HANGUL_SYLLABLE_TYPE);
    return hangul == U_HST_VOWEL_JAMO || hangul == U_HST_TRAILING_JAMO;
}

// What remains of a letter without case and marks, worked out beforehand for the scripts of Europe, whose
// letters fold each for itself as long as no mark of its own follows.
class PlainLetters {
public:
    // Whether every unit of the text is such a letter.
    static bool cover(QStringView text) {
        return std::all_of(text.begin(), text.end(), [](QChar unit) { return covers(unit); });
    }
    static bool covers(QChar unit) { return unit.unicode() < End && table()[unit.unicode()].size > 0; }
    static QStringView folded(QChar unit) {
        const Folded& folded = table()[unit.unicode()];
        return {folded.units, folded.size};
    }

private:
    static constexpr char16_t End = 0x510;
    struct Folded {
        char16_t units[3];
        quint16 size; // 0 for marks
    };
    static const std::array<Folded, End>& table() {
        static const std::array<Folded, End> made = [] {
            std::array<Folded, End> letters{};
            for (char16_t letter = 0; letter < End; ++letter) {
                if (continuesCharacter(letter))
                    continue;
                const icu::UnicodeString units =
                    withoutMarks(normalized(nfd(), icu::UnicodeString(letter)), isBaseOfAccents).foldCase();
                Q_ASSERT(units.length() <= 3);
                letters[letter].size = quint16(units.length());
                units.extract(0, units.length(), letters[letter].units);
            }
            return letters;
        }();
        return made;
    }
};

// A text without case and marks, decomposed, and the places in it where a character of the text ends or
// begins.
struct FoldedCharacters {
    explicit FoldedCharacters(const QString& text) {
        const icu::UnicodeString bare = withoutMarks(normalized(nfd(), viewOf(text)), isBaseOfAccents);
        for (int32_t position = 0; position < bare.length(); position = bare.moveIndex32(position, 1)) {
            const UChar32 character = bare.char32At(position);
            if (!continuesCharacter(character))
                borders.append(units.size());
            units += fromUnicode(icu::UnicodeString(character).foldCase());
        }
        borders.append(units.size());
    }
    bool isBorder(qsizetype place) const {
        return place == 0 || std::binary_search(borders.begin(), borders.end(), place);
    }

    QString units;
    QVarLengthArray<qsizetype, 64> borders;
};

// The start of a text, up to the end of its `count`th character.
QStringView firstCharacters(QStringView text, qsizetype count) {
    qsizetype end = 0;
    for (const QChar* unit = text.begin(); unit != text.end(); end = ++unit - text.begin()) {
        const bool isPair = unit->isHighSurrogate() && unit + 1 != text.end() && unit[1].isLowSurrogate();
        const UChar32 character = isPair ? UChar32(QChar::surrogateToUcs4(*unit, unit[1])) : unit->unicode();
        if (!continuesCharacter(character) && count-- == 0)
            break;
        if (isPair)
            ++unit;
    }
    return text.first(end);
}

} // namespace

QString foldCase(const QString& text) {
    if (isASCII(text))
        return mapASCII(text, asciiLower);
    return fromUnicode(normalized(nfc(), normalized(nfd(), viewOf(text)).foldCase()));
}

QString foldCaseAndMarks(const QString& text) {
    if (isASCII(text))
        return mapASCII(text, asciiLower);
    if (PlainLetters::cover(text)) {
        QString folded;
        folded.reserve(text.size() + 2);
        for (const QChar letter : text)
            folded.append(PlainLetters::folded(letter));
        return folded;
    }
    icu::UnicodeString bare = withoutMarks(normalized(nfd(), viewOf(text)), isBaseOfAccents);
    return fromUnicode(normalized(nfc(), bare.foldCase()));
}

QString foldMarks(const QString& text) {
    if (isASCII(text))
        return text;
    return fromUnicode(normalized(nfc(), withoutMarks(normalized(nfd(), viewOf(text)), isBaseOfAccents)));
}

SearchedText::SearchedText(const QString& text) : folded_(FoldedCharacters(text).units) {}

bool SearchedText::isPrefixOf(QStringView text) const {
    if (folded_.isEmpty())
        return false;
    // Most texts differ within the letters that they begin with.
    QStringView rest = folded_;
    auto letter = text.begin();
    for (; letter != text.end() && PlainLetters::covers(*letter); ++letter) {
        if (rest.isEmpty())
            return true;
        const QStringView folded = PlainLetters::folded(*letter);
        if (!rest.startsWith(folded))
            return false;
        rest = rest.mid(folded.size());
    }
    if (letter == text.end())
        return rest.isEmpty();
    // Every character has one unit or more.
    const FoldedCharacters characters(firstCharacters(text, folded_.size()).toString());
    return characters.units.startsWith(folded_) && characters.isBorder(folded_.size());
}

bool SearchedText::isPartOf(QStringView text) const {
    if (folded_.isEmpty())
        return false;
    const FoldedCharacters characters(text.toString());
    for (qsizetype place = characters.units.indexOf(folded_); place >= 0;
         place = characters.units.indexOf(folded_, place + 1)) {
        if (characters.isBorder(place) && characters.isBorder(place + folded_.size()))
            return true;
    }
    return false;
}

qsizetype SearchedText::lengthAsPrefixOf(QStringView text) const {
    if (!isPrefixOf(text))
        return 0;
    const QString whole = text.toString();
    const icu::UnicodeString units = viewOf(whole);
    qsizetype length = 0;
    do
        length = units.moveIndex32(int32_t(length), 1);
    while (length < text.size()
           && (continuesCharacter(units.char32At(int32_t(length)))
               || FoldedCharacters(whole.left(length)).units != folded_));
    return length;
}

QString stripCombiningMarks(const QString& text) {
    if (isASCII(text))
        return text;
    const auto always = [](UChar32) { return true; };
    return fromUnicode(normalized(nfc(), withoutMarks(normalized(nfd(), viewOf(text)), always)));
}

} // namespace qw::text
