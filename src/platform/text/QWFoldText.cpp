#include "platform/text/QWText.h"

#include "platform/text/QWUnicode_p.h"

#include <QtGlobal>
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

QString stripCombiningMarks(const QString& text) {
    if (isASCII(text))
        return text;
    const auto always = [](UChar32) { return true; };
    return fromUnicode(normalized(nfc(), withoutMarks(normalized(nfd(), viewOf(text)), always)));
}

} // namespace qw::text
