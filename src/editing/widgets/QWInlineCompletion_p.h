#pragma once

#include "platform/text/QWText.h"

#include <QLineEdit>

// The completion that stands in a line edit behind what was typed: the typed text keeps its letters ("BA"),
// and the rest of the completion follows it selected ("nana"), so that the next letter replaces it.
class QWInlineCompletion {
public:
    explicit QWInlineCompletion(QLineEdit& edit) : edit_(edit) {}

    // What the user has typed has become `text`. True when a completion may be shown: at the end of the text,
    // and not after a deletion, which would bring back what was deleted.
    bool follow(const QString& text) {
        const bool hasGrown = !typed_.startsWith(text);
        typed_ = text;
        completion_ = QString();
        return hasGrown && edit_.cursorPosition() == text.size();
    }
    void show(const QString& completion) {
        const qsizetype length = qw::text::SearchedText(typed_).lengthAsPrefixOf(completion);
        if (length == 0)
            return;
        completion_ = completion;
        const QString rest = completion.mid(length);
        edit_.setText(typed_ + rest);
        // Backwards, so that the cursor stays behind what was typed.
        edit_.setSelection(int(typed_.size() + rest.size()), -int(rest.size()));
    }
    // What the text in the field stands for: the completion in its own letters while it is shown, else the
    // text.
    QString meaning() const {
        const bool isShown =
            !completion_.isNull() && edit_.text().startsWith(typed_)
            && completion_.endsWith(edit_.text().mid(typed_.size()))
            && qw::text::foldCaseAndMarks(edit_.text()) == qw::text::foldCaseAndMarks(completion_);
        return isShown ? completion_ : edit_.text();
    }
    const QString& typed() const { return typed_; }
    // Back to what was typed. False when there was nothing to take away.
    bool takeBack() {
        if (completion_.isNull())
            return false;
        completion_ = QString();
        edit_.setText(typed_);
        return true;
    }
    void clear() { typed_ = completion_ = QString(); }

private:
    QLineEdit& edit_;
    QString typed_, completion_;
};
