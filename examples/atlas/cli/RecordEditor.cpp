#include "cli/RecordEditor.h"

#include "cli/CommandLine.h"
#include "model/AtlasRecords.h"
#include "platform/text/QWDateText.h"
#include "store/QWManagedObjectContext.h"
#include "util/images/QWImageImporter.h"

#include <QFile>
#include <QLocale>
#include <QStringDecoder>
#include <cmath>

RecordEditor::RecordEditor(const QStringList& assignments) {
    for (const QString& assignment : assignments) {
        const auto equals = assignment.indexOf('=');
        if (equals <= 0)
            throw Failure(QStringLiteral("\"%1\": expected key=value").arg(assignment));
        const QString value = assignment.mid(equals + 1);
        Given given{assignment.left(equals), value, value.toUtf8()};
        if (given_.contains(given.key))
            throw Failure(given.key + ": given twice");
        if (given.bytes.startsWith('@')) {
            QFile file(value.mid(1));
            if (!file.open(QIODevice::ReadOnly))
                throw Failure(
                    QStringLiteral("%1: %2: %3").arg(given.key, file.fileName(), file.errorString()));
            given.bytes = file.readAll();
            given.isFile = true;
        }
        given_.insert(given.key, given);
    }
}

void RecordEditor::edit(QWManagedObjectWithSyncSupport& record) {
    record.acceptVisitor(*this);
    if (!given_.isEmpty()) {
        QStringList keys;
        for (const auto& field : *record.fieldDescriptions())
            keys << field->key();
        throw Failure(QStringLiteral("%1 has no %2: it has %3")
                          .arg(record.entity().name(), given_.firstKey(), keys.join(QStringLiteral(", "))));
    }
    QWError error;
    if (image_) {
        auto& country = dynamic_cast<atlas::Country&>(record);
        if (!country.writeFlag(*image_, record.managedObjectContext()->environment().clock().now(), &error))
            throw Failure(error);
        record.setDateModified({}); // a date that was given comes after it
    }
    for (const auto& [key, value] : values_)
        if (!record.setValueForKey(key, value, &error))
            throw Failure(error);
}

QString RecordEditor::Given::text() const {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(bytes);
    if (decoder.hasError())
        throw Failure(key + ": the file is not UTF-8 text");
    return text;
}

void RecordEditor::Given::fail(const QString& expected) const {
    throw Failure(QStringLiteral("%1: expected %2, found \"%3\"").arg(key, expected, text()));
}

std::optional<RecordEditor::Given> RecordEditor::take(const QString& key) {
    if (!given_.contains(key))
        return {};
    return given_.take(key);
}

void RecordEditor::read(const QString& key, const std::function<QVariant(const Given&)>& value) {
    if (const auto given = take(key))
        values_.append({key, given->clears() ? QVariant() : value(*given)});
}

bool RecordEditor::respondsToSelector(const QString& selector) const {
    return selector == QWVisitShouldExploreRelationshipSelector
           || QWManagedObjectVisitor::respondsToSelector(selector);
}

void RecordEditor::visitObjectStringForKey(QWManagedObject&, const QString& key, const QString&,
                                           const QString&) {
    read(key, [](const Given& given) { return given.text(); });
}

void RecordEditor::visitObjectStringArrayForKey(QWManagedObject&, const QString& key, const QString&,
                                                const QString&) {
    read(key, [](const Given& given) {
        QStringList tokens;
        for (const QString& token : given.text().split(','))
            if (!token.trimmed().isEmpty())
                tokens << token.trimmed();
        return tokens.join(QStringLiteral(", "));
    });
}

void RecordEditor::visitObjectLongStringForKey(QWManagedObject&, const QString& key, bool richText,
                                               const QString&) {
    read(key, [richText](const Given& given) {
        const QString text = given.text();
        return richText && given.isFile ? QVariant(given.bytes) : QVariant(text);
    });
}

void RecordEditor::visitObjectBoolForKey(QWManagedObject&, const QString& key, const QString&) {
    read(key, [](const Given& given) {
        if (given.bytes != "true" && given.bytes != "false")
            given.fail(QStringLiteral("true or false"));
        return given.bytes == "true";
    });
}

void RecordEditor::visitObjectNumberForKey(QWManagedObject&, const QString& key, bool acceptFloat,
                                           const QString&) {
    read(key, [acceptFloat](const Given& given) -> QVariant {
        bool isNumber = false;
        if (!acceptFloat) {
            const qlonglong number = given.text().toLongLong(&isNumber);
            return isNumber ? number : (given.fail(QStringLiteral("a whole number")), 0);
        }
        const double number = given.text().toDouble(&isNumber);
        return isNumber && std::isfinite(number) ? number : (given.fail(QStringLiteral("a number")), 0);
    });
}

void RecordEditor::visitObjectDateForKey(QWManagedObject&, const QString& key, const QString&,
                                         const QWDateFormatterRef&) {
    read(key, [](const Given& given) {
        const QDateTime date = qw::text::dateFromText(given.text());
        if (!date.isValid())
            given.fail(QStringLiteral("a date such as 2024-05-04 18:22:10 +0200"));
        return date;
    });
}

void RecordEditor::visitObjectImageURLForKey(QWManagedObject&, const QString& key, const QString&) {
    const auto given = take(key);
    if (!given)
        return;
    if (!given->isFile && !given->clears())
        given->fail(QStringLiteral("@ and the name of an image file"));
    if (given->clears()) {
        image_ = QByteArray();
        return;
    }
    QWError error;
    image_ = QWImageImporter::jpegFromImageData(given->bytes, &error);
    if (image_->isEmpty())
        throw Failure(QStringLiteral("%1: \"%2\": %3").arg(key, given->value, error.message));
}

void RecordEditor::visitObjectLevelForKey(QWManagedObject&, const QString& key, bool, qint64 maximum,
                                          const QString&) {
    read(key, [maximum](const Given& given) {
        bool isNumber = false;
        const qlonglong level = given.text().toLongLong(&isNumber);
        if (!isNumber || level < 0 || level > maximum)
            given.fail(QStringLiteral("a whole number from 0 to %1").arg(maximum));
        return level;
    });
}

void RecordEditor::visitObjectEnumForKey(QWManagedObject&, const QString& key, const QString&, const QString&,
                                         const QVariantList& choiceValues, const QStringList&) {
    read(key, [&](const Given& given) {
        QStringList choices;
        for (const QVariant& choice : choiceValues)
            choices << choice.toString();
        const auto index = choices.indexOf(given.text());
        if (index < 0)
            given.fail(QStringLiteral("one of ") + choices.join(QStringLiteral(", ")));
        return choiceValues[index];
    });
}

bool RecordEditor::visitObjectShouldExploreRelationshipForKey(QWManagedObject& object, const QString& key,
                                                              const QString&,
                                                              const QString& destinationEntityName, bool) {
    read(key, [&](const Given& given) {
        const auto destination = QWManagedObjectWithSyncSupport::fetchObjectWithUUID(
            given.text(), destinationEntityName, *object.managedObjectContext());
        if (!destination)
            given.fail(QStringLiteral("the uuid of a ") + destinationEntityName);
        return QVariant::fromValue(QWRef<QWManagedObject>(destination.data()));
    });
    return false;
}
