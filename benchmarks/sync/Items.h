#pragma once

#include "core/QWManagedObjectWithSyncSupport.h"
#include "store/QWManagedObjectContext.h"

// The host of the benchmarks: records with three texts and a date.
namespace items {

inline const QStringList textKeys{"title", "author", "place"};

class Item final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override {
        static const QWFieldDescriptions fields = [] {
            QWFieldDescriptions list;
            for (const QString& key : textKeys)
                list.push_back(std::make_shared<QWManagedObjectFieldDescriptionString>(key, key));
            list.push_back(std::make_shared<QWManagedObjectFieldDescriptionDate>("dateModified", "Modified",
                                                                                 dateModifiedFormatter()));
            return list;
        }();
        return &fields;
    }
};

inline std::shared_ptr<QWManagedObjectModel> makeModel() {
    auto model = std::make_shared<QWManagedObjectModel>();
    auto& item = model->addEntity<Item>("Item");
    addSyncAttributes(item);
    for (const QString& key : textKeys)
        item.addAttribute(key, QWAttributeType::String);
    return model;
}

// Inserts so many and saves them.
inline void add(QWManagedObjectContext& context, int count) {
    for (int i = 0; i < count; ++i) {
        const auto item = context.insertObject(QStringLiteral("Item"));
        item->setValueForKey(textKeys[0], QStringLiteral("title number %1").arg(i));
        item->setValueForKey(textKeys[1], QStringLiteral("author number %1").arg(i * 3));
        item->setValueForKey(textKeys[2], QStringLiteral("place number %1").arg(i * 7));
    }
    QWError error;
    if (!context.save(&error))
        throw std::runtime_error(error.message.toStdString());
}

inline qint64 count(QWManagedObjectContext& context) {
    return context.count(QWFetchRequest("Item")).value_or(-1);
}

} // namespace items
