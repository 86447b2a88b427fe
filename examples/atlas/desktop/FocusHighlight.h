#pragma once

#include <QObject>

class QAbstractItemView;

namespace atlas {

// Draws the selection of a view paler while the view does not have the focus, so that a person at the
// keyboard sees which view the arrow keys go to. Becomes a child of the view.
class FocusHighlight final : public QObject {
    Q_OBJECT

public:
    explicit FocusHighlight(QAbstractItemView& view);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void colour();

    QAbstractItemView& view_;
};

} // namespace atlas
