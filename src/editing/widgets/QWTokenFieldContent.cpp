#include "editing/widgets/QWTokenFieldContent_p.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>
#include <QRegularExpression>
#include <QScreen>
#include <QScrollBar>
#include <QStyle>
#include <algorithm>
#include <utility>

using Content = QWTokenFieldContent;

Content::QWTokenFieldContent(QWTokenFieldWidget& field) : QWidget(&field), field_(field), edit_(*this) {
    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    setCursor(Qt::IBeamCursor);
    edit_.setFrame(false);
    connect(&edit_, &QLineEdit::textEdited, this, &Content::textEdited);
    connect(&edit_, &QLineEdit::textChanged, this, &Content::rearrange); // it may need another row

    completer_.setModel(&completions_);
    completer_.setCompletionMode(QCompleter::UnfilteredPopupCompletion); // the delegate has filtered
    completer_.setMaxVisibleItems(8);
    completer_.setWidget(&edit_);
    connect(&completer_, qOverload<const QString&>(&QCompleter::activated), this, &Content::take);
    connect(&completer_, qOverload<const QString&>(&QCompleter::highlighted), this, &Content::propose);
}

// Tokens ----------------------------------------------------------------------------------------------------

QStringList Content::tokens() const {
    QStringList all;
    for (const QWTokenChip* chip : chips_)
        all.append(chip->token());
    return all;
}

void Content::setTokens(const QStringList& wanted) {
    if (wanted == tokens())
        return;
    for (QWTokenChip* chip : std::exchange(chips_, {})) {
        if (chip->hasFocus())
            edit_.setFocus();
        chip->hide();
        chip->deleteLater();
    }
    for (const QString& token : wanted)
        insertChip(qsizetype(chips_.size()), token);
    changed();
}

QStringList Content::pieces(const QString& text) const {
    static const QRegularExpression lineEnd(QStringLiteral("[\\r\\n\\x{2028}\\x{2029}]"));
    QStringList found;
    for (const QString& line : text.split(lineEnd)) {
        for (const QString& piece : line.split(separator)) {
            if (const QString token = piece.trimmed(); !token.isEmpty())
                found.append(token);
        }
    }
    return found;
}

void Content::insertChip(qsizetype place, const QString& token) {
    auto* chip = new QWTokenChip(token, this);
    chips_.insert(chips_.begin() + place, chip);
    chip->installEventFilter(this);
    const auto placeOf = [this, chip] {
        return qsizetype(std::find(chips_.begin(), chips_.end(), chip) - chips_.begin());
    };
    connect(chip, &QWTokenChip::removeRequested, this, [this, placeOf] { removeChip(placeOf()); });
    connect(chip, &QWTokenChip::editRequested, this, [this, placeOf] { editChip(placeOf()); });
    chip->show();
}

void Content::removeChip(qsizetype place) {
    QWTokenChip* chip = chips_[size_t(place)];
    chips_.erase(chips_.begin() + place);
    if (chip->hasFocus())
        focusChip(place);
    chip->hide();
    chip->deleteLater(); // it may be telling us
    changed();
}

void Content::editChip(qsizetype place) {
    commitTyping();
    const QString token = chips_[size_t(place)]->token();
    edit_.setFocus();
    removeChip(place);
    edit_.setText(token);
    inline_.follow(token);
    edit_.selectAll();
}

void Content::commitTyping() {
    const QString text = inline_.meaning();
    closeList();
    inline_.clear();
    edit_.setText(QString()); // which undoing does not bring back, as it would what clear() takes away
    const QStringList made = pieces(text);
    for (const QString& token : made)
        insertChip(qsizetype(chips_.size()), token);
    if (!made.isEmpty())
        changed();
}

void Content::changed() {
    rearrange();
    Q_EMIT field_.tokensChanged();
}

// Keys ------------------------------------------------------------------------------------------------------

bool Content::keyPressed(QKeyEvent& event) {
    const bool isListed = completer_.popup()->isVisible();
    const bool isAtStart = edit_.cursorPosition() == 0 && !edit_.hasSelectedText();
    switch (event.key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (isListed && completer_.popup()->currentIndex().isValid()) {
            event.ignore(); // the list takes it
            return true;
        }
        if (edit_.text().trimmed().isEmpty()) {
            event.ignore(); // the window's default button may take it
            return true;
        }
        commitTyping();
        return true;
    case Qt::Key_Escape:
        if (!isListed && !inline_.takeBack()) {
            event.ignore();
            return true;
        }
        inline_.takeBack();
        closeList();
        return true;
    case Qt::Key_Down:
        if (!isListed && !typing().isEmpty()) {
            listCompletions(false);
            return true;
        }
        return false;
    case Qt::Key_Home:
    case Qt::Key_Backspace:
    case Qt::Key_Left:
    case Qt::Key_Right: {
        const bool isBackwards = event.key() != (isRightToLeft() ? Qt::Key_Left : Qt::Key_Right);
        const bool isPlain = (event.modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
        if (!isAtStart || !isBackwards || !isPlain || chips_.empty())
            return false;
        focusChip(event.key() == Qt::Key_Home ? 0 : qsizetype(chips_.size()) - 1);
        return true;
    }
    default:
        return event.matches(QKeySequence::Paste) && pasted(QApplication::clipboard()->text());
    }
}

// Text of several tokens becomes tokens; other text is pasted as into any line edit.
bool Content::pasted(const QString& text) {
    const bool isList = text.contains(separator) || text.trimmed().contains(u'\n');
    if (!isList)
        return false;
    const QStringList made = pieces(text);
    if (edit_.hasSelectedText())
        edit_.del();
    commitTyping();
    for (const QString& token : made)
        insertChip(qsizetype(chips_.size()), token);
    if (!made.isEmpty())
        changed();
    return true;
}

bool Content::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut)
        static_cast<QWidget*>(watched)->update();
    if (event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    const auto chip = std::find(chips_.begin(), chips_.end(), watched);
    return chip != chips_.end() && chipKeyPressed(chip - chips_.begin(), *static_cast<QKeyEvent*>(event));
}

bool Content::chipKeyPressed(qsizetype place, QKeyEvent& event) {
    const bool isLeftwards = event.key() == Qt::Key_Left;
    if (event.matches(QKeySequence::Copy) || event.matches(QKeySequence::Cut)) {
        QApplication::clipboard()->setText(chips_[size_t(place)]->token());
        if (event.matches(QKeySequence::Cut))
            removeChip(place);
        return true;
    }
    switch (event.key()) {
    case Qt::Key_Left:
    case Qt::Key_Right:
        focusChip(std::max<qsizetype>(0, isLeftwards != isRightToLeft() ? place - 1 : place + 1));
        return true;
    case Qt::Key_Home:
        focusChip(0);
        return true;
    case Qt::Key_End:
    case Qt::Key_Escape:
        focusChip(qsizetype(chips_.size()));
        return true;
    case Qt::Key_Delete:
        removeChip(place);
        return true;
    case Qt::Key_Backspace: // on to the one before
        removeChip(place);
        focusChip(chips_.empty() ? 0 : std::max<qsizetype>(0, place - 1));
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_F2:
        editChip(place);
        return true;
    default:
        break;
    }
    const bool types = !event.text().isEmpty() && event.text().front().isPrint()
                       && !(event.modifiers() & (Qt::ControlModifier | Qt::MetaModifier));
    // The line edit has the field's place in the tab order.
    const bool leaves = event.key() == Qt::Key_Tab || event.key() == Qt::Key_Backtab;
    if (!types && !leaves && !event.matches(QKeySequence::Paste))
        return false;
    edit_.setFocus();
    QApplication::sendEvent(&edit_, &event);
    return true;
}

void Content::focusChip(qsizetype place) {
    QWidget* target = &edit_;
    if (place < qsizetype(chips_.size()))
        target = chips_[size_t(place)];
    target->setFocus(Qt::OtherFocusReason);
    field_.ensureWidgetVisible(target, gap, gap);
}

// Completion ------------------------------------------------------------------------------------------------

void Content::textEdited(const QString& text) {
    if (const qsizetype last = text.lastIndexOf(separator); last >= 0) {
        const QString rest = text.mid(last + separator.size()).trimmed();
        inline_.clear();
        edit_.setText(text.left(last));
        commitTyping();
        edit_.setText(rest);
        inline_.follow(rest);
        return;
    }
    const bool proposes = inline_.follow(text);
    listCompletions(proposes);
}

void Content::listCompletions(bool proposes) {
    QStringList found;
    qsizetype selected = 0;
    if (field_.delegate() && !typing().isEmpty()) {
        found = field_.delegate()->tokenFieldCompletionsForSubstring(field_, typing(),
                                                                     qsizetype(chips_.size()), &selected);
    }
    if (found.isEmpty())
        return closeList();
    completions_.setStringList(found);
    const bool hasSelection = proposes && selected >= 0 && selected < found.size();
    if (hasSelection)
        inline_.show(found[selected]);

    QAbstractItemView* list = completer_.popup();
    list->setLayoutDirection(layoutDirection());
    int width = 0; // of those that can be seen at first
    for (qsizetype row = 0; row < std::min<qsizetype>(found.size(), 2 * completer_.maxVisibleItems()); ++row)
        width = std::max(width, list->sizeHintForIndex(completions_.index(int(row))).width());
    width += list->verticalScrollBar()->sizeHint().width()
             + 2 * list->style()->pixelMetric(QStyle::PM_DefaultFrameWidth);
    const QRect line = edit_.rect();
    const int wanted = std::min(std::max(width, 8 * fontMetrics().averageCharWidth()), field_.width());
    const QRect place = QStyle::visualRect(layoutDirection(), line, QRect(0, 0, wanted, line.height()));
    completer_.complete(place);
    if (isRightToLeft()) { // where the completer puts the list's left edge to the right one of the place
        const int left = edit_.mapToGlobal(place.topLeft()).x();
        list->move(std::max(left, screen()->availableGeometry().left()), list->y());
    }
    list->setCurrentIndex(hasSelection ? completer_.completionModel()->index(int(selected), 0)
                                       : QModelIndex());
}

// So that leaving the field takes the completion that is marked in the list.
void Content::propose(const QString& completion) {
    if (completion.isEmpty())
        inline_.takeBack();
    else
        inline_.show(completion);
}

void Content::take(const QString& completion) {
    inline_.clear();
    edit_.setText(completion);
    commitTyping();
    edit_.setFocus();
}

void Content::closeList() {
    completer_.popup()->hide();
}

bool Content::isWithin(const QWidget* widget) const {
    return widget && (isAncestorOf(widget) || widget == &field_ || widget == completer_.popup());
}

// Places ----------------------------------------------------------------------------------------------------

int Content::rowHeight() const {
    return std::max(fontMetrics().height() + 4, edit_.sizeHint().height());
}

int Content::arrange(int width, Places* places) const {
    const int line = std::max(1, width - 2 * gap), height = rowHeight();
    int x = 0, y = gap;
    const auto place = [&](int wanted, int given) {
        if (x > 0 && x + wanted > line) {
            x = 0;
            y += height + gap;
        }
        const int taken = std::min(std::max(wanted, given - x), line);
        if (places) {
            const QRect rect(gap + x, y, taken, height);
            places->push_back(QStyle::visualRect(layoutDirection(), QRect(0, 0, width, 1), rect));
        }
        x += taken + gap;
    };
    for (const QWTokenChip* chip : chips_)
        place(chip->sizeHint().width(), 0);
    // The line edit takes the rest of its row, and another row when the text does not fit.
    const int letters = edit_.fontMetrics().horizontalAdvance(edit_.text());
    place(std::max(edit_.fontMetrics().averageCharWidth() * 8, letters + 2 * gap + 8), line);
    return y + height + gap;
}

void Content::rearrange() {
    // Beside the last chip, whatever the script of what is typed.
    edit_.setAlignment((isRightToLeft() ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignAbsolute
                       | Qt::AlignVCenter);
    edit_.setPlaceholderText(chips_.empty() ? field_.placeholderText() : QString());
    Places places;
    arrange(width(), &places);
    for (size_t index = 0; index < chips_.size(); ++index)
        chips_[index]->setGeometry(places[index]);
    edit_.setGeometry(places.back());
    updateGeometry();
    field_.fitContent();
    if (edit_.hasFocus())
        field_.ensureWidgetVisible(&edit_, gap, gap);
}

void Content::resizeEvent(QResizeEvent*) {
    rearrange();
}

void Content::mousePressEvent(QMouseEvent*) {
    edit_.setFocus(Qt::MouseFocusReason);
}
