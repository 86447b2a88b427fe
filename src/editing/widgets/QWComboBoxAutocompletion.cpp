#include "editing/widgets/QWComboBoxAutocompletion.h"

#include "editing/widgets/QWInlineCompletion_p.h"
#include "editing/widgets/QWWidgetBinding.h"

#include <QAbstractListModel>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QSignalBlocker>

// The box as the data source sees it, and the completion in its line edit.
class QWComboBoxAutocompletion::Field final : public QWBoundField {
public:
    explicit Field(QComboBox& box) : completion(*box.lineEdit()), box_(box) {}
    QString observedKeyPath() const override { return qw::observedKeyPathOf(box_); }
    QString identifier() const override { return qw::identifierOf(box_); }

    QWInlineCompletion completion;

private:
    QComboBox& box_;
};

// The list as it was when the box last asked for it: the data source may have turned to another attribute
// since.
class QWComboBoxAutocompletion::Items final : public QAbstractListModel {
public:
    // False when they are the ones that are there.
    bool set(const QStringList& items) {
        if (items == items_)
            return false;
        beginResetModel();
        items_ = items;
        endResetModel();
        return true;
    }
    int rowCount(const QModelIndex& parent) const override {
        return parent.isValid() ? 0 : int(items_.size());
    }
    QVariant data(const QModelIndex& index, int role) const override {
        const bool isText = role == Qt::DisplayRole || role == Qt::EditRole;
        return isText && index.isValid() ? QVariant(items_.at(index.row())) : QVariant();
    }

private:
    QStringList items_;
};

namespace {

QComboBox& editable(QComboBox& box) {
    box.setEditable(true);
    return box;
}

} // namespace

QWComboBoxAutocompletion::QWComboBoxAutocompletion(
    QComboBox& comboBox, std::shared_ptr<QWComboBoxAutocompleteDatasource> datasource)
    : QObject(&comboBox), comboBox_(editable(comboBox)), datasource_(std::move(datasource)),
      field_(std::make_unique<Field>(comboBox)), items_(std::make_unique<Items>()) {
    const QString text = comboBox_.currentText();
    comboBox_.setInsertPolicy(QComboBox::NoInsert);
    comboBox_.setCompleter(nullptr); // the box's own one minds accents
    comboBox_.setModel(items_.get());
    comboBox_.setEditText(text);
    connect(comboBox_.lineEdit(), &QLineEdit::textEdited, this, &QWComboBoxAutocompletion::textEdited);
    // An item that is chosen in the list is meant in its own letters.
    connect(&comboBox_, &QComboBox::activated, this, [this] { field_->completion.clear(); });
    comboBox_.installEventFilter(this);
    comboBox_.lineEdit()->installEventFilter(this);
}

QWComboBoxAutocompletion::~QWComboBoxAutocompletion() = default;

bool QWComboBoxAutocompletion::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::MouseButtonPress: // perhaps on the arrow
    case QEvent::FocusIn:
        reload();
        break;
    case QEvent::FocusOut: {
        const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
        if (reason != Qt::PopupFocusReason && reason != Qt::ActiveWindowFocusReason)
            commit();
        break;
    }
    case QEvent::KeyPress: {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter)
            commit(); // before the box looks for an item of this text
        else if (key == Qt::Key_Escape && field_->completion.takeBack())
            return true;
        break;
    }
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void QWComboBoxAutocompletion::reload() {
    const QString text = comboBox_.currentText();
    const QSignalBlocker quietly(comboBox_); // the text stays
    if (!items_->set(datasource_->itemsForComboBox(*field_)))
        return;
    const qsizetype index = datasource_->comboBoxIndexOfItemWithStringValue(*field_, text);
    comboBox_.setCurrentIndex(index == QWComboBoxAutocompleteDatasource::notFound ? -1 : int(index));
    comboBox_.setEditText(text);
}

void QWComboBoxAutocompletion::textEdited(const QString& text) {
    if (!field_->completion.follow(text))
        return;
    const QString completed = datasource_->comboBoxCompletedString(*field_, text);
    if (!completed.isNull())
        field_->completion.show(completed);
}

void QWComboBoxAutocompletion::commit() {
    const QString meaning = field_->completion.meaning();
    field_->completion.clear();
    if (meaning != comboBox_.currentText())
        comboBox_.setEditText(meaning);
}
