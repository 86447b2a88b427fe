#include "store/QWFetchCriteria.h"

#include "platform/text/QWText.h"
#include "store/QWManagedObjectContext_p.h"
#include "store/QWStoreError.h"
#include "store/predicate/QWBoundPredicate_p.h"

#include <QDateTime>
#include <QtEndian>
#include <algorithm>
#include <bit>

// A place is what the sort descriptors see of a record, one after another, then its key. Each part ends
// itself, so that no part is the beginning of another, and bytes alone decide.

namespace {

constexpr char noValue = 0, text = 1, number = 1, bytes = 2; // what comes first in the store's order

void appendOrdered(QByteArray& place, quint64 bits) {
    bits = qToBigEndian(bits);
    place.append(reinterpret_cast<const char*>(&bits), sizeof bits);
}

void appendInteger(QByteArray& place, qint64 value) {
    appendOrdered(place, quint64(value) ^ (quint64(1) << 63));
}

void appendDouble(QByteArray& place, double value) {
    const auto bits = std::bit_cast<quint64>(value == 0 ? 0.0 : value); // -0 equals 0
    appendOrdered(place, bits >> 63 ? ~bits : bits ^ (quint64(1) << 63));
}

// A zero within is followed by FF, the end is two zeros: a text stands before all that begin with it.
void appendBytes(QByteArray& place, const QByteArray& value) {
    for (qsizetype start = 0; start < value.size();) {
        const qsizetype zero = value.indexOf('\0', start);
        const qsizetype end = zero < 0 ? value.size() : zero + 1;
        place.append(value.constData() + start, end - start);
        if (zero >= 0)
            place.append('\xFF');
        start = end;
    }
    place.append(2, '\0');
}

void appendValue(QByteArray& place, const QVariant& value, QWSortDescriptor::Comparison comparison) {
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        place.append(noValue);
        return;
    case QMetaType::QString:
        if (comparison == QWSortDescriptor::Comparison::LocalizedCaseInsensitive) {
            place.append(bytes);
            return appendBytes(place, qw::text::localizedCaseInsensitiveSortKey(value.toString()));
        }
        place.append(text);
        return appendBytes(place, value.toString().toUtf8());
    case QMetaType::QByteArray:
        place.append(bytes);
        return appendBytes(place, value.toByteArray());
    case QMetaType::Double:
        place.append(number);
        return appendDouble(place, value.toDouble());
    case QMetaType::QDateTime:
        place.append(number);
        return appendInteger(place, value.toDateTime().toMSecsSinceEpoch());
    default:
        place.append(number);
        return appendInteger(place, value.toLongLong());
    }
}

} // namespace

std::optional<QWFetchCriteria> QWFetchCriteria::create(QWManagedObjectContext& context,
                                                       const QWFetchRequest& request, QWError* error) {
    QWFetchCriteria criteria;
    criteria.context_ = &context;
    criteria.entity_ = QWEntityOfRequest(context, request, error);
    criteria.includesSubentities_ = request.includesSubentities;
    if (!criteria.entity_)
        return std::nullopt;
    const auto bound = QWBoundPredicate::bind(request.predicate, *criteria.entity_, error);
    if (!bound)
        return std::nullopt;
    criteria.predicate_ = std::make_shared<const QWBoundPredicate>(*bound);
    for (const QWSortDescriptor& descriptor : request.sortDescriptors) {
        const QWPropertyDescription* property = criteria.entity_->property(descriptor.key);
        if (!property || !property->isAttribute()) {
            qw::fail(error,
                     QWMakeStoreError(
                         QWStoreErrorCode::UnknownKey,
                         QStringLiteral("%1 has no attribute %2.").arg(request.entityName, descriptor.key),
                         {{"entity", request.entityName}, {"key", descriptor.key}}));
            return std::nullopt;
        }
        criteria.terms_.push_back({property->index(), descriptor.ascending, descriptor.comparison});
    }
    return criteria;
}

bool QWFetchCriteria::includes(const QWManagedObject& record) const {
    const QWEntityDescription& own = record.entity();
    if (includesSubentities_ ? !own.isKindOf(*entity_) : &own != entity_)
        return false;
    if (record.isDeleted() || !record.managedObjectContext())
        return false;
    const QVariant* values = record.unpackedValues();
    const bool exists = record.isInserted() || record.version_ != 0; // else its row has gone
    return values && exists && predicate_->evaluate(values, record.objectID());
}

QByteArray QWFetchCriteria::place(const QWManagedObject& record) const {
    QByteArray place;
    place.reserve(64);
    for (const Term& term : terms_) {
        const qsizetype start = place.size();
        appendValue(place, record.value(*record.entity().properties()[size_t(term.property)]),
                    term.comparison);
        if (!term.ascending)
            std::transform(place.begin() + start, place.end(), place.begin() + start,
                           [](char byte) { return char(~byte); });
    }
    appendInteger(place, record.key_);
    return place;
}

QByteArray QWFetchCriteria::place(const QWManagedObjectID& id) const {
    if (terms_.empty()) {
        QByteArray place;
        appendInteger(place, id.key);
        return place;
    }
    if (const auto record = context_->registeredObject(id))
        return place(*record);
    QWManagedObject read;
    read.entity_ = id.entity;
    read.key_ = id.key;
    return context_->realise(read) ? place(read) : QByteArray();
}
