#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QList>
#include <QtGui/QTextCursor>
#include <QtWidgets/QTextEdit>

#include <optional>

class VXTokenPainter;

/**
 * A field of text among which stand tokens: small labels that the keys treat as one character each. Backspace and Delete choose
 * a token first and take it away then; F2 and a double click turn it into text again. Undo, copies and drags take tokens along.
 * Subclasses say what tokens are. Main thread only.
 */
class VX_INTERFACE_EXPORT VXTokenTextEdit : public QTextEdit
{
    Q_OBJECT

public:
    /** How a token looks; colour is never the only sign. */
    enum class Mood { Plain, Unsure, Wrong };

    struct Token
    {
        QString payload; // what it stands for; the subclass's own
        QString label;
        Mood mood = Mood::Plain;
        QString icon = {}; // by name (VXSymbol); null for none
        QString toolTip = {};

        bool operator==(const Token &) const = default;
    };

    /** A stretch of text between tokens, or a token. Positions are those of the document. */
    struct Piece
    {
        int position = 0;
        QString text = {};
        std::optional<Token> token = {};
    };

    ~VXTokenTextEdit() override;

    /** All that the field holds, in order. */
    QList<Piece> pieces() const;
    QList<Token> tokens() const;

    /** How many lines the field shows before it scrolls. */
    void setLineRange(int fewest, int most);
    /** The token before the cursor or the only one in the selection; none for anything else. */
    std::optional<Piece> currentToken() const;
    /** Draws the eye to a token. */
    void flash(int position);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    /** Return where there is nothing to commit. */
    void returnPressed();

protected:
    explicit VXTokenTextEdit(QWidget *parent);

    /** The document's characters of a token. */
    static QTextCharFormat formatOf(const Token &token);
    static std::optional<Token> tokenOf(const QTextCharFormat &format);
    void insert(QTextCursor &cursor, const Token &token) const;
    /** Takes another token's place; one step to undo. */
    void replaceToken(int position, const Token &token);
    void removeToken(int position);

    /** What a token is as text: when it is edited, and in copies. */
    virtual QString textOfToken(const Token &token) const = 0;
    /** Inserts what was pasted or dropped, at the cursor, in one step. */
    virtual void insertText(const QString &text) = 0;
    virtual QString textOfPieces(const QList<Piece> &pieces) const = 0;
    /** Turns the token into text that can be edited. */
    virtual void editToken(const Piece &piece);
    /** Adds what can be done with the token. */
    virtual void fillMenu(QMenu &menu, const Piece &piece) = 0;

    void keyPressEvent(QKeyEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    bool event(QEvent *event) override;
    void changeEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    QMimeData *createMimeDataFromSelection() const override;
    void insertFromMimeData(const QMimeData *source) override;
    bool canInsertFromMimeData(const QMimeData *source) const override;

    QList<Piece> piecesBetween(int start, int end) const;
    std::optional<Piece> tokenAt(const QPoint &point) const;

private:
    bool chooseBeforeRemoving(int key);
    void followHeight();

    VXTokenPainter *const _painter;
    int _fewestLines = 1;
    int _mostLines = 4;
};
