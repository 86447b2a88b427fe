#pragma once

#include <QAbstractItemView>
#include <QLabel>
#include <functional>

namespace atlas {

// What an item view says in the place of its rows while it has none.
class EmptyText final : public QLabel {
    Q_OBJECT

public:
    // `text` is asked whenever the view becomes empty, or `refresh` is called. The view's model is set
    // already.
    EmptyText(QAbstractItemView& view, std::function<QString()> text);

    void refresh();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QAbstractItemView& view_;
    std::function<QString()> words_;
};

} // namespace atlas
