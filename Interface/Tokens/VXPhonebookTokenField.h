#pragma once

#include "VXAddressSource.h"
#include "VXInterfaceExport.h"
#include "VXTokenTextEdit.h"

#include <QtCore/QPointer>
#include <QtCore/QStringList>
#include <QtCore/QTimer>

#include <memory>

class QMenu;
class VXCompletionWindow;
class VXPasteQuestion;

/**
 * A field for recipients: names and numbers become tokens. Comma, semicolon, Return and Tab commit what is typed, and
 * so does leaving the field; a suggestion is only taken if the user selected it. No address occurs twice. The value is
 * a list of phonebook strings and groups. Main thread only.
 */
class VX_INTERFACE_EXPORT VXPhonebookTokenField : public VXTokenTextEdit
{
    Q_OBJECT

public:
    explicit VXPhonebookTokenField(QWidget *parent = nullptr);
    VXPhonebookTokenField(std::shared_ptr<VXAddressSource> source, QWidget *parent);
    ~VXPhonebookTokenField() override;

    /** The tokens' values, in order, as a list in the form of VXPackPhonebookStrings; commits what is typed first. */
    QString phonebookStrings();
    /** Replaces the contents; cannot be undone. */
    void setPhonebookStrings(const QString &list);
    QList<VXPhonebookToken> phonebookTokens() const;
    /** The tokens' values, without what is typed. */
    QStringList tokenStrings() const;
    /** What is typed and not a token yet; null for nothing. */
    QString typedText() const;
    /** Adds text at the end, as if it were being typed; cannot be undone. */
    void setTypedText(const QString &text);
    /** Tokens that are no address: while there are any, nothing can be sent. */
    QList<VXPhonebookToken> invalidTokens() const;

    /** Converts what is typed to tokens. True when there was something. */
    bool commit();
    /** Adds addresses at the end, as a single step for undo; those already there are highlighted and not added again.
     *  */
    void addAddresses(const QStringList &phonebookStrings);
    /** To be called when the phonebook has changed: looks up every token again. */
    void refresh();

    /** With more pasted addresses than this, the user is asked first. */
    static constexpr int pasteWithoutAsking = 50;

Q_SIGNALS:
    /** The tokens have changed. */
    void tokensDidChange();
    /** What is typed has changed, and the tokens have not. */
    void typedTextDidChange();
    /** The user wants to add an unknown address to the phonebook. */
    void addToContactsWanted(const QString &phonebookString);

protected:
    QString textOfToken(const Token &token) const override;
    QString textOfPieces(const QList<Piece> &pieces) const override;
    void insertText(const QString &text) override;
    void fillMenu(QMenu &menu, const Piece &piece) override;
    void keyPressEvent(QKeyEvent *event) override;
    void inputMethodEvent(QInputMethodEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    bool focusNextPrevChild(bool next) override;
    void changeEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    static Token tokenFor(const VXPhonebookToken &address);
    VXPhonebookToken addressOf(const Token &token) const;
    std::optional<Piece> typedPiece() const;
    void commitPiece(const Piece &piece);
    void take(const QString &row);
    void suggest();
    std::optional<QString> onlySuggestion();
    void closeSuggestions();
    int insertAddresses(QTextCursor &cursor, const QStringList &strings);
    void insertAsked(const QStringList &strings);
    void tellOfChange();
    void followDirection();

    const std::shared_ptr<VXAddressSource> _source;
    VXCompletionWindow *const _completions;
    QPointer<VXPasteQuestion> _question;
    QTimer _rest;
    QStringList _told; // the tokens' values at the last tokensDidChange()
    QString _toldText; // what was typed then, or at the last typedTextDidChange()
};
