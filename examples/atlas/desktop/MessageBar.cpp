#include "desktop/MessageBar.h"

#include <QApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

namespace atlas {

MessageBar::MessageBar(QWidget* parent) : QFrame(parent), text_(new QLabel), action_(new QPushButton) {
    setAutoFillBackground(true);
    text_->setWordWrap(true);
    text_->setTextFormat(Qt::PlainText);
    auto* close = new QPushButton(tr("Not No&w"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(12, 6, 12, 6);
    layout->addWidget(text_, 1);
    layout->addWidget(action_);
    layout->addWidget(close);
    connect(action_, &QPushButton::clicked, this, [this] {
        const auto run = run_;
        clear();
        run();
    });
    connect(close, &QPushButton::clicked, this, &MessageBar::clear);
    colour();
    clear();
}

void MessageBar::showMessage(const QString& text, const QString& action, std::function<void()> run) {
    text_->setText(text);
    setAccessibleName(text);
    action_->setText(action);
    action_->setVisible(!action.isEmpty());
    run_ = std::move(run);
    show();
}

void MessageBar::clear() {
    text_->clear();
    hide();
}

QString MessageBar::text() const {
    return text_->text();
}

void MessageBar::changeEvent(QEvent* event) {
    QFrame::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) // the second time nothing changes any more
        colour();
}

// A yellowish ground, as dark or light as the window.
void MessageBar::colour() {
    const bool isDark = QApplication::palette().color(QPalette::Window).lightness() < 128;
    QPalette colours;
    colours.setColor(QPalette::Window, isDark ? QColor(0x4a4020) : QColor(0xfff3c9));
    setPalette(colours);
}

} // namespace atlas
