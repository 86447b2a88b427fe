#include "platform/text/QWText.h"

#include "platform/text/QWUnicode_p.h"

#include <QVarLengthArray>
#include <algorithm>
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

// Whether a character that a reader sees goes on with this one: a mark, or the next letter of a Hangul syllable.
bool continuesCharacter(UChar32 character) {
    if (U_MASK(u_charType(character)) & U_GC_M_MASK)
        return true;
    const int32_t hangul = u_getIntPropertyValue(character, UCHAR_HANGUL_SYLLABLE_TYPE);
    return hangul == U_HST_VOWEL_JAMO || hangul == U_HST_TRAILING_JAMO;
}

// A text without case and marks, decomposed, and the places in it where a character of the text ends or begins.
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

} // namespace

QString foldCase(const QString& text) {
    if (isASCII(text))
        return mapASCII(text, asciiLower);
    return fromUnicode(normalized(nfc(), normalized(nfd(), viewOf(text)).foldCase()));
}

QString foldCaseAndMarks(const QString& text) {
    if (isASCII(text))
        return mapASCII(text, asciiLower);
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
    // Most texts differ within the plain letters that they begin with, and those fold to themselves.
    qsizetype place = 0;
    for (; place < text.size() && text[place].unicode() < 0x80; ++place) {
        if (place == folded_.size())
            return true;
        if (asciiLower(text[place].unicode()) != folded_[place].unicode())
            return false;
    }
    if (place == text.size())
        return place == folded_.size();
    const FoldedCharacters characters(text.toString());
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
