#pragma once

#include "desktop/EditHistory.h"
#include "desktop/PaceFormatter.h"
#include "editing/QWComboBoxAutocompleteDatasource.h"
#include "editing/QWTokenFieldSubstringCompletion.h"
#include "store/QWManagedObjectContext.h"

#include <QScrollArea>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QStackedWidget;

namespace atlas {

class FlagImages;

// The pane that edits one visit. What is typed reaches the record when its field loses the focus, with
// Return, after a pause of a second (title and notes), or when the context asks its editors. A text that
// cannot be read stays until the focus leaves the field, which then shows the record's value again. What
// another desktop changes appears at once, but for the field that is being edited.
class VisitEditor final : public QScrollArea {
    Q_OBJECT

public:
    VisitEditor(std::shared_ptr<QWManagedObjectContext> context, EditHistory& history, FlagImages& flags,
                QWidget* parent = nullptr);
    ~VisitEditor() override;

    // Null for none. What is typed for the one before is committed.
    void setVisit(const QWRef<QWManagedObjectWithSyncSupport>& visit);
    const QWRef<QWManagedObjectWithSyncSupport>& visit() const { return visit_; }

    // Writes what is typed into the record. False when a field holds a text that cannot be read.
    bool commit();
    void setDistanceUnit(DistanceUnit unit);
    // Puts the focus into the title, its text selected.
    void editTitle();

Q_SIGNALS:
    // A text was typed that means nothing in its field, and has gone.
    void refused(const QString& fieldName, const QString& text);

private:
    enum class Commit { Now, AfterPause, AtEnd };

    // A field of the record, and the widget that shows it.
    struct Field {
        QString key, name;
        QWidget* widget = nullptr;
        std::function<void(const QVariant&)> show;
        std::function<std::optional<QVariant>()> read; // nothing: it cannot be read
        std::function<QString()> text = {};            // what is typed, for fields that may be unreadable
        bool isShownAnew = false;                      // in the form of its formatter, when it is left
        QVariant shown = {};                           // the record's value
        bool isEdited = false;
    };

    // VisitEditorFields.cpp
    void makeFields();
    Field& add(const QString& key, const QString& label, QWidget* widget, QWidget* row = nullptr);
    void addTitle();
    void addCountry();
    void addRegion();
    void addCity();
    void addStart();
    void addFormatted(const QString& key, const QString& label, const QWFormatterRef& formatter,
                      const QString& example, QLabel* unit = nullptr);
    void addStatus();
    void addRating();
    void addFavourite();
    void addTags();
    void addNotes();
    QVariant countryNamed(const QString& name) const;
    void listRegions();
    QString nameOf(const QString& key) const;

    void edited(Field& field, Commit when);
    bool commit(Field& field);
    bool isForeignRegion(const QVariant& country) const; // of the visit, seen from that country
    void commitAfterPause();
    void finish(Field& field);
    void show(Field& field);
    void showAll();
    void markReadable(Field& field);
    void follow(const QWObjectsDidChangeNotice& notice);
    void focusMoved(const QWidget* before, const QWidget* now);

    const std::shared_ptr<QWManagedObjectContext> context_;
    EditHistory& history_;
    FlagImages& flags_;
    QWTokenFieldSubstringCompletion tagCompletion_;
    std::shared_ptr<QWComboBoxAutocompleteDatasource> countries_, visits_;
    QWRef<QWManagedObjectWithSyncSupport> visit_;
    std::vector<std::unique_ptr<Field>> fields_;
    QStackedWidget* pages_ = nullptr;
    QFormLayout* layout_ = nullptr;
    QLineEdit* title_ = nullptr;
    QLabel* flag_ = nullptr;
    QComboBox* region_ = nullptr;
    QLabel* paceUnit_ = nullptr;
    DistanceUnit unit_ = DistanceUnit::Kilometre;
    quint64 session_ = 1; // counts the stays in a field: edits of one stay are taken back together
    bool isShowing_ = false;
    QWRunLoop::Handle pause_;
    QWObservation changes_, commitRequests_;
};

} // namespace atlas
