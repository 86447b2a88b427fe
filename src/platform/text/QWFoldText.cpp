#include "platform/text/QWText.h"

#include "platform/text/QWUnicode_p.h"

#include <QVarLengthArray>
#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
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

// What remains of a letter without case and marks, decomposed, as long as no mark of its own follows: a table
// of all letters of one UTF-16 unit, each worked out when it is first asked for. Any thread.
class PlainLetter {
public:
    explicit PlainLetter(QChar letter) {
        static std::array<std::atomic<quint64>, 0x10000> table; // 0: not worked out yet
        std::atomic<quint64>& known = table[letter.unicode()];
        quint64 bits = known.load(std::memory_order_relaxed);
        if (bits == 0) {
            bits = std::bit_cast<quint64>(fold(letter.unicode()));
            known.store(bits, std::memory_order_relaxed);
        }
        folded_ = std::bit_cast<Folded>(bits);
    }
    // Marks and halves of letters are none, and neither is what has more units than there is room for.
    explicit operator bool() const { return folded_.size != None; }
    QStringView folded() const { return {folded_.units, folded_.size}; }

private:
    static constexpr quint16 None = 0xffff;
    struct Folded {
        char16_t units[3];
        quint16 size;
    };
    static Folded fold(char16_t letter) {
        Folded folded{{}, None};
        if (continuesCharacter(letter) || QChar::isSurrogate(letter))
            return folded;
        const icu::UnicodeString units =
            withoutMarks(normalized(nfd(), icu::UnicodeString(letter)), isBaseOfAccents).foldCase();
        if (units.length() <= 3) {
            folded.size = quint16(units.length());
            units.extract(0, units.length(), folded.units);
        }
        return folded;
    }

    Folded folded_;
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

// foldCaseAndMarks of a text of the letters whose marks are dropped: nothing that is left could be composed
// again. False for another text.
bool foldEuropean(const QString& text, QString& folded) {
    folded.reserve(text.size() + 2);
    for (const QChar unit : text) {
        const PlainLetter letter(unit);
        if (!letter || !isBaseOfAccents(unit.unicode()))
            return false;
        folded.append(letter.folded());
    }
    return true;
}

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
    if (QString folded; foldEuropean(text, folded))
        return folded;
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
    const QChar* unit = text.begin();
    for (; unit != text.end(); ++unit) {
        const PlainLetter letter(*unit);
        if (!letter)
            break;
        if (rest.isEmpty())
            return true;
        if (!rest.startsWith(letter.folded()))
            return false;
        rest = rest.mid(letter.folded().size());
    }
    if (unit == text.end())
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
