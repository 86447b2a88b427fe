#pragma once

#include "core/QWManagedObjectWithSyncSupport.h"
#include "store/QWManagedObjectContext.h"

// What the desktops of the engine's tests hold.

namespace desktop {

class Author final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override;
};

// Has an image, whose file stands beside the host's store.
class Book final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override;
    QUrl imageURL() const override;
};

class Chapter final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override;
};

// Of labels and of badges, which are labels. Both have a text, and a badge that a label bears is not deleted.
class Label final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override;
};

// Has a badge.
class Ribbon final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override;
};

// A synced entity whose name does not come back from a file name in lower case.
class BookAuthor final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override;
};

// Authors write books, books have chapters, chapters have parts; badges are labels; stickers are not synced, and nobody knows on what
// they are.
std::shared_ptr<QWManagedObjectModel> model();

// Those of which hosts want every change of a described key sent; in the order that an engine is given.
extern const QStringList syncedEntities;
bool isDescribedChange(QWManagedObjectWithSyncSupport& object);

using Record = QWRef<QWManagedObjectWithSyncSupport>;

} // namespace desktop
