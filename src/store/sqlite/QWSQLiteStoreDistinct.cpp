#include "platform/text/QWText.h"
#include "store/QWStoreError.h"
#include "store/predicate/PredicateNode_p.h"
#include "store/sqlite/QWDistinctReading.h"
#include "store/sqlite/QWSQLiteStore.h"

#include <algorithm>

// The distinct values of one attribute. Texts, which fields complete from, are read in ways of their own, and
// are kept in memory while somebody wants that.

namespace {

// More is not kept: a store with so many different texts is no list to complete from.
constexpr qint64 MostKeptBytes = 64 << 20;

// The text that a request looks for in `key` ignoring case and accents, if that is all that it asks of a
// record.
std::optional<QString> textContained(const QWFetchRequest& request, const QString& key) {
    const qw::PredicateNode& node = request.predicate.node();
    const bool asksOnlyThat =
        node.kind == qw::PredicateNode::Kind::Comparison && node.key == key
        && node.op == QWPredicate::Operator::Contains
        && node.options == (QWPredicate::CaseInsensitive | QWPredicate::DiacriticInsensitive)
        && request.includesSubentities && node.value.typeId() == QMetaType::QString;
    // Half a surrogate pair becomes another character on its way to the file.
    if (!asksOnlyThat || !node.value.toString().isValidUtf16())
        return std::nullopt;
    return node.value.toString();
}

// Whether a record that matches need only have a value of `key`, which is asked of every distinct value
// anyway.
bool asksForAnyValue(const QWPredicate& predicate, const QString& key) {
    const qw::PredicateNode& node = predicate.node();
    return predicate.isAlwaysTrue()
           || (node.kind == qw::PredicateNode::Kind::Comparison && node.key == key
               && node.op == QWPredicate::Operator::NotEqual && !node.value.isValid());
}

QVariantList sorted(const QVariantList& values, const QWSortDescriptor& order) {
    QVariantList result = values;
    if (order.comparison == QWSortDescriptor::Comparison::LocalizedCaseInsensitive && !values.isEmpty()
        && values.first().typeId() == QMetaType::QString) {
        QStringList texts;
        for (const QVariant& value : values)
            texts.append(value.toString());
        qw::text::sortLocalizedCaseInsensitive(texts);
        result = QVariantList(texts.begin(), texts.end());
    }
    if (!order.ascending)
        std::reverse(result.begin(), result.end());
    return result;
}

} // namespace

std::optional<QVariantList> QWSQLiteStore::distinctValues(const QWFetchRequest& request, const QString& key,
                                                          QWError* error) {
    QVariantList values;
    const bool done = guarded(error, [&] {
        const QWEntityDescription& entity = entityOf(request);
        const QWPropertyDescription& property = attribute(entity, key);
        const bool isText = property.type() == QWAttributeType::String;
        const auto contained = textContained(request, key);
        if (const auto kept = contained ? usableTexts(entity, property) : nullptr) {
            values = kept->containing(*contained);
        } else if (isText && asksForAnyValue(request.predicate, key)) {
            const auto texts = distinctTexts(entity, property, request.includesSubentities);
            values = QVariantList(texts->begin(), texts->end());
        } else {
            values = selectDistinct(request, property);
        }
        for (const QWSortDescriptor& order : request.sortDescriptors) {
            if (order.key == key) {
                values = sorted(values, order);
                break;
            }
        }
        if (request.offset > 0 || request.limit > 0)
            values = values.mid(request.offset, request.limit > 0 ? request.limit : -1);
    });
    return done ? std::optional(values) : std::nullopt;
}

QVariantList QWSQLiteStore::selectDistinct(const QWFetchRequest& request,
                                           const QWPropertyDescription& property) {
    const Selection wanted = selection(request);
    const QByteArray& column = layout_.column(property);
    QWSQLiteStatement statement(*connection_, "SELECT DISTINCT " + column + " FROM " + wanted.access.table
                                                  + wanted.where
                                                  + (wanted.where.isEmpty() ? " WHERE " : " AND ") + column
                                                  + " IS NOT NULL ORDER BY " + column);
    bindAll(statement, wanted.bindings);
    QVariantList values;
    while (statement.step()) {
        QWPackedRow::Writer writer(size_t(property.index()) + 1);
        pack(statement, 0, property.index(), writer);
        values.append(writer.finish().value(property));
    }
    return values;
}

std::optional<QStringList> QWSQLiteStore::distinctTexts(const QWEntityDescription& entity,
                                                        const QWPropertyDescription& property,
                                                        bool includesSubentities, qint64 mostBytes) {
    const EntityAccess& access = this->access(entity);
    const QByteArray& kind = includesSubentities ? access.isOfKind : access.isOfEntity;
    const QByteArray& column = layout_.column(property);
    // "+" keeps the few entities' index out.
    const QByteArray rows =
        " FROM " + access.table + " WHERE " + (kind.isEmpty() ? "" : '+' + kind + " AND ");
    return property.isIndexed() ? QWReadDistinctThroughIndex(*connection_, column, rows, mostBytes)
                                : QWReadDistinctFromRows(*connection_, column, rows, mostBytes);
}

// Kept values -----------------------------------------------------------------------------------------------

std::shared_ptr<const void> QWSQLiteStore::keepDistinctValues(const QString& entityName, const QString& key,
                                                              QWError* error) {
    std::shared_ptr<QWDistinctTexts> kept;
    const bool done = guarded(error, [&] {
        const QWEntityDescription& entity = entityOf(QWFetchRequest(entityName));
        const QWPropertyDescription& property = attribute(entity, key);
        if (property.type() != QWAttributeType::String) {
            throw QWStoreFailure{QWMakeStoreError(
                QWStoreErrorCode::WrongType,
                QStringLiteral("%1.%2 holds no texts, and others are not kept.").arg(entityName, key),
                {{QStringLiteral("entity"), entityName},
                 {QStringLiteral("key"), key},
                 {QStringLiteral("expected"), QWAttributeTypeName(QWAttributeType::String)},
                 {QStringLiteral("given"), QWAttributeTypeName(property.type())}})};
        }
        std::erase_if(kept_, [](const auto& weak) { return weak.expired(); });
        kept = keptTexts(entity, property);
        if (!kept) {
            kept = std::make_shared<QWDistinctTexts>(entity, property);
            kept_.push_back(kept);
        }
        usableTexts(entity, property);
    });
    return done ? kept : nullptr;
}

std::shared_ptr<QWDistinctTexts> QWSQLiteStore::keptTexts(const QWEntityDescription& entity,
                                                          const QWPropertyDescription& property) const {
    for (const auto& weak : kept_) {
        auto kept = weak.lock();
        if (kept && &kept->entity() == &entity && &kept->attribute() == &property)
            return kept;
    }
    return nullptr;
}

std::shared_ptr<QWDistinctTexts> QWSQLiteStore::usableTexts(const QWEntityDescription& entity,
                                                            const QWPropertyDescription& property) {
    auto kept = keptTexts(entity, property);
    // What a transaction has written may still be taken back.
    if (!kept || kept->hasGivenUp() || inTransaction_)
        return nullptr;
    // Changes with each commit of another connection, which may be another process. Asked before anything is
    // read: a commit that comes in between is noticed the next time.
    const qint64 version = connection_->integer("PRAGMA data_version");
    if (kept->follows(version)) {
        for (const QString& text : kept->touched())
            kept->set(text, hasText(entity, property, text));
        kept->settle();
    } else if (const auto texts = distinctTexts(entity, property, true, MostKeptBytes)) {
        kept->fill(*texts, version);
    } else {
        kept->giveUp();
        return nullptr;
    }
    return kept;
}

bool QWSQLiteStore::hasText(const QWEntityDescription& entity, const QWPropertyDescription& property,
                            const QString& text) {
    const EntityAccess& access = this->access(entity);
    QWSQLiteStatement statement(*connection_,
                                "SELECT 1 FROM " + access.table + " WHERE "
                                    + (access.isOfKind.isEmpty() ? "" : '+' + access.isOfKind + " AND ")
                                    + layout_.column(property) + " = ? LIMIT 1");
    statement.bindText(1, text);
    return statement.step();
}

void QWSQLiteStore::touchKept(const QWManagedObjectID& id, const QVariant* values,
                              const std::vector<int>* slots) {
    for (const auto& weak : kept_) {
        const auto kept = weak.lock();
        if (!kept || !id.entity->isKindOf(kept->entity()))
            continue;
        const QWPropertyDescription& property = kept->attribute();
        if (slots && !std::count(slots->begin(), slots->end(), property.index()))
            continue;
        if (values)
            kept->touch(values[property.index()]);
        QWSQLiteStatement before(*connection_, "SELECT " + layout_.column(property) + " FROM "
                                                   + access(*id.entity).table + " WHERE _key = ?");
        before.bind(1, id.key);
        if (before.step() && !before.isNull(0))
            kept->touch(before.text(0));
    }
}
