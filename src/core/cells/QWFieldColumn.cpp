#include "core/cells/QWFieldColumn_p.h"

#include "core/QWManagedObjectVisitor.h"
#include "core/QWManagedObjectWithSyncSupport.h"
#include "core/QWRichText.h"
#include "formatters/NSNumberFormatter_PreconfiguredFormatters.h"

#include <QTextDocument>

namespace {

// A choice's name for its stored value, and back, letter case ignored.
class ChoiceFormatter final : public QWFormatter {
public:
    ChoiceFormatter(QVariantList values, QStringList names)
        : values_(std::move(values)), names_(std::move(names)) {}

    QString stringForObjectValue(const QVariant& value) const override {
        for (qsizetype i = 0; i < std::min(values_.size(), names_.size()); ++i)
            if (QVariant::compare(values_[i], value) == QPartialOrdering::Equivalent)
                return names_[i];
        return value.toString();
    }
    bool getObjectValue(QVariant* value, const QString& string, QString*) const override {
        *value = {};
        for (qsizetype i = 0; i < std::min(values_.size(), names_.size()); ++i)
            if (names_[i].compare(string, Qt::CaseInsensitive) == 0) {
                *value = values_[i];
                return true;
            }
        return string.isEmpty();
    }

private:
    QVariantList values_;
    QStringList names_;
};

class ColumnVisitor final : public QWManagedObjectVisitor {
public:
    explicit ColumnVisitor(QWFieldColumn& column) : column_(column) {}

    bool respondsToSelector(const QString& selector) const override {
        return selector == QWVisitShouldExploreRelationshipSelector
               || QWManagedObjectVisitor::respondsToSelector(selector);
    }
    void beginVisitOfObject(QWManagedObject&) override {}
    void endVisitOfObject(QWManagedObject&) override {}
    void visitObjectStringForKey(QWManagedObject&, const QString&, const QString&,
                                 const QString& name) override {
        column_.title = name;
    }
    void visitObjectStringArrayForKey(QWManagedObject&, const QString&, const QString&,
                                      const QString& name) override {
        column_.title = name;
    }
    void visitObjectLongStringForKey(QWManagedObject&, const QString&, bool richText,
                                     const QString& name) override {
        column_.title = name;
        if (richText)
            column_.kind = QWFieldColumn::Kind::RichText;
    }
    void visitObjectBoolForKey(QWManagedObject&, const QString&, const QString& name) override {
        column_.title = name;
        column_.kind = QWFieldColumn::Kind::Check;
    }
    void visitObjectNumberForKey(QWManagedObject&, const QString&, bool acceptFloat,
                                 const QString& name) override {
        column_.title = name;
        column_.formatter = acceptFloat ? localizedFloatFormatter() : localizedIntegerFormatter();
    }
    void visitObjectDateForKey(QWManagedObject&, const QString&, const QString& name,
                               const QWDateFormatterRef& formatter) override {
        column_.title = name;
        column_.formatter = formatter;
    }
    void visitObjectImageURLForKey(QWManagedObject&, const QString&, const QString& name) override {
        column_.title = name;
        column_.isEditable = false;
    }
    void visitObjectLevelForKey(QWManagedObject&, const QString&, bool, qint64,
                                const QString& name) override {
        column_.title = name;
        column_.formatter = localizedIntegerFormatter();
    }
    void visitObjectEnumForKey(QWManagedObject&, const QString&, const QString&, const QString& name,
                               const QVariantList& choiceValues, const QStringList& choiceNames) override {
        column_.title = name;
        column_.formatter = std::make_shared<ChoiceFormatter>(choiceValues, choiceNames);
    }
    bool visitObjectShouldExploreRelationshipForKey(QWManagedObject&, const QString&, const QString& name,
                                                    const QString&, bool) override {
        column_.title = name;
        column_.kind = QWFieldColumn::Kind::Relationship;
        return false;
    }

private:
    QWFieldColumn& column_;
};

// What stands for a record in a cell of another: its first described string.
QString nameOf(const QWManagedObject& record) {
    const auto* described = dynamic_cast<const QWManagedObjectWithSyncSupport*>(&record);
    const QWFieldDescriptions* fields = described ? described->fieldDescriptions() : nullptr;
    if (fields)
        for (const auto& field : *fields)
            if (dynamic_cast<const QWManagedObjectFieldDescriptionString*>(field.get()))
                return record.valueForKey(field->key()).toString();
    return {};
}

// What a synced record keeps for itself: its identity and the date of its last change.
bool isStampOf(const QWManagedObject& record, const QString& key) {
    return dynamic_cast<const QWManagedObjectWithSyncSupport*>(&record)
           && (key == QLatin1String("uuid") || key == QLatin1String("dateModified"));
}

} // namespace

QWFieldColumn::QWFieldColumn(std::shared_ptr<const QWManagedObjectFieldDescription> description,
                             QWManagedObject& prototype)
    : field(std::move(description)) {
    const QWPropertyDescription* property = prototype.entity().property(field->key());
    isEditable = property && property->isAttribute() && property->type() != QWAttributeType::Data
                 && property->type() != QWAttributeType::Document && !isStampOf(prototype, field->key());
    if (property && !property->isAttribute() && !property->isToMany())
        named = property->destination();
    ColumnVisitor visitor(*this);
    field->performAcceptVisitor(visitor, prototype);
}

QVariant QWFieldColumn::value(const QWManagedObject& record) const {
    return kind == Kind::RichText || kind == Kind::Relationship ? QVariant()
                                                                : record.valueForKey(field->key());
}

QString QWFieldColumn::text(const QWManagedObject& record) const {
    const QVariant value = record.valueForKey(field->key());
    switch (kind) {
    case Kind::Check:
        return {};
    case Kind::RichText: {
        const auto document = qw::richTextFromStoredValue(value);
        return document ? qw::plainText(*document) : QString();
    }
    case Kind::Relationship: {
        if (value.canConvert<QList<QWRef<QWManagedObject>>>())
            return localizedIntegerFormatter()->stringFromNumber(
                value.value<QList<QWRef<QWManagedObject>>>().size());
        const auto destination = value.value<QWRef<QWManagedObject>>();
        return destination ? nameOf(*destination) : QString();
    }
    case Kind::Value:
        break;
    }
    if (formatter)
        return formatter->stringForObjectValue(value);
    if (value.typeId() == QMetaType::QUrl)
        return value.toUrl().toDisplayString(QUrl::PreferLocalFile);
    return value.toString();
}

bool QWFieldColumn::read(const QString& text, QVariant* value, QString* reason) const {
    if (formatter)
        return formatter->getObjectValue(value, text, reason);
    *value = text;
    return true;
}
