#include "desktop/VisitEditor.h"

#include "model/AtlasRecords.h"

#include <QApplication>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QScopedValueRollback>
#include <QStackedWidget>
#include <algorithm>

namespace atlas {

namespace {

constexpr std::chrono::seconds pauseBeforeCommit(1);

bool contains(const QWidget& widget, const QWidget* other) {
    return other && (other == &widget || widget.isAncestorOf(other));
}

} // namespace

VisitEditor::VisitEditor(std::shared_ptr<QWManagedObjectContext> context, EditHistory& history,
                         FlagImages& flags, QWidget* parent)
    : QScrollArea(parent), context_(std::move(context)), history_(history), flags_(flags),
      tagCompletion_(context_, "Visit", ","),
      countries_(QWComboBoxAutocompleteDatasource::create(context_, "Country")),
      visits_(QWComboBoxAutocompleteDatasource::create(context_, "Visit")) {
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setAccessibleName(tr("Visit"));

    auto* placeholder = new QLabel(tr("No visit is selected"));
    placeholder->setAlignment(Qt::AlignCenter);
    placeholder->setWordWrap(true);
    placeholder->setForegroundRole(QPalette::PlaceholderText);
    auto* form = new QWidget;
    layout_ = new QFormLayout(form);
    layout_->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    layout_->setContentsMargins(12, 12, 12, 12);
    pages_ = new QStackedWidget;
    pages_->addWidget(placeholder);
    pages_->addWidget(form);
    setWidget(pages_);
    makeFields();

    changes_ =
        context_->observeObjectsDidChange([this](const QWObjectsDidChangeNotice& notice) { follow(notice); });
    commitRequests_ = context_->registerEditor([this] { return commit(); });
    connect(qApp, &QApplication::focusChanged, this, &VisitEditor::focusMoved);
}

// The focus moves once more while the fields go.
VisitEditor::~VisitEditor() {
    disconnect(qApp, nullptr, this, nullptr);
}

void VisitEditor::setVisit(const QWRef<QWManagedObjectWithSyncSupport>& visit) {
    if (visit == visit_)
        return;
    for (const auto& field : fields_)
        finish(*field);
    pause_.cancel();
    visit_ = visit;
    ++session_;
    pages_->setCurrentIndex(visit_ ? 1 : 0);
    showAll();
}

void VisitEditor::editTitle() {
    title_->setFocus(Qt::OtherFocusReason);
    title_->selectAll();
}

// What is typed ---------------------------------------------------------------------------------------------

void VisitEditor::edited(Field& field, Commit when) {
    if (isShowing_ || !visit_)
        return;
    field.isEdited = true;
    markReadable(field);
    if (when == Commit::Now) {
        commit(field);
    } else if (when == Commit::AfterPause) {
        pause_.cancel();
        pause_ = context_->environment().runLoop().after(pauseBeforeCommit, [this] { commitAfterPause(); });
    }
}

bool VisitEditor::commit() {
    bool areAll = true;
    for (const auto& field : fields_)
        areAll = commit(*field) && areAll;
    return areAll;
}

bool VisitEditor::commit(Field& field) {
    if (!field.isEdited)
        return true;
    const auto value = field.read();
    if (!value)
        return false;
    field.isEdited = false;
    field.shown = *value;
    QWError error;
    const QString change = tr("Change %1").arg(field.name);
    // The region of another country goes, in one edit.
    const bool leavesRegion = field.key == QLatin1String("country") && isForeignRegion(*value);
    if (leavesRegion) {
        history_.stack().beginMacro(change);
        history_.setValue(*visit_, "region", {}, change);
    }
    const bool isSet = history_.setValue(*visit_, field.key, *value, change, session_, &error);
    if (leavesRegion)
        history_.stack().endMacro();
    if (isSet)
        return true;
    show(field);
    context_->environment().errorPresenter().presentError(error);
    return true;
}

bool VisitEditor::isForeignRegion(const QVariant& country) const {
    const auto region = visit_->relatedObject("region");
    return region && region->relatedObject("country") != country.value<QWRef<QWManagedObject>>();
}

void VisitEditor::commitAfterPause() {
    for (const auto& field : fields_)
        if (!field->text) // always readable
            commit(*field);
}

void VisitEditor::finish(Field& field) {
    if (!field.isEdited)
        return;
    const QString typed = field.text ? field.text() : QString();
    const bool isRead = commit(field);
    if (!isRead || field.isShownAnew)
        show(field);
    if (!isRead)
        Q_EMIT refused(field.name, typed);
}

void VisitEditor::focusMoved(const QWidget* before, const QWidget* now) {
    for (const auto& field : fields_) {
        if (!contains(*field->widget, before) || contains(*field->widget, now))
            continue;
        finish(*field);
        ++session_;
    }
}

void VisitEditor::markReadable(Field& field) {
    QPalette palette; // of the application, but for the text that means nothing
    const bool isReadable = !field.text || field.read();
    if (!isReadable)
        palette.setColor(QPalette::Text, QColor(0xd13438));
    if (field.text)
        field.widget->setPalette(isReadable ? QPalette() : palette);
}

// What is shown ---------------------------------------------------------------------------------------------

void VisitEditor::show(Field& field) {
    const QScopedValueRollback<bool> showing(isShowing_, true);
    field.isEdited = false;
    field.shown = visit_ ? visit_->valueForKey(field.key) : QVariant();
    field.show(field.shown);
    markReadable(field);
}

void VisitEditor::showAll() {
    for (const auto& field : fields_)
        show(*field);
}

void VisitEditor::follow(const QWObjectsDidChangeNotice& notice) {
    if (!visit_)
        return;
    const auto isIn = [](const QWManagedObjectSet& records, const QWManagedObject* record) {
        return std::any_of(records.begin(), records.end(),
                           [&](const auto& candidate) { return candidate.data() == record; });
    };
    if (isIn(notice.deleted, visit_.data())) {
        // What is typed for it goes with it.
        for (const auto& field : fields_)
            field->isEdited = false;
        return setVisit({});
    }
    for (const auto& field : fields_)
        if (!field->isEdited && visit_->valueForKey(field->key) != field->shown)
            show(*field);
}

void VisitEditor::setDistanceUnit(DistanceUnit unit) {
    if (unit == unit_)
        return;
    unit_ = unit;
    paceUnit_->setText(unit == DistanceUnit::Mile ? tr("a mile") : tr("a kilometre"));
    for (const auto& field : fields_)
        if (field->key == QLatin1String("pace")) {
            finish(*field);
            show(*field);
        }
}

} // namespace atlas
