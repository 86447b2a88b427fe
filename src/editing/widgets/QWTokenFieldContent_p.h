#pragma once

#include "editing/widgets/QWInlineCompletion_p.h"
#include "editing/widgets/QWTokenChip_p.h"
#include "editing/widgets/QWTokenFieldWidget.h"

#include <QCompleter>
#include <QLineEdit>
#include <QStringListModel>

// What scrolls within a token field: the chips in rows, and the line edit behind the last of them.
class QWTokenFieldContent final : public QWidget {
    Q_OBJECT
public:
    explicit QWTokenFieldContent(QWTokenFieldWidget& field);

    QStringList tokens() const;
    void setTokens(const QStringList& tokens);
    // What is being typed, without the proposed rest and the blanks around it.
    QString typing() const { return inline_.typed().trimmed(); }
    void commitTyping();
    // The pieces between separators and line ends that hold anything but blanks.
    QStringList pieces(const QString& text) const;

    QLineEdit& edit() { return edit_; }
    bool isWithin(const QWidget* widget) const;
    void closeList();

    QString separator = QStringLiteral(",");

    int heightForWidth(int width) const override { return arrange(width, nullptr); }
    int heightOfRows(int rows) const { return rows * (rowHeight() + gap) + gap; }
    QSize sizeHint() const override { return {fontMetrics().averageCharWidth() * 30, heightOfRows(1)}; }
    QSize minimumSizeHint() const override {
        return {fontMetrics().averageCharWidth() * 10, heightOfRows(1)};
    }
    void rearrange();

    // Keys and pasted text of the line edit; true: taken care of.
    bool keyPressed(QKeyEvent& event);
    bool pasted(const QString& text);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    // The line edit tells the content of its keys first, also of those that the list passes on to it.
    class Edit final : public QLineEdit {
    public:
        explicit Edit(QWTokenFieldContent& content) : QLineEdit(&content), content_(content) {}

    protected:
        void keyPressEvent(QKeyEvent* event) override {
            if (!content_.keyPressed(*event))
                QLineEdit::keyPressEvent(event);
        }

    private:
        QWTokenFieldContent& content_;
    };
    using Places =
        std::vector<QRect>; // of the chips, then of the line edit; mirrored where text runs from the right

    static constexpr int gap = 3;
    int rowHeight() const;
    int arrange(int width, Places* places) const; // the height that it takes

    void insertChip(qsizetype place, const QString& token);
    void removeChip(qsizetype place);
    void editChip(qsizetype place);
    void changed();
    bool chipKeyPressed(qsizetype place, QKeyEvent& event);
    void focusChip(qsizetype place); // behind the last one: the line edit

    void textEdited(const QString& text);
    void listCompletions(bool proposes);
    void propose(const QString& completion);
    void take(const QString& completion);

    QWTokenFieldWidget& field_;
    std::vector<QWTokenChip*> chips_;
    Edit edit_;
    QWInlineCompletion inline_{edit_};
    QStringListModel completions_;
    QCompleter completer_;
};
