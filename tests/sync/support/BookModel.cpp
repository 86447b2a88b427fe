#include "support/BookModel.h"

#include <QFileInfo>
#include <algorithm>

using namespace desktop;

namespace {

QWFieldDescriptions fieldList(std::initializer_list<QWManagedObjectFieldDescription*> fields) {
    QWFieldDescriptions list;
    for (auto* field : fields)
        list.append(std::shared_ptr<const QWManagedObjectFieldDescription>(field));
    return list;
}

QWManagedObjectFieldDescription* dateModifiedField() {
    return new QWManagedObjectFieldDescriptionDate("dateModified", "Modified",
                                                   std::make_shared<QWDateTextFormatter>());
}

} // namespace

const QStringList desktop::syncedEntities{"Author", "Book", "Chapter", "Badge", "Label", "Ribbon"};

const QWFieldDescriptions* Author::fieldDescriptions() const {
    static const auto fields =
        fieldList({new QWManagedObjectFieldDescriptionString("name", "Name"), dateModifiedField()});
    return &fields;
}

const QWFieldDescriptions* Book::fieldDescriptions() const {
    static const auto fields = fieldList({
        new QWManagedObjectFieldDescriptionString("title", "Title"),
        new QWManagedObjectFieldDescriptionNumber("pages", "Pages"),
        new QWManagedObjectFieldDescriptionLongString("notes", "Notes", true),
        dateModifiedField(),
        new QWManagedObjectFieldDescriptionImageURL("imageURL", "Cover"),
        new QWManagedObjectFieldDescriptionRelationship("author", "Author", "Author", false),
    });
    return &fields;
}

QUrl Book::imageURL() const {
    if (!managedObjectContext())
        return {};
    const QFileInfo store(managedObjectContext()->coordinator()->storePath());
    return QUrl::fromLocalFile(store.path() + "/images/Book-" + uuid());
}

const QWFieldDescriptions* Chapter::fieldDescriptions() const {
    static const auto fields =
        fieldList({new QWManagedObjectFieldDescriptionString("heading", "Heading"), dateModifiedField(),
                   new QWManagedObjectFieldDescriptionRelationship("book", "Book", "Book", false),
                   new QWManagedObjectFieldDescriptionRelationship("parts", "Parts", "Chapter", true)});
    return &fields;
}

const QWFieldDescriptions* Label::fieldDescriptions() const {
    static const auto fields =
        fieldList({new QWManagedObjectFieldDescriptionString("text", "Text"), dateModifiedField(),
                   new QWManagedObjectFieldDescriptionRelationship("next", "Next", "Label", false),
                   new QWManagedObjectFieldDescriptionRelationship("badge", "Badge", "Badge", false)});
    return &fields;
}

const QWFieldDescriptions* Ribbon::fieldDescriptions() const {
    static const auto fields =
        fieldList({dateModifiedField(),
                   new QWManagedObjectFieldDescriptionRelationship("badge", "Badge", "Badge", false),
                   new QWManagedObjectFieldDescriptionRelationship("next", "Next", "Ribbon", false)});
    return &fields;
}

const QWFieldDescriptions* BookAuthor::fieldDescriptions() const {
    static const auto fields = fieldList({dateModifiedField()});
    return &fields;
}

std::shared_ptr<QWManagedObjectModel> desktop::model() {
    auto model = std::make_shared<QWManagedObjectModel>();
    auto& author = model->addEntity<Author>("Author");
    addSyncAttributes(author);
    author.addAttribute("name", QWAttributeType::String);
    author.addToMany("books", "Book").setInverse("author");

    auto& book = model->addEntity<Book>("Book");
    addSyncAttributes(book);
    book.addAttribute("title", QWAttributeType::String);
    book.addAttribute("pages", QWAttributeType::Integer);
    book.addAttribute("notes", QWAttributeType::Document);
    book.addAttribute("shelfMark", QWAttributeType::String); // not described
    book.addToOne("author", "Author").setInverse("books");
    book.addToMany("chapters", "Chapter").setInverse("book").setDeleteRule(QWDeleteRule::Cascade);
    book.addToMany("editions", "Book").setInverse("original").setDeleteRule(QWDeleteRule::Cascade);
    book.addToOne("original", "Book").setInverse("editions"); // not described

    auto& chapter = model->addEntity<Chapter>("Chapter");
    addSyncAttributes(chapter);
    chapter.addAttribute("heading", QWAttributeType::String);
    chapter.addToOne("book", "Book").setInverse("chapters");
    chapter.addToMany("parts", "Chapter").setInverse("whole");
    chapter.addToOne("whole", "Chapter").setInverse("parts"); // not described

    auto& label = model->addEntity<Label>("Label");
    addSyncAttributes(label);
    label.addAttribute("text", QWAttributeType::String).setOptional(false);
    label.addToOne("next", "Label");
    label.addToOne("badge", "Badge").setInverse("wearers");
    auto& badge = model->addEntity<Label>("Badge");
    badge.setParent("Label");
    badge.addToMany("wearers", "Label").setInverse("badge").setDeleteRule(QWDeleteRule::Deny);
    badge.addToMany("ribbons", "Ribbon").setInverse("badge");

    auto& ribbon = model->addEntity<Ribbon>("Ribbon");
    addSyncAttributes(ribbon);
    ribbon.addToOne("badge", "Badge").setInverse("ribbons").setOptional(false);
    ribbon.addToOne("next", "Ribbon");

    addSyncAttributes(model->addEntity<BookAuthor>("BookAuthor"));
    auto& sticker = model->addEntity("Sticker");
    sticker.addAttribute("text", QWAttributeType::String);
    sticker.addToOne("author", "Author");
    sticker.addToMany("authors", "Author");
    return model;
}

bool desktop::isDescribedChange(QWManagedObjectWithSyncSupport& object) {
    const QStringList changed = object.changedKeysForCurrentEvent();
    const auto* fields = object.fieldDescriptions();
    return std::any_of(fields->begin(), fields->end(),
                       [&](const auto& field) { return changed.contains(field->key()); });
}
