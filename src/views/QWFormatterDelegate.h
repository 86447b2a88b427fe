#pragma once

#include "util/QWFormatter.h"

#include <QStyledItemDelegate>

// Gives a formatter to a column, a row or the whole of an item view: values are shown through it, and what is
// typed into a line edit is read by it. The model holds the values themselves, under Qt::DisplayRole and
// Qt::EditRole. A value for which the formatter has no text is shown as none. The formatter is never null.
//
// A text that the formatter refuses keeps the editor open when Return is pressed, with the formatter's error
// description as its tool tip; when the focus goes elsewhere, the editor closes and the value stays. Where an
// empty text means no value, the model receives a null QVariant.
class QWFormatterDelegate final : public QStyledItemDelegate {
public:
    explicit QWFormatterDelegate(QWFormatterRef formatter, QObject* parent = nullptr);

    QString displayText(const QVariant& value, const QLocale& locale) const override;
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override;
    void setEditorData(QWidget* editor, const QModelIndex& index) const override;
    void setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const override;

private:
    QWFormatterRef formatter_;
};
