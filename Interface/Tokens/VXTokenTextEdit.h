#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QList>
#include <QtGui/QTextCursor>
#include <QtWidgets/QTextEdit>

#include <optional>

class VXTokenPainter;

/**
 * A text field with tokens: small labels that keys treat as one character each. Backspace and Delete first select a
 * token, and then remove it; F2 and a double click convert it to text. Undo, copying and dragging include tokens.
 * Subclasses define the tokens. Main thread only.
 */
class VX_INTERFACE_EXPORT VXTokenTextEdit : public QTextEdit
{
    Q_OBJECT

public:
    /** The appearance of a token; never distinguished by colour alone. */
    enum class Mood { Plain, Unsure, Wrong };

    struct Token
    {
        QString payload; // its value; for the subclass
        QString label;
        Mood mood = Mood::Plain;
        QString icon = {}; // by name (VXSymbol); null for none
        QString toolTip = {};

        bool operator==(const Token &) const = default;
    };

    /** A run of text between tokens, or a token. Positions are those in the document. */
    struct Piece
    {
        int position = 0;
        QString text = {};
        std::optional<Token> token = {};
    };

    ~VXTokenTextEdit() override;

    /** The contents of the field, in order. */
    QList<Piece> pieces() const;
    QList<Token> tokens() const;

    /** Sets how many lines the field shows before it scrolls. */
    void setLineRange(int fewest, int most);
    /** The token before the cursor, or the only one in the selection; otherwise none. */
    std::optional<Piece> currentToken() const;
    /** Draws attention to a token. */
    void flash(int position);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    /** Return was pressed with nothing to commit. */
    void returnPressed();

protected:
    explicit VXTokenTextEdit(QWidget *parent);

    /** The character format of a token in the document. */
    static QTextCharFormat formatOf(const Token &token);
    static std::optional<Token> tokenOf(const QTextCharFormat &format);
    void insert(QTextCursor &cursor, const Token &token) const;
    /** Replaces a token by another, as a single step for undo. */
    void replaceToken(int position, const Token &token);
    void removeToken(int position);

    /** The text of a token, for editing and copying. */
    virtual QString textOfToken(const Token &token) const = 0;
    /** Inserts pasted or dropped text at the cursor, as a single step for undo. */
    virtual void insertText(const QString &text) = 0;
    virtual QString textOfPieces(const QList<Piece> &pieces) const = 0;
    /** Converts the token to text for editing. */
    virtual void editToken(const Piece &piece);
    /** Adds the actions for the token. */
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
