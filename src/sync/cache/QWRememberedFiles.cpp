#include "sync/cache/QWRememberedFiles.h"

#include "platform/text/QWText.h"

namespace {

const QString entityName = QStringLiteral("RememberedFile");
const QString topicKey = QStringLiteral("topic");
const QString fileNameKey = QStringLiteral("fileName");

} // namespace

void QWRememberedFiles::addEntity(QWManagedObjectModel& model) {
    auto& file = model.addEntity(entityName);
    file.addAttribute(topicKey, QWAttributeType::String);
    file.addAttribute(fileNameKey, QWAttributeType::String);
}

std::map<QString, QWRef<QWManagedObject>>& QWRememberedFiles::rows() {
    if (rows_)
        return *rows_;
    rows_.emplace();
    const QWFetchRequest request(entityName,
                                 QWPredicate::comparison(topicKey, QWPredicate::Operator::Equal, topic_));
    for (const auto& row : context_->fetch(request).value_or(QWManagedObjectSet()))
        rows_->emplace(row->valueForKey(fileNameKey).toString(), row);
    return *rows_;
}

void QWRememberedFiles::insert(const QString& fileName) {
    auto& row = rows()[qw::text::lowercase(fileName)];
    if (row)
        return;
    row = context_->insertObject(entityName);
    row->setValueForKey(topicKey, topic_);
    row->setValueForKey(fileNameKey, qw::text::lowercase(fileName));
}

bool QWRememberedFiles::erase(const QString& fileName) {
    const auto found = rows().find(qw::text::lowercase(fileName));
    if (found == rows().end())
        return false;
    context_->deleteObject(*found->second);
    rows().erase(found);
    return true;
}

bool QWRememberedFiles::contains(const QString& fileName) {
    return rows().count(qw::text::lowercase(fileName)) > 0;
}

QStringList QWRememberedFiles::names(const QString& beginning) {
    const QString first = qw::text::lowercase(beginning);
    QStringList names;
    for (auto row = rows().lower_bound(first); row != rows().end() && row->first.startsWith(first); ++row)
        names.append(row->first);
    return names;
}
