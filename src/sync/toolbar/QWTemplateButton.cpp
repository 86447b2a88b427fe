#include "sync/toolbar/QWTemplateButton_p.h"

#include <QEvent>
#include <QPainter>
#include <utility>

// Outside any namespace, as the macro wants it.
static void initToolbarResources() {
    Q_INIT_RESOURCE(qwlibrary_toolbar);
}

namespace {

QPixmap filled(QImage image, const QColor& colour) {
    image = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(1); // which of them is drawn the icon finds by their sizes
    QPainter painter(&image);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), colour);
    painter.end();
    return QPixmap::fromImage(image);
}

} // namespace

QWTemplateButton::QWTemplateButton(const QString& name) : name_(name) {
    initToolbarResources();
    fillTemplate();
    setIconSize(QImage(":/qwlibrary/images/" + name_ + ".png").size());
}

void QWTemplateButton::changeEvent(QEvent* event) {
    QToolButton::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        fillTemplate();
}

void QWTemplateButton::fillTemplate() {
    QIcon icon;
    for (const char* scale : {"", "@2x", "@3x"}) {
        const QImage image(":/qwlibrary/images/" + name_ + scale + ".png");
        const std::pair<QIcon::Mode, QPalette::ColorGroup> states[] = {{QIcon::Normal, QPalette::Active},
                                                                       {QIcon::Disabled, QPalette::Disabled}};
        for (const auto& [mode, group] : states)
            icon.addPixmap(filled(image, palette().color(group, QPalette::ButtonText)), mode);
    }
    setIcon(icon);
}
