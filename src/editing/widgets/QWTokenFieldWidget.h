#pragma once

#include "editing/QWTokenField.h"

#include <QPointer>
#include <QScrollArea>

class QWTokenFieldContent;

// A field whose value is a list of tokens, shown as chips that can be removed, with room to type the next
// one. It grows with its rows, up to `maximumVisibleRows`, then scrolls.
//
// What is typed becomes a token with Return, the separator, or when the field loses the focus; blanks around
// it are dropped. Pasted text is taken apart at separators and line ends. While a token is typed the
// delegate's completions are listed below, and the one that it selects, then the one that is marked in the
// list, stands behind the typed text (Escape takes list and completion away). Backspace or the arrow key at
// the start of the text goes to the chips: arrows, Home and End move among them, Delete and Backspace remove
// one, Return or a double click edits it, copy and cut take its text, Tab leaves the field.
//
// The attribute that it edits: editing/widgets/QWWidgetBinding.h. A label's buddy and `setAccessibleName`
// name it to screen readers, which meet each chip as a button of its text.
class QWTokenFieldWidget : public QScrollArea, public QWTokenField {
    Q_OBJECT
    Q_PROPERTY(QStringList tokens READ tokens WRITE setTokens NOTIFY tokensChanged)
    Q_PROPERTY(QString value READ value WRITE setValue NOTIFY tokensChanged USER true)
    Q_PROPERTY(QString separator READ separator WRITE setSeparator)
    Q_PROPERTY(QString placeholderText READ placeholderText WRITE setPlaceholderText)
    Q_PROPERTY(int maximumVisibleRows READ maximumVisibleRows WRITE setMaximumVisibleRows)
    Q_PROPERTY(QString observedKeyPath READ observedKeyPath WRITE setObservedKeyPath)
    Q_PROPERTY(QString identifier READ identifier WRITE setIdentifier)

public:
    explicit QWTokenFieldWidget(QWidget* parent = nullptr);
    ~QWTokenFieldWidget() override;

    // The chips' texts. What is still being typed is no part of them.
    QStringList tokens() const;
    void setTokens(const QStringList& tokens);
    // The tokens as a string attribute stores them: joined by the separator and a space. Setting takes a text
    // apart there, and drops empty pieces.
    QString value() const;
    void setValue(const QString& value);
    // One character, "," at first; others are ignored.
    QString separator() const;
    void setSeparator(const QString& separator);

    const QString& placeholderText() const { return placeholderText_; }
    void setPlaceholderText(const QString& text);
    int maximumVisibleRows() const { return maximumVisibleRows_; }
    void setMaximumVisibleRows(int rows);

    QString observedKeyPath() const override;
    void setObservedKeyPath(const QString& path);
    QString identifier() const override;
    void setIdentifier(const QString& identifier);
    // The tokens, and what is being typed behind them.
    QStringList objectValue() const override;

    // Whom to ask for completions; held weakly. One that comes or goes while the field has the focus is told
    // so.
    QWTokenFieldDelegate* delegate() const { return delegate_; }
    void setDelegate(QWTokenFieldDelegate* delegate);

    // Makes a token of what is being typed.
    void commitTyping();

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;

Q_SIGNALS:
    // By the user or by a setter.
    void tokensChanged();
    // The field has lost the focus; what was typed is a token now.
    void editingFinished();

protected:
    bool event(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    friend class QWTokenFieldContent;

    void fitContent();
    void focusMoved(QWidget* before, QWidget* now);
    void nameEdit();
    int frame() const; // what surrounds the content, in width or height

    QWTokenFieldContent* const content_; // a child
    QPointer<QWTokenFieldDelegate> delegate_;
    QString observedKeyPath_, identifier_, placeholderText_;
    int maximumVisibleRows_ = 4;
    bool isEditing_ = false;
};
