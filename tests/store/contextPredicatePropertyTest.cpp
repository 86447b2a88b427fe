#include "PredicateGenerator.h"

#include "platform/text/QWText.h"
#include "store/QWManagedObjectContext.h"
#include "store/predicate/QWBoundPredicate_p.h"
#include "testing/QWVirtualWorld.h"

#include <QDebug>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <map>

namespace {

std::shared_ptr<QWManagedObjectModel> libraryModel() {
    auto model = std::make_shared<QWManagedObjectModel>();
    auto& book = model->addEntity("Book");
    book.addAttribute("title", QWAttributeType::String);
    book.addAttribute("uuid", QWAttributeType::String).setIndexedFolded();
    book.addAttribute("code", QWAttributeType::String).setIndexed();
    book.addAttribute("pages", QWAttributeType::Integer).setIndexed();
    book.addAttribute("price", QWAttributeType::Double).setIndexed();
    book.addAttribute("read", QWAttributeType::Boolean);
    book.addAttribute("added", QWAttributeType::Date).setIndexed();
    book.addAttribute("cover", QWAttributeType::Data);
    book.addAttribute("notes", QWAttributeType::Document);
    book.addToOne("author", "Author").setInverse("books");
    model->addEntity("Novel").setParent("Book").addAttribute("genre", QWAttributeType::String);
    model->addEntity("Author").addToMany("books", "Book").setInverse("author");
    return model;
}

// What the test knows of a record, kept apart from the store.
struct Shadow {
    QWManagedObjectID id;
    std::vector<QVariant> values; // by property index; a to-one holds the destination's key
};

// A library of books in a store, and beside it what should be in there: as saved, and as one context sees it.
class Library {
public:
    explicit Library(PredicateGenerator& random) : random_(random) {
        coordinator_ = std::make_shared<QWPersistentStoreCoordinator>(libraryModel(), world_.environment());
        QWStoreOptions options;
        options.synchronous = QWSynchronous::Normal;
        QWError error;
        RC_ASSERT(coordinator_->addStore(folder_.filePath("library"), options, &error));
        openContext();
    }

    // Another context starts from what is saved and has no record in memory.
    void openContext() {
        context_ = std::make_shared<QWManagedObjectContext>(coordinator_);
        books_ = savedBooks_;
        authors_ = savedAuthors_;
    }

    void edit() {
        switch (random_.below(8)) {
        case 0:
        case 1:
            return insertBook();
        case 2:
            return insertAuthor();
        case 3:
            return random_.oneIn(2) ? deleteAuthor() : deleteBook();
        default:
            return changeBook();
        }
    }
    void processChanges() { context_->processPendingChanges(); }
    void save() {
        QWError error;
        if (!context_->save(&error))
            RC_FAIL(error.message.toStdString());
        savedBooks_ = books_;
        savedAuthors_ = authors_;
    }
    void rollback() {
        context_->rollback();
        books_ = savedBooks_;
        authors_ = savedAuthors_;
    }

    QWFetchRequest request() {
        QWFetchRequest request(random_.oneIn(4) ? "Novel" : "Book");
        request.predicate =
            random_.predicate(entity(request), [this](const QWPropertyDescription* relationship) {
                const bool author = relationship || random_.oneIn(8);
                return author ? anyOf(everyAuthor_) : anyOf(everyBook_);
            });
        for (int count = random_.below(3); count > 0; --count)
            request.sortDescriptors.append(sortDescriptor());
        request.limit = random_.oneIn(2) ? random_.below(6) : 0;
        request.offset = random_.oneIn(3) ? random_.below(4) : 0;
        request.includesPendingChanges = !random_.oneIn(5);
        request.includesSubentities = !random_.oneIn(5);
        return request;
    }

    // Keys that the request should give, judged record by record.
    QList<qint64> expected(const QWFetchRequest& request) const {
        const auto bound = QWBoundPredicate::bind(request.predicate, entity(request), nullptr);
        std::vector<const Shadow*> matches;
        for (const auto& [key, book] : request.includesPendingChanges ? books_ : savedBooks_) {
            const bool belongs = request.includesSubentities ? book.id.entity->isKindOf(entity(request))
                                                             : book.id.entity == &entity(request);
            if (belongs && bound->evaluate(book.values.data(), book.id))
                matches.push_back(&book);
        }
        std::stable_sort(matches.begin(), matches.end(), [&](const Shadow* left, const Shadow* right) {
            for (const QWSortDescriptor& descriptor : request.sortDescriptors)
                if (const int order = compare(*left, *right, descriptor))
                    return order < 0;
            return false;
        });
        QList<qint64> keys;
        for (const Shadow* book : matches)
            keys.append(book->id.key);
        keys = keys.mid(request.offset);
        return request.limit > 0 ? keys.mid(0, request.limit) : keys;
    }
    QList<qint64> fetched(const QWFetchRequest& request) const {
        QWError error;
        const auto records = context_->fetch(request, &error);
        if (!records)
            RC_FAIL(error.message.toStdString());
        QList<qint64> keys;
        for (const auto& record : *records)
            keys.append(record->objectID().key);
        return keys;
    }
    qint64 counted(const QWFetchRequest& request) const { return context_->count(request).value_or(-1); }
    bool recordsAgree(const QWPredicate& predicate, const QList<qint64>& keys) const {
        return std::all_of(keys.begin(), keys.end(), [&](qint64 key) {
            return predicate.evaluate(*context_->objectWithID(books_.at(key).id));
        });
    }

private:
    const QWEntityDescription& entity(const QWFetchRequest& request) const {
        return *coordinator_->model().entity(request.entityName);
    }
    QWManagedObjectID anyOf(const std::vector<QWManagedObjectID>& ids) {
        return ids.empty() ? QWManagedObjectID() : ids[size_t(random_.below(int(ids.size())))];
    }
    Shadow* anyBook() {
        return books_.empty() ? nullptr
                              : &std::next(books_.begin(), random_.below(int(books_.size())))->second;
    }

    void insertBook() {
        const auto record = context_->insertObject(random_.oneIn(3) ? "Novel" : "Book");
        Shadow& book = books_[record->objectID().key];
        book.id = record->objectID();
        book.values.resize(record->entity().properties().size());
        everyBook_.push_back(book.id);
        for (const QWPropertyDescription* property : record->entity().properties())
            setValue(book, *property);
    }
    void insertAuthor() {
        authors_.push_back(context_->insertObject("Author")->objectID());
        everyAuthor_.push_back(authors_.back());
    }
    void changeBook() {
        if (Shadow* book = anyBook()) {
            const auto& properties = book->id.entity->properties();
            setValue(*book, *properties[size_t(random_.below(int(properties.size())))]);
        }
    }
    void deleteBook() {
        if (const Shadow* book = anyBook()) {
            context_->deleteObject(*context_->objectWithID(book->id));
            books_.erase(book->id.key);
        }
    }
    void deleteAuthor() {
        if (authors_.empty())
            return;
        const QWManagedObjectID author = anyOf(authors_);
        context_->deleteObject(*context_->objectWithID(author));
        std::erase(authors_, author);
        for (auto& [key, book] : books_) {
            QVariant& slot = book.values[size_t(book.id.entity->property("author")->index())];
            if (slot == author.key)
                slot = {};
        }
    }
    void setValue(Shadow& book, const QWPropertyDescription& property) {
        const auto record = context_->objectWithID(book.id);
        QVariant& slot = book.values[size_t(property.index())];
        if (property.isAttribute()) {
            slot = random_.attributeValue(property);
            RC_ASSERT(record->setValueForKey(property.name(), slot));
        } else if (authors_.empty() || random_.oneIn(3)) {
            slot = {};
            record->setRelatedObject(property.name(), nullptr);
        } else {
            const auto author = context_->objectWithID(anyOf(authors_));
            slot = author->objectID().key;
            record->setRelatedObject(property.name(), author.data());
        }
    }

    QWSortDescriptor sortDescriptor() {
        const QString key = random_.oneOf<QString>({"title", "uuid", "pages", "price", "read", "added"});
        const bool isText = key == "title" || key == "uuid";
        return {key, random_.oneIn(2) == 0,
                isText && random_.oneIn(2) ? QWSortDescriptor::Comparison::LocalizedCaseInsensitive
                                           : QWSortDescriptor::Comparison::Natural};
    }
    static int compare(const Shadow& left, const Shadow& right, const QWSortDescriptor& descriptor) {
        const auto valueOf = [&](const Shadow& book) {
            const size_t index = size_t(book.id.entity->property(descriptor.key)->index());
            return qw::valueOfSlot(book.values[index], QWPredicate::None);
        };
        const auto a = valueOf(left), b = valueOf(right);
        const int direction = descriptor.ascending ? 1 : -1;
        if (!a || !b)
            return direction * (int(a.has_value()) - int(b.has_value()));
        if (descriptor.comparison == QWSortDescriptor::Comparison::LocalizedCaseInsensitive)
            return direction
                   * qw::text::compareLocalizedCaseInsensitive(std::get<QString>(*a), std::get<QString>(*b));
        const auto order = qw::compareValues(*a, *b);
        return direction * (order < 0 ? -1 : order > 0 ? 1 : 0);
    }

    PredicateGenerator& random_;
    QTemporaryDir folder_;
    QWVirtualWorld world_;
    std::shared_ptr<QWPersistentStoreCoordinator> coordinator_;
    std::shared_ptr<QWManagedObjectContext> context_;
    std::map<qint64, Shadow> books_, savedBooks_;
    std::vector<QWManagedObjectID> authors_, savedAuthors_;
    std::vector<QWManagedObjectID> everyBook_, everyAuthor_; // deleted ones too
};

std::string described(const QWFetchRequest& request, const QList<qint64>& expected,
                      const QList<qint64>& fetched) {
    QString text;
    QDebug stream(&text);
    stream << request.entityName << request.predicate.text() << "limit" << request.limit << "offset"
           << request.offset << "pending" << request.includesPendingChanges << "subentities"
           << request.includesSubentities;
    for (const QWSortDescriptor& descriptor : request.sortDescriptors)
        stream << "by" << descriptor.key << descriptor.ascending << int(descriptor.comparison);
    stream << "\nexpected" << expected << "\nfetched" << fetched;
    return text.toStdString();
}

} // namespace

// 100 libraries, each edited, saved, rolled back and left in ten turns, with ten requests after each.
TEST(ContextPredicateProperty, A_fetch_gives_what_every_record_says_by_itself) {
    const bool holds = rc::check([] {
        PredicateGenerator random(anySeed());
        Library library(random);
        for (int turn = 0; turn < 10; ++turn) {
            for (int edits = random.below(20); edits > 0; --edits)
                library.edit();
            library.processChanges();
            for (int i = 0; i < 10; ++i) {
                const QWFetchRequest request = library.request();
                const QList<qint64> expected = library.expected(request), fetched = library.fetched(request);
                if (fetched != expected)
                    RC_FAIL(described(request, expected, fetched));
                RC_ASSERT(library.counted(request) == expected.size());
                if (request.includesPendingChanges)
                    RC_ASSERT(library.recordsAgree(request.predicate, fetched));
            }
            if (random.oneIn(3))
                library.save();
            else if (random.oneIn(4))
                library.rollback();
            else if (random.oneIn(4))
                library.openContext();
        }
    });
    EXPECT_TRUE(holds);
}
