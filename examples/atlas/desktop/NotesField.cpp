#include "desktop/NotesField.h"

#include "core/QWRichText.h"
#include "desktop/Glyphs.h"

#include <QHBoxLayout>
#include <QRegularExpression>
#include <QScopedValueRollback>
#include <QShortcut>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextEdit>
#include <QTextList>
#include <QToolButton>
#include <QVBoxLayout>

namespace atlas {

NotesField::NotesField(QWidget* parent) : QWidget(parent), edit_(new QTextEdit), buttons_(new QHBoxLayout) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->setSpacing(2);
    layout->addWidget(edit_, 1);
    layout->addLayout(buttons_);
    buttons_->setSpacing(0);
    edit_->setTabChangesFocus(true);
    edit_->setAcceptRichText(true);
    edit_->setMinimumHeight(edit_->fontMetrics().lineSpacing() * 6);
    edit_->setPlaceholderText(tr("Notes"));
    edit_->setAccessibleName(tr("Notes"));
    setFocusProxy(edit_);
    connect(edit_, &QTextEdit::textChanged, this, [this] {
        if (!isShowing_)
            Q_EMIT edited();
    });

    addToggle(
        tr("B", "bold"), tr("Bold"), QKeySequence::Bold,
        [](QTextCharFormat& format, bool on) { format.setFontWeight(on ? QFont::Bold : QFont::Normal); },
        [](const QTextCharFormat& format) { return format.fontWeight() >= QFont::Bold; });
    addToggle(
        tr("I", "italic"), tr("Italic"), QKeySequence::Italic,
        [](QTextCharFormat& format, bool on) { format.setFontItalic(on); },
        [](const QTextCharFormat& format) { return format.fontItalic(); });
    addToggle(
        tr("U", "underlined"), tr("Underlined"), QKeySequence::Underline,
        [](QTextCharFormat& format, bool on) { format.setFontUnderline(on); },
        [](const QTextCharFormat& format) { return format.fontUnderline(); });
    addListButton();
    buttons_->addStretch();
}

QVariant NotesField::value() const {
    if (edit_->document()->isEmpty())
        return {};
    QString html = edit_->toHtml();
    // The font of this window is no part of what was written.
    static const QRegularExpression bodyStyle(QStringLiteral("<body style=\"[^\"]*\">"));
    html.replace(bodyStyle, QStringLiteral("<body>"));
    return html.toUtf8();
}

void NotesField::setValue(const QVariant& value) {
    const QScopedValueRollback<bool> showing(isShowing_, true);
    if (const auto document = qw::richTextFromStoredValue(value))
        edit_->setHtml(document->toHtml());
    else
        edit_->clear();
}

void NotesField::addToggle(const QString& letter, const QString& name, const QKeySequence& keys,
                           const std::function<void(QTextCharFormat&, bool)>& apply,
                           const std::function<bool(const QTextCharFormat&)>& isOn) {
    auto* button = new QToolButton;
    QTextCharFormat format;
    apply(format, true);
    button->setFont(format.font());
    button->setText(letter);
    button->setToolTip(QStringLiteral("%1 (%2)").arg(name, keys.toString(QKeySequence::NativeText)));
    button->setAccessibleName(name);
    button->setCheckable(true);
    button->setAutoRaise(true);
    buttons_->addWidget(button);
    const auto toggle = [this, apply](bool on) {
        QTextCharFormat change;
        apply(change, on);
        edit_->mergeCurrentCharFormat(change);
        edit_->setFocus();
    };
    connect(button, &QToolButton::clicked, edit_, toggle);
    connect(edit_, &QTextEdit::currentCharFormatChanged, button,
            [button, isOn](const QTextCharFormat& current) { button->setChecked(isOn(current)); });
    auto* shortcut = new QShortcut(keys, edit_, nullptr, nullptr, Qt::WidgetShortcut);
    connect(shortcut, &QShortcut::activated, button, &QToolButton::click);
}

void NotesField::addListButton() {
    auto* button = new QToolButton;
    button->setIcon(glyphIcon(Glyph::List));
    button->setToolTip(tr("List"));
    button->setAccessibleName(button->toolTip());
    button->setCheckable(true);
    button->setAutoRaise(true);
    buttons_->addWidget(button);
    connect(button, &QToolButton::clicked, edit_, [this](bool on) {
        QTextCursor cursor = edit_->textCursor();
        if (on) {
            cursor.createList(QTextListFormat::ListDisc);
        } else if (QTextList* list = cursor.currentList()) {
            list->remove(cursor.block());
            QTextBlockFormat format = cursor.blockFormat();
            format.setIndent(0);
            cursor.setBlockFormat(format);
        }
        edit_->setFocus();
    });
    connect(edit_, &QTextEdit::cursorPositionChanged, button,
            [this, button] { button->setChecked(edit_->textCursor().currentList()); });
}

} // namespace atlas
