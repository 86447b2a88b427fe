#pragma once

#include <QString>
#include <algorithm>
#include <unicode/unistr.h>

// The bridge to ICU, and the test that lets plain ASCII past it.
namespace qw::text {

// A view of the text's characters: the QString must outlive it.
inline icu::UnicodeString viewOf(const QString& text) {
    return icu::UnicodeString(false, reinterpret_cast<const char16_t*>(text.utf16()), int32_t(text.size()));
}

inline QString fromUnicode(const icu::UnicodeString& text) {
    // Not QString::fromUtf16, which takes U+FEFF and U+FFFE at the start for a byte-order mark.
    return QString(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
}

inline bool isASCII(QStringView text) {
    return std::all_of(text.begin(), text.end(), [](QChar character) { return character.unicode() < 0x80; });
}

inline char16_t asciiLower(char16_t unit) {
    return unit >= u'A' && unit <= u'Z' ? unit | 0x20 : unit;
}
inline char16_t asciiUpper(char16_t unit) {
    return unit >= u'a' && unit <= u'z' ? unit & ~0x20 : unit;
}

// `map` of every character of an ASCII text; shares the text when none changes.
template <class Map>
QString mapASCII(const QString& text, Map map) {
    const auto changes = [&](QChar character) { return map(character.unicode()) != character.unicode(); };
    const auto first = std::find_if(text.begin(), text.end(), changes);
    if (first == text.end())
        return text;
    QString mapped = text;
    const auto start = mapped.begin() + (first - text.begin());
    std::transform(start, mapped.end(), start,
                   [&](QChar character) { return QChar(map(character.unicode())); });
    return mapped;
}

} // namespace qw::text
