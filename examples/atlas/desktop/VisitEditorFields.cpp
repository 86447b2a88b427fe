// The fields of the pane: how each is laid out, shown and read.

#include "desktop/CalendarButton.h"
#include "desktop/FlagImages.h"
#include "desktop/NotesField.h"
#include "desktop/StarsField.h"
#include "desktop/VisitEditor.h"
#include "editing/widgets/QWComboBoxAutocompletion.h"
#include "editing/widgets/QWTokenFieldWidget.h"
#include "editing/widgets/QWWidgetBinding.h"
#include "formatters/NSNumberFormatter_PreconfiguredFormatters.h"
#include "formatters/QWMinutesIntervalFormatter.h"
#include "model/AtlasRecords.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>

namespace atlas {

namespace {

QVariant textOrNone(const QString& text) {
    return text.trimmed().isEmpty() ? QVariant() : QVariant(text.trimmed());
}

QVariant reference(const QWRef<QWManagedObject>& record) {
    return record ? QVariant::fromValue(record) : QVariant();
}

QWRef<QWManagedObject> referenced(const QVariant& value) {
    return value.value<QWRef<QWManagedObject>>();
}

// A row of several widgets; the first one takes the room and the focus.
QWidget* rowOf(const QList<QWidget*>& widgets) {
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins({});
    for (QWidget* widget : widgets)
        layout->addWidget(widget, widget == widgets.first() ? 1 : 0);
    row->setFocusProxy(widgets.first());
    return row;
}

// A combo box that completes from the store; its width follows the pane, not its longest item.
QComboBox* completingBox(const char* key, const std::shared_ptr<QWComboBoxAutocompleteDatasource>& source) {
    auto* box = new QComboBox;
    box->setProperty(qw::identifierProperty, QString::fromLatin1(key));
    box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    box->setMinimumContentsLength(12);
    new QWComboBoxAutocompletion(*box, source);
    return box;
}

// The fields of a visit as the model describes them.
template <class Description>
const Description* describedField(const QString& key) {
    const Visit prototype;
    for (const auto& field : *prototype.fieldDescriptions())
        if (field->key() == key)
            return dynamic_cast<const Description*>(field.get());
    return nullptr;
}

} // namespace

void VisitEditor::makeFields() {
    addTitle();
    addCountry();
    addRegion();
    addCity();
    addStart();
    addFormatted("minutes", tr("&Duration"), std::make_shared<QWMinutesIntervalFormatter>(), tr("1h30"));
    paceUnit_ = new QLabel(tr("a kilometre"));
    addFormatted("pace", tr("&Pace"), nullptr, tr("5:30"), paceUnit_);
    addFormatted("cost", tr("C&ost"), localizedFloatFormatter(), {});
    addStatus();
    addRating();
    addFavourite();
    addTags();
    addNotes();
}

VisitEditor::Field& VisitEditor::add(const QString& key, const QString& label, QWidget* widget,
                                     QWidget* row) {
    fields_.push_back(std::make_unique<Field>());
    Field& field = *fields_.back();
    field.key = key;
    field.name = nameOf(key);
    field.widget = widget;
    widget->setObjectName(key);
    widget->setAccessibleName(field.name);
    auto* caption = new QLabel(label);
    caption->setBuddy(widget);
    layout_->addRow(caption, row ? row : widget);
    return field;
}

QString VisitEditor::nameOf(const QString& key) const {
    const auto* description = describedField<QWManagedObjectFieldDescription>(key);
    return description ? description->name() : key;
}

void VisitEditor::addTitle() {
    title_ = new QLineEdit;
    QFont font = title_->font();
    font.setPointSizeF(font.pointSizeF() * 1.25);
    font.setBold(true);
    title_->setFont(font);
    title_->setPlaceholderText(tr("Untitled"));
    Field& field = add("title", tr("Tit&le"), title_);
    field.show = [this](const QVariant& value) {
        title_->setText(value.toString());
        title_->setCursorPosition(0);
    };
    field.read = [this] { return textOrNone(title_->text()); };
    connect(title_, &QLineEdit::textEdited, this, [&] { edited(field, Commit::AfterPause); });
    connect(title_, &QLineEdit::returnPressed, this, [&] { commit(field); });
}

void VisitEditor::addCountry() {
    QComboBox* box = completingBox("name", countries_);
    flag_ = new QLabel;
    const int height = box->sizeHint().height(); // no more, so that the caption stands in line with the text
    flag_->setFixedSize(height, height);
    flag_->setScaledContents(true);
    Field& field = add("country", tr("Countr&y"), box, rowOf({box, flag_}));
    box->lineEdit()->setPlaceholderText(tr("None"));
    field.isShownAnew = true;
    field.text = [box] { return box->currentText(); };
    field.show = [this, box](const QVariant& value) {
        const auto country = referenced(value);
        box->setCurrentText(country ? country->valueForKey("name").toString() : QString());
        box->lineEdit()->setCursorPosition(0);
        const auto* record = dynamic_cast<const Country*>(country.data());
        flag_->setPixmap(
            QPixmap::fromImage(flags_.image(record ? record->imageURL().toLocalFile() : QString())));
        listRegions();
    };
    field.read = [this, box]() -> std::optional<QVariant> {
        const QString name = box->currentText().trimmed();
        if (name.isEmpty())
            return QVariant();
        const QVariant country = countryNamed(name);
        return country.isValid() ? std::optional(country) : std::nullopt;
    };
    connect(box->lineEdit(), &QLineEdit::textEdited, this, [&] { edited(field, Commit::AtEnd); });
    connect(box, &QComboBox::activated, this, [&] {
        edited(field, Commit::Now);
        show(field);
    });
}

QVariant VisitEditor::countryNamed(const QString& name) const {
    QWFetchRequest request(
        "Country", QWPredicate::comparison("name", QWPredicate::Operator::Equal, name,
                                           QWPredicate::CaseInsensitive | QWPredicate::DiacriticInsensitive));
    request.limit = 1;
    const auto found = context_->fetch(request).value_or(QWManagedObjectSet());
    return found.empty() ? QVariant() : reference(found.front());
}

void VisitEditor::addRegion() {
    region_ = new QComboBox;
    region_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    region_->setMinimumContentsLength(12);
    Field& field = add("region", tr("Reg&ion"), region_);
    field.show = [this](const QVariant& value) {
        listRegions();
        const auto region = referenced(value);
        const int row = region ? region_->findData(region->valueForKey("uuid")) : 0;
        region_->setCurrentIndex(qMax(row, 0));
    };
    field.read = [this]() -> std::optional<QVariant> {
        const QString uuid = region_->currentData().toString();
        if (uuid.isEmpty())
            return QVariant();
        const auto region = QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, "Region", *context_);
        return reference(QWRef<QWManagedObject>(region.data()));
    };
    connect(region_, &QComboBox::activated, this, [&] { edited(field, Commit::Now); });
}

// Those of the visit's country, and none.
void VisitEditor::listRegions() {
    if (!region_)
        return;
    region_->clear();
    region_->addItem(tr("None"));
    const auto country = visit_ ? visit_->relatedObject("country") : QWRef<QWManagedObject>();
    region_->setEnabled(country);
    if (!country)
        return;
    QWFetchRequest request("Region", QWPredicate::comparison("country", QWPredicate::Operator::Equal,
                                                             QVariant::fromValue(country->objectID())));
    request.sortDescriptors = {{"name", true, QWSortDescriptor::Comparison::LocalizedCaseInsensitive}};
    for (const auto& region : context_->fetch(request).value_or(QWManagedObjectSet()))
        region_->addItem(region->valueForKey("name").toString(), region->valueForKey("uuid"));
}

void VisitEditor::addCity() {
    QComboBox* box = completingBox("city", visits_);
    Field& field = add("city", tr("Ci&ty"), box);
    field.show = [box](const QVariant& value) {
        box->setCurrentText(value.toString());
        box->lineEdit()->setCursorPosition(0);
    };
    field.read = [box] { return textOrNone(box->currentText()); };
    connect(box->lineEdit(), &QLineEdit::textEdited, this, [&] { edited(field, Commit::AtEnd); });
    connect(box, &QComboBox::activated, this, [&] { edited(field, Commit::Now); });
}

void VisitEditor::addStart() {
    const auto* description = describedField<QWManagedObjectFieldDescriptionDate>("start");
    auto* edit = new QLineEdit;
    auto* calendar = new CalendarButton;
    const QWDateFormatterRef formatter = description->dateFormatter();
    Field& field = add("start", tr("&Start"), edit, rowOf({edit, calendar}));
    field.isShownAnew = true;
    field.text = [edit] { return edit->text(); };
    edit->setPlaceholderText(tr("2026-05-04 or 2026-05-04 18:30"));
    field.show = [edit, formatter](const QVariant& value) {
        edit->setText(formatter->stringForObjectValue(value));
    };
    field.read = [edit, formatter]() -> std::optional<QVariant> {
        QVariant value;
        const QString text = edit->text().trimmed();
        // A date alone means its beginning.
        if (formatter->getObjectValue(&value, text)
            || formatter->getObjectValue(&value, text + QStringLiteral(" 00:00")))
            return value;
        return {};
    };
    connect(edit, &QLineEdit::textEdited, this, [&] { edited(field, Commit::AtEnd); });
    connect(edit, &QLineEdit::returnPressed, this, [&] { finish(field); });
    calendar->setDateSource(
        [this] { return visit_ ? visit_->valueForKey("start").toDateTime() : QDateTime(); });
    connect(calendar, &CalendarButton::picked, this, [this, edit, formatter, &field](const QDateTime& date) {
        edit->setText(formatter->stringFromDate(date));
        edited(field, Commit::Now);
    });
}

void VisitEditor::addFormatted(const QString& key, const QString& label, const QWFormatterRef& formatter,
                               const QString& example, QLabel* unit) {
    auto* edit = new QLineEdit;
    edit->setPlaceholderText(example);
    Field& field = add(key, label, edit, unit ? rowOf({edit, unit}) : nullptr);
    field.isShownAnew = true;
    field.text = [edit] { return edit->text(); };
    // The pace has a formatter of the unit that is set.
    const auto current = [this, formatter]() -> QWFormatterRef {
        return formatter ? formatter : std::make_shared<PaceFormatter>(unit_);
    };
    field.show = [edit, current](const QVariant& value) {
        edit->setText(value.isNull() ? QString() : current()->editingStringForObjectValue(value));
    };
    field.read = [edit, current]() -> std::optional<QVariant> {
        QVariant value;
        const QString text = edit->text().trimmed();
        if (!text.isEmpty() && !current()->getObjectValue(&value, text))
            return {};
        return value;
    };
    connect(edit, &QLineEdit::textEdited, this, [&] { edited(field, Commit::AtEnd); });
    connect(edit, &QLineEdit::returnPressed, this, [&] { finish(field); });
}

void VisitEditor::addStatus() {
    const auto* description = describedField<QWManagedObjectFieldDescriptionEnum>("status");
    auto* box = new QComboBox;
    for (qsizetype i = 0; i < description->choiceValues().size(); ++i)
        box->addItem(description->choiceNames().at(i), description->choiceValues().at(i));
    box->setPlaceholderText(tr("None"));
    Field& field = add("status", tr("St&atus"), box);
    field.show = [box](const QVariant& value) { box->setCurrentIndex(box->findData(value)); };
    field.read = [box] { return box->currentData(); };
    connect(box, &QComboBox::activated, this, [&] { edited(field, Commit::Now); });
}

void VisitEditor::addRating() {
    auto* stars = new StarsField;
    Field& field = add("rating", tr("&Rating"), stars);
    field.show = [stars](const QVariant& value) { stars->setValue(value.toInt()); };
    field.read = [stars] { return QVariant(qlonglong(stars->value())); };
    connect(stars, &StarsField::edited, this, [&] { edited(field, Commit::Now); });
}

void VisitEditor::addFavourite() {
    auto* box = new QCheckBox(tr("Favo&urite"));
    Field& field = add("favourite", {}, box);
    field.show = [box](const QVariant& value) { box->setChecked(value.toBool()); };
    field.read = [box] { return QVariant(box->isChecked()); };
    connect(box, &QCheckBox::clicked, this, [&] { edited(field, Commit::Now); });
}

void VisitEditor::addTags() {
    auto* tags = new QWTokenFieldWidget;
    tags->setObservedKeyPath("selection.tags");
    tags->setDelegate(&tagCompletion_);
    tags->setPlaceholderText(tr("Add a tag"));
    Field& field = add("tags", tr("Ta&gs"), tags);
    auto* caption = static_cast<QLabel*>(layout_->labelForField(tags)); // in line with the first of its lines
    caption->setAlignment(Qt::AlignTop | Qt::AlignLeading);
    caption->setContentsMargins(0, (tags->minimumSizeHint().height() - fontMetrics().height()) / 2, 0, 0);
    field.show = [tags](const QVariant& value) { tags->setValue(value.toString()); };
    field.read = [tags] { return textOrNone(tags->value()); };
    connect(tags, &QWTokenFieldWidget::tokensChanged, this, [&] { edited(field, Commit::Now); });
}

void VisitEditor::addNotes() {
    auto* notes = new NotesField;
    Field& field = add("notes", tr("&Notes"), notes);
    layout_->setRowWrapPolicy(QFormLayout::DontWrapRows);
    field.show = [notes](const QVariant& value) { notes->setValue(value); };
    field.read = [notes] { return notes->value(); };
    connect(notes, &NotesField::edited, this, [&] { edited(field, Commit::AfterPause); });
}

} // namespace atlas
