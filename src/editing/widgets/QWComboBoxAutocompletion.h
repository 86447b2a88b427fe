#pragma once

#include "editing/QWComboBoxAutocompleteDatasource.h"

#include <QComboBox>
#include <memory>

// Lets a combo box list and complete what is in the store: makes it editable, gives it a model over the data
// source, and puts the rest of the completion, selected, behind what is typed ("BA" becomes "BAnana").
// Return, or leaving the box, makes it the item in its own letters ("Banana"); Escape takes the rest away.
//
// The attribute that it edits: editing/widgets/QWWidgetBinding.h. The list is the data source's; it is asked
// for when the box receives the focus or opens its list, so that several boxes can take turns with one data
// source.
//
// Becomes a child of the combo box, which must keep its line edit from then on.
class QWComboBoxAutocompletion final : public QObject {
    Q_OBJECT
public:
    QWComboBoxAutocompletion(QComboBox& comboBox,
                             std::shared_ptr<QWComboBoxAutocompleteDatasource> datasource);
    ~QWComboBoxAutocompletion() override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    class Field;
    class Items;

    void reload();
    void textEdited(const QString& text);
    void commit();

    QComboBox& comboBox_;
    const std::shared_ptr<QWComboBoxAutocompleteDatasource> datasource_;
    const std::unique_ptr<Field> field_;
    const std::unique_ptr<Items> items_;
};
