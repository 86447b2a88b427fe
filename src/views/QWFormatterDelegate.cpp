#include "views/QWFormatterDelegate.h"
#include "formatters/QWFormatterValidator.h"

#include <QLineEdit>

QWFormatterDelegate::QWFormatterDelegate(QWFormatterRef formatter, QObject* parent)
    : QStyledItemDelegate(parent), formatter_(std::move(formatter)) {}

QString QWFormatterDelegate::displayText(const QVariant& value, const QLocale&) const {
    return formatter_->stringForObjectValue(value);
}

QWidget* QWFormatterDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem&,
                                           const QModelIndex&) const {
    auto* edit = new QLineEdit(parent);
    edit->setFrame(false);
    edit->setValidator(
        new QWFormatterValidator(formatter_, edit)); // Return ends editing only with its consent
    const auto explain = [edit, formatter = formatter_](const QString& text) {
        QVariant value;
        QString error;
        formatter->getObjectValue(&value, text, &error);
        edit->setToolTip(error);
    };
    connect(edit, &QLineEdit::textChanged, edit, explain);
    explain(edit->text()); // which stays empty, without a change, for a value without a text
    return edit;
}

void QWFormatterDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const {
    const QString text = formatter_->editingStringForObjectValue(index.data(Qt::EditRole));
    static_cast<QLineEdit*>(editor)->setText(text);
}

void QWFormatterDelegate::setModelData(QWidget* editor, QAbstractItemModel* model,
                                       const QModelIndex& index) const {
    QVariant value;
    if (formatter_->getObjectValue(&value, static_cast<QLineEdit*>(editor)->text()))
        model->setData(index, value, Qt::EditRole);
}
