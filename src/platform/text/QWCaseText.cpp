#include "platform/text/QWText.h"

#include "platform/text/QWUnicode_p.h"

#include <unicode/locid.h>
#include <unicode/stringoptions.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>

namespace qw::text {

namespace {

// The text from one title-cased character up to the next. It is lowered as a whole, because what a final
// sigma becomes depends on the letters before it.
icu::UnicodeString capitalizedWord(const icu::UnicodeString& word) {
    if (word.isEmpty())
        return word;
    const auto& root = icu::Locale::getRoot();
    const icu::UnicodeString first(word.char32At(0));
    const int32_t firstLowered = icu::UnicodeString(first).toLower(root).length();
    icu::UnicodeString titled(first);
    titled.toTitle(nullptr, root, U_TITLECASE_WHOLE_STRING | U_TITLECASE_NO_BREAK_ADJUSTMENT);
    return titled.append(icu::UnicodeString(word).toLower(root), firstLowered, INT32_MAX);
}

} // namespace

QString capitalized(const QString& text) {
    const icu::UnicodeString source = viewOf(text);
    icu::UnicodeString result;
    bool afterLetter = false;
    int32_t wordStart = 0;
    for (int32_t position = 0; position < source.length(); position = source.moveIndex32(position, 1)) {
        const UChar32 character = source.char32At(position);
        const bool isLetter = u_hasBinaryProperty(character, UCHAR_CASED);
        if (isLetter && !afterLetter) {
            result.append(capitalizedWord(source.tempSubStringBetween(wordStart, position)));
            wordStart = position;
        }
        if (!u_hasBinaryProperty(character, UCHAR_CASE_IGNORABLE))
            afterLetter = isLetter;
    }
    return fromUnicode(result.append(capitalizedWord(source.tempSubString(wordStart))));
}

QString lowercase(const QString& text) {
    if (isASCII(text))
        return mapASCII(text, asciiLower);
    return fromUnicode(viewOf(text).toLower(icu::Locale::getRoot()));
}

QString uppercase(const QString& text) {
    if (isASCII(text))
        return mapASCII(text, asciiUpper);
    return fromUnicode(viewOf(text).toUpper(icu::Locale::getRoot()));
}

int compareCodePoints(QStringView left, QStringView right) {
    // ICU takes a null pointer for an error and answers "equal".
    const auto units = [](QStringView text) { return text.isNull() ? u"" : text.utf16(); };
    return u_strCompare(units(left), int32_t(left.size()), units(right), int32_t(right.size()), true);
}

} // namespace qw::text
