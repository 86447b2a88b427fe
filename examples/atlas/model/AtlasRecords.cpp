#include "model/AtlasRecords.h"

#include "platform/text/QWText.h"
#include "store/QWManagedObjectContext.h"

#include <QFileInfo>

namespace atlas {

namespace {

using String = QWManagedObjectFieldDescriptionString;
using StringArray = QWManagedObjectFieldDescriptionStringArray;
using LongString = QWManagedObjectFieldDescriptionLongString;
using Bool = QWManagedObjectFieldDescriptionBool;
using Number = QWManagedObjectFieldDescriptionNumber;
using Date = QWManagedObjectFieldDescriptionDate;
using Enum = QWManagedObjectFieldDescriptionEnum;
using Level = QWManagedObjectFieldDescriptionLevel;
using Relationship = QWManagedObjectFieldDescriptionRelationship;
using ImageURL = QWManagedObjectFieldDescriptionImageURL;

const QVariantList statusValues = {"planned", "booked", "done"};
const QStringList statusNames = {"Planned", "Booked", "Done"};

template <class Description, class... Settings>
std::shared_ptr<const QWManagedObjectFieldDescription> field(const QString& key, Settings&&... settings) {
    return std::make_shared<Description>(key, std::forward<Settings>(settings)...);
}

auto dateModifiedField() {
    return field<Date>("dateModified", "Modified", QWManagedObjectWithSyncSupport::dateModifiedFormatter());
}

QVariant sortFormOf(const QVariant& text) {
    return text.isValid() ? QVariant(sortForm(text.toString())) : QVariant();
}

} // namespace

QString sortForm(const QString& text) {
    return qw::text::foldCaseAndMarks(text.simplified());
}

const QWFieldDescriptions* Currency::fieldDescriptions() const {
    static const QWFieldDescriptions fields = {
        field<String>("name", "Name"),
        field<String>("code", "Code"),
        field<Number>("number", "Number"),
        dateModifiedField(),
    };
    return &fields;
}

const QWFieldDescriptions* Language::fieldDescriptions() const {
    static const QWFieldDescriptions fields = {
        field<String>("name", "Name"),
        field<String>("code", "Code"),
        dateModifiedField(),
    };
    return &fields;
}

const QWFieldDescriptions* Region::fieldDescriptions() const {
    static const QWFieldDescriptions fields = {
        field<String>("name", "Name"),
        field<String>("code", "Code"),
        field<String>("kind", "Kind"),
        field<Relationship>("country", "Country", "Country", false),
        field<Relationship>("parent", "Part of", "Region", false),
        dateModifiedField(),
    };
    return &fields;
}

// Country ---------------------------------------------------------------------------------------------------

const QWFieldDescriptions* Country::fieldDescriptions() const {
    static const QWFieldDescriptions fields = {
        field<String>("name", "sortName", "Name"), field<String>("officialName", "Official name"),
        field<String>("alpha2", "Two letters"),    field<String>("alpha3", "Three letters"),
        field<Number>("number", "Number"),         field<ImageURL>("flag", "Flag"),
        field<Bool>("visited", "Visited"),         dateModifiedField(),
    };
    return &fields;
}

QUrl Country::imageURL() const {
    if (!managedObjectContext())
        return {};
    const QFileInfo store(managedObjectContext()->coordinator()->storePath());
    return QUrl::fromLocalFile(store.absolutePath() + "/images/Country-" + uuid());
}

bool Country::writeFlag(const QByteArray& bytes, const QDateTime& date, QWError* error) {
    QWFileManager& files = managedObjectContext()->environment().files();
    const QString path = imageURL().toLocalFile();
    return files.makeFolder(QFileInfo(path).path(), error) && files.write(path, bytes, error)
           && files.setModificationDate(path, date, error);
}

bool Country::setValueForKey(const QString& key, QVariant value, QWError* error) {
    if (!QWManagedObjectWithSyncSupport::setValueForKey(key, value, error))
        return false;
    return key != "name" || setValueForKey("sortName", sortFormOf(value), error);
}

QVariant Country::valueForUndefinedKey(const QString& key) const {
    return QWManagedObjectWithSyncSupport::valueForUndefinedKey(key == "flag" ? "imageURL" : key);
}

void Country::willSave() {
    removeFlag_ = nullptr;
    if (isDeleted())
        removeFlag_ = [environment = managedObjectContext()->coordinator()->environment(),
                       path = imageURL().toLocalFile()] {
            if (environment->files().exists(path))
                environment->files().remove(path);
        };
}

void Country::didSave() {
    if (const auto remove = std::exchange(removeFlag_, nullptr))
        remove();
}

// Visit -----------------------------------------------------------------------------------------------------

const QWFieldDescriptions* Visit::fieldDescriptions() const {
    static const QWFieldDescriptions fields = {
        field<String>("title", "sortTitle", "Title"),
        field<String>("city", "City"),
        field<StringArray>("tags", "Tags"),
        field<LongString>("notes", "Notes", true),
        field<Bool>("favourite", "Favourite"),
        field<Number>("cost", true, "Cost"),
        field<Date>("start", "Start", std::make_shared<QWPatternDateFormatter>("yyyy-MM-dd HH:mm")),
        field<Number>("minutes", "Duration"),
        field<Number>("pace", "Pace"),
        field<Enum>("status", "statusName", "Status", statusValues, statusNames),
        field<Level>("rating", "Rating", true, 5),
        field<Relationship>("country", "Country", "Country", false),
        field<Relationship>("region", "Region", "Region", false),
        dateModifiedField(),
    };
    return &fields;
}

bool Visit::setValueForKey(const QString& key, QVariant value, QWError* error) {
    if (!QWManagedObjectWithSyncSupport::setValueForKey(key, value, error))
        return false;
    return key != "title" || setValueForKey("sortTitle", sortFormOf(value), error);
}

QVariant Visit::valueForUndefinedKey(const QString& key) const {
    if (key == "statusName")
        return statusNames.value(statusValues.indexOf(valueForKey("status")));
    return QWManagedObjectWithSyncSupport::valueForUndefinedKey(key);
}

} // namespace atlas
