#include "sync/records/QWPropertyListGuard_p.h"

#include <QXmlStreamReader>
#include <QtEndian>
#include <optional>
#include <vector>

namespace {

constexpr int maximumDepth = 512;
// Objects that a binary list names several times are copied for each name. Ordinary lists, which share keys
// and equal strings, grow two- or threefold.
constexpr quint64 maximumGrowth = 16;

bool isSafeXML(const QByteArray& bytes) {
    QXmlStreamReader xml(bytes);
    int depth = -2; // of containers: the element around the list and the innermost value do not count
    while (!xml.atEnd()) {
        switch (xml.readNext()) {
        case QXmlStreamReader::StartElement:
            if (++depth > maximumDepth)
                return false;
            break;
        case QXmlStreamReader::EndElement:
            --depth;
            break;
        case QXmlStreamReader::DTD:
            // Entities declared in the file could hide nesting.
            if (xml.text().contains(QLatin1Char('[')))
                return false;
            break;
        default:
            break;
        }
    }
    return !xml.hasError();
}

// The binary form: objects one after the other, a table of their offsets, a trailer of 32 bytes. Containers
// hold the numbers of their members.
class BinaryList {
public:
    explicit BinaryList(const QByteArray& bytes) : bytes_(bytes) {}

    bool isSafe() {
        constexpr qsizetype headerSize = 8, trailerSize = 32;
        if (bytes_.size() < headerSize + trailerSize)
            return false;
        const auto trailer = static_cast<quint64>(bytes_.size() - trailerSize);
        offsetSize_ = static_cast<quint8>(bytes_[trailer + 6]);
        referenceSize_ = static_cast<quint8>(bytes_[trailer + 7]);
        const quint64 count = number(trailer + 8, 8);
        const quint64 root = number(trailer + 16, 8);
        tableAt_ = number(trailer + 24, 8);
        if (offsetSize_ < 1 || offsetSize_ > 8 || referenceSize_ < 1 || referenceSize_ > 8
            || tableAt_ > trailer || count > (trailer - tableAt_) / offsetSize_)
            return false;
        extents_.resize(count);
        const auto whole = extent(root, 0);
        return whole && whole->size / maximumGrowth <= trailer;
    }

private:
    struct Extent {
        quint64 size = 0; // bytes with every shared object counted as often as it is named; 0: not known yet
        int height = 0;   // containers below, itself included
        bool isKey = false;
    };

    quint64 number(quint64 at, int size) const {
        quint64 value = 0;
        for (int i = 0; i < size; ++i)
            value = value << 8 | static_cast<quint8>(bytes_[at + i]);
        return value;
    }

    // Whether the string at that place can be a key: the parser stops the process at one in UTF-16 that holds a
    // NUL.
    bool isKey(int type, quint64 at, quint64 length) const {
        constexpr int ascii = 5, utf16 = 6;
        if (type != utf16)
            return type == ascii;
        if (length > (tableAt_ - at) / 2)
            return false;
        for (quint64 unit = 0; unit < length; ++unit)
            if (number(at + 2 * unit, 2) == 0)
                return false;
        return true;
    }

    // Nothing for an object that breaks the form or the limits; a cycle ends at the depth limit.
    std::optional<Extent> extent(quint64 object, int depth) {
        if (object >= extents_.size() || depth > maximumDepth)
            return std::nullopt;
        if (const auto known = extents_[object]; known.size)
            return depth + known.height > maximumDepth ? std::nullopt : std::optional(known);

        quint64 at = number(tableAt_ + object * offsetSize_, offsetSize_);
        if (at >= tableAt_)
            return std::nullopt;
        const auto marker = static_cast<quint8>(bytes_[at++]);
        const int type = marker >> 4;
        quint64 length = marker & 0x0f;
        const bool hasLength = type >= 4 && type != 8;
        if (hasLength && length == 0x0f) {
            const int size = 1 << (bytes_[at] & 0x03);
            if (at + 1 + size > tableAt_)
                return std::nullopt;
            length = number(at + 1, size);
            at += 1 + size;
        }
        if (length > static_cast<quint64>(bytes_.size()))
            return std::nullopt;

        const bool isDictionary = type == 0x0d;
        const bool isContainer = type == 0x0a || type == 0x0c || isDictionary;
        Extent result{1 + length, 0, isKey(type, at, length)};
        if (isContainer) {
            const quint64 members = isDictionary ? 2 * length : length;
            if (members * referenceSize_ > tableAt_ - at)
                return std::nullopt;
            for (quint64 i = 0; i < members; ++i) {
                const auto member = extent(number(at + i * referenceSize_, referenceSize_), depth + 1);
                const bool mustBeKey = isDictionary && i < length;
                if (!member || (mustBeKey && !member->isKey))
                    return std::nullopt;
                result.size += member->size;
                result.height = std::max(result.height, member->height);
                if (result.size / maximumGrowth > static_cast<quint64>(bytes_.size()))
                    return std::nullopt;
            }
            ++result.height;
        }
        return extents_[object] = result;
    }

    const QByteArray& bytes_;
    int offsetSize_ = 0, referenceSize_ = 0;
    quint64 tableAt_ = 0;
    std::vector<Extent> extents_; // by object number
};

} // namespace

bool qw::sync::isSafePropertyList(const QByteArray& bytes) {
    return bytes.startsWith("bplist") ? BinaryList(bytes).isSafe() : isSafeXML(bytes);
}
