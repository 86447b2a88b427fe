#pragma once

#include <QToolButton>

// A tool button whose image is a template: of its pixels only the alpha counts, the colour is that of the
// button's text, in whatever palette and state it is.
class QWTemplateButton final : public QToolButton {
    Q_OBJECT
public:
    // `name` is that of a PNG file among the area's images, which is there for one, two and three device
    // pixels to a point. The button draws it in its natural size, or smaller where there is less room.
    explicit QWTemplateButton(const QString& name);

protected:
    void changeEvent(QEvent* event) override;

private:
    void fillTemplate();

    const QString name_;
};
