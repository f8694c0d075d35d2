#include "VXPhonebookTokenField.h"

#include "VXAddressText.h"
#include "VXCompletionWindow.h"
#include "VXInterface.h"
#include "VXPastedAddresses.h"
#include "VXPasteQuestion.h"
#include "VXPhonebookList.h"
#include "VXPhonebookTransformer.h"
#include "VXRecentAddresses.h"

#include <QtCore/QScopedValueRollback>
#include <QtGui/QClipboard>
#include <QtGui/QKeyEvent>
#include <QtGui/QTextOption>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMenu>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

using State = VXPhonebookToken::State;

namespace {

constexpr int mostLines = 4;
constexpr int restInterval = 150; // ms before suggestions are shown

} // namespace

VXPhonebookTokenField::VXPhonebookTokenField(QWidget *parent)
    : VXPhonebookTokenField(VXAddressSource::phonebookSource(), parent)
{
}

VXPhonebookTokenField::VXPhonebookTokenField(std::shared_ptr<VXAddressSource> source, QWidget *parent)
    : VXTokenTextEdit(parent), _source(std::move(source)), _completions(new VXCompletionWindow(*this))
{
    setPlaceholderText(VXInterfaceString(u"Name or number"_s));
    setAccessibleName(VXInterfaceString(u"Recipients"_s));
    _rest.setSingleShot(true);
    _rest.setInterval(restInterval);
    _rest.callOnTimeout(this, &VXPhonebookTokenField::suggest);
    connect(_completions, &VXCompletionWindow::rowWanted, this, &VXPhonebookTokenField::take);
    connect(this, &QTextEdit::textChanged, this, &VXPhonebookTokenField::tellOfChange);
    followDirection();
}

VXPhonebookTokenField::~VXPhonebookTokenField() = default;

// -- Addresses and tokens

VXTokenTextEdit::Token VXPhonebookTokenField::tokenFor(const VXPhonebookToken &address)
{
    Token token{address.string, address.label()};
    const QString line = VXAddressLine(address.string);
    switch (address.state) {
    case State::Known:
        token.toolTip = line;
        break;
    case State::Unknown:
        token.mood = Mood::Unsure;
        token.icon = u"question"_s;
        token.toolTip = VXInterfaceString(u"%1: not in your contacts"_s).arg(line);
        break;
    case State::Ambiguous:
        token.mood = Mood::Unsure;
        token.icon = u"chevron-down"_s;
        token.toolTip = VXInterfaceString(u"%1: there are other numbers in the menu"_s).arg(line);
        break;
    case State::Group:
        token.icon = u"people"_s;
        token.toolTip = line;
        break;
    case State::Invalid:
        token.mood = Mood::Wrong;
        token.icon = u"warning"_s;
        token.toolTip = VXInterfaceString(u"Neither a contact nor a number"_s);
        break;
    }
    return token;
}

VXPhonebookToken VXPhonebookTokenField::addressOf(const Token &token) const
{
    return _source->resolve(token.payload);
}

QList<VXPhonebookToken> VXPhonebookTokenField::phonebookTokens() const
{
    QList<VXPhonebookToken> found;
    for (const Token &token : tokens())
        found.append(addressOf(token));
    return found;
}

QList<VXPhonebookToken> VXPhonebookTokenField::invalidTokens() const
{
    QList<VXPhonebookToken> found = phonebookTokens();
    found.removeIf([](const VXPhonebookToken &token) { return token.state != State::Invalid; });
    return found;
}

QString VXPhonebookTokenField::phonebookStrings()
{
    commit();
    return VXPackPhonebookStrings(tokenStrings());
}

QStringList VXPhonebookTokenField::tokenStrings() const
{
    QStringList strings;
    for (const Token &token : tokens())
        strings.append(token.payload);
    return strings;
}

QString VXPhonebookTokenField::typedText() const
{
    QStringList texts;
    for (const Piece &piece : pieces()) {
        if (!piece.token && !piece.text.trimmed().isEmpty())
            texts.append(piece.text.trimmed());
    }
    return texts.join(", "_L1);
}

void VXPhonebookTokenField::setTypedText(const QString &text)
{
    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(text, {});
    setTextCursor(cursor);
    document()->clearUndoRedoStacks();
}

void VXPhonebookTokenField::setPhonebookStrings(const QString &list)
{
    clear();
    QTextCursor cursor(document());
    insertAddresses(cursor, VXUnpackPhonebookStrings(list, false));
    document()->clearUndoRedoStacks();
}

void VXPhonebookTokenField::addAddresses(const QStringList &phonebookStrings)
{
    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    insertAddresses(cursor, phonebookStrings);
    setTextCursor(cursor);
}

void VXPhonebookTokenField::refresh()
{
    for (const Piece &piece : pieces()) {
        if (!piece.token)
            continue;
        if (const Token token = tokenFor(addressOf(*piece.token)); token != *piece.token)
            replaceToken(piece.position, token);
    }
}

// As a single step for undo. Returns how many were there already.
int VXPhonebookTokenField::insertAddresses(QTextCursor &cursor, const QStringList &strings)
{
    struct There
    {
        QString key;
        int position;
    };
    QList<There> there;
    for (const Piece &piece : pieces()) {
        if (piece.token)
            there.append({addressOf(*piece.token).key(), piece.position});
    }
    int duplicates = 0;
    int flashed = -1;
    cursor.beginEditBlock();
    for (const QString &string : strings) {
        const VXPhonebookToken address = _source->resolve(string);
        const auto same = std::ranges::find(there, address.key(), &There::key);
        if (same != there.end()) {
            ++duplicates;
            flashed = same->position;
            continue;
        }
        for (There &other : there)
            other.position += other.position >= cursor.position() ? 1 : 0;
        there.append({address.key(), cursor.position()});
        insert(cursor, tokenFor(address));
    }
    cursor.endEditBlock();
    if (flashed >= 0)
        flash(flashed);
    return duplicates;
}

void VXPhonebookTokenField::tellOfChange()
{
    const QStringList strings = tokenStrings();
    const QString text = typedText();
    const bool isOtherText = std::exchange(_toldText, text) != text;
    if (std::exchange(_told, strings) != strings)
        Q_EMIT tokensDidChange();
    else if (isOtherText)
        Q_EMIT typedTextDidChange();
}

// -- What is typed

// The text around the cursor.
std::optional<VXTokenTextEdit::Piece> VXPhonebookTokenField::typedPiece() const
{
    const int position = textCursor().position();
    for (const Piece &piece : pieces()) {
        const int end = piece.position + static_cast<int>(piece.text.size());
        if (!piece.token && position >= piece.position && position <= end && !piece.text.trimmed().isEmpty())
            return piece;
    }
    return std::nullopt;
}

void VXPhonebookTokenField::commitPiece(const Piece &piece)
{
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    cursor.setPosition(piece.position);
    cursor.setPosition(piece.position + static_cast<int>(piece.text.size()), QTextCursor::KeepAnchor);
    cursor.removeSelectedText();
    insertAddresses(cursor, VXAddressesFromPastedText(piece.text));
    cursor.endEditBlock();
}

bool VXPhonebookTokenField::commit()
{
    closeSuggestions();
    QList<Piece> texts = pieces();
    texts.removeIf([](const Piece &piece) { return piece.token.has_value(); });
    const bool hasText = std::ranges::any_of(texts, [](const Piece &piece) { return !piece.text.trimmed().isEmpty(); });
    // In reverse order, so that earlier positions remain valid.
    for (auto piece = texts.crbegin(); piece != texts.crend(); ++piece)
        commitPiece(*piece);
    return hasText;
}

void VXPhonebookTokenField::take(const QString &row)
{
    if (const auto piece = typedPiece()) {
        QTextCursor cursor(document());
        cursor.beginEditBlock();
        cursor.setPosition(piece->position);
        cursor.setPosition(piece->position + static_cast<int>(piece->text.size()), QTextCursor::KeepAnchor);
        cursor.removeSelectedText();
        insertAddresses(cursor, {row});
        cursor.endEditBlock();
        setTextCursor(cursor);
    }
    closeSuggestions();
}

void VXPhonebookTokenField::suggest()
{
    const auto piece = typedPiece();
    if (!piece || !hasFocus())
        return closeSuggestions();
    const QStringList rows = _source->rankedCompletions(piece->text, VXRecentAddresses::addresses());
    QTextCursor start(document());
    start.setPosition(piece->position);
    const QRect line = cursorRect(start).translated(viewport()->pos());
    _completions->showRows(rows, QRect(line.left(), line.top(), 1, line.height()));
    const bool isOpen = _completions->isVisible();
    setAccessibleDescription(isOpen ? VXInterfaceString(u"%1 suggestions"_s).arg(rows.size()) : QString());
}

// For what would stand for nobody.
std::optional<QString> VXPhonebookTokenField::onlySuggestion()
{
    const auto piece = typedPiece();
    if (!piece || _source->resolve(piece->text).state != State::Invalid)
        return std::nullopt;
    const QStringList rows = _source->rankedCompletions(piece->text, VXRecentAddresses::addresses());
    return rows.size() == 1 ? std::optional(rows.constFirst()) : std::nullopt;
}

void VXPhonebookTokenField::closeSuggestions()
{
    _rest.stop();
    _completions->hide();
}

// -- Keys

void VXPhonebookTokenField::keyPressEvent(QKeyEvent *event)
{
    if (_completions->takeKey(event->key()))
        return;
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (const auto row = _completions->chosenRow())
            take(*row);
        else if (const auto only = onlySuggestion())
            take(*only);
        else if (!commit())
            Q_EMIT returnPressed();
        return;
    case Qt::Key_Escape:
        if (_completions->isVisible())
            closeSuggestions();
        else
            event->ignore();
        return;
    default:
        break;
    }
    const QString text = event->text();
    const bool isSeparator = text == ","_L1 || text == ";"_L1;
    // "Doe, Jane <555" is incomplete: within brackets and braces a comma is text.
    const auto piece = isSeparator ? typedPiece() : std::nullopt;
    const auto isOpen = [](const QString &typed) {
        return typed.count(u'<') > typed.count(u'>') || typed.count(u'{') > typed.count(u'}');
    };
    if (isSeparator && (!piece || !isOpen(piece->text))) {
        if (const auto row = _completions->chosenRow())
            take(*row);
        else
            commit();
        return;
    }
    VXTokenTextEdit::keyPressEvent(event);
    if (typedPiece())
        _rest.start();
    else
        closeSuggestions();
}

void VXPhonebookTokenField::inputMethodEvent(QInputMethodEvent *event)
{
    VXTokenTextEdit::inputMethodEvent(event);
    _rest.start();
}

bool VXPhonebookTokenField::focusNextPrevChild(bool next)
{
    if (next) {
        if (const auto row = _completions->chosenRow()) {
            take(*row);
            return true;
        }
        if (commit())
            return true; // the first Tab commits, the second leaves the field
    }
    return VXTokenTextEdit::focusNextPrevChild(next);
}

void VXPhonebookTokenField::focusOutEvent(QFocusEvent *event)
{
    VXTokenTextEdit::focusOutEvent(event);
    const bool isBackSoon = event->reason() == Qt::PopupFocusReason || event->reason() == Qt::ActiveWindowFocusReason ||
                            event->reason() == Qt::MenuBarFocusReason;
    if (isBackSoon)
        closeSuggestions();
    else
        commit();
}

void VXPhonebookTokenField::hideEvent(QHideEvent *event)
{
    closeSuggestions();
    VXTokenTextEdit::hideEvent(event);
}

void VXPhonebookTokenField::changeEvent(QEvent *event)
{
    VXTokenTextEdit::changeEvent(event);
    if (event->type() == QEvent::LayoutDirectionChange)
        followDirection();
}

// Tokens have no letters, so without this they would always run from left to right.
void VXPhonebookTokenField::followDirection()
{
    QTextOption option = document()->defaultTextOption();
    option.setTextDirection(layoutDirection());
    document()->setDefaultTextOption(option);
}

void VXPhonebookTokenField::resizeEvent(QResizeEvent *event)
{
    VXTokenTextEdit::resizeEvent(event);
    if (_question)
        _question->place();
}

// -- Copies

QString VXPhonebookTokenField::textOfToken(const Token &token) const
{
    return token.payload;
}

QString VXPhonebookTokenField::textOfPieces(const QList<Piece> &pieces) const
{
    QStringList texts;
    for (const Piece &piece : pieces) {
        const QString text = piece.token ? piece.token->payload : piece.text.trimmed();
        if (!text.isEmpty())
            texts.append(text);
    }
    return texts.join(", "_L1);
}

void VXPhonebookTokenField::insertText(const QString &text)
{
    const QStringList strings = VXAddressesFromPastedText(text);
    if (strings.size() == 1 && _source->resolve(strings.first()).state == State::Invalid) {
        textCursor().insertText(text.simplified(), {}); // a part of a name that is being typed
        _rest.start();
        return;
    }
    if (strings.size() <= pasteWithoutAsking)
        return insertAsked(strings);
    delete _question;
    setLineRange(2, mostLines); // makes room for the question
    const auto answered = [this, strings](bool isYes) {
        setLineRange(1, mostLines);
        if (isYes)
            insertAsked(strings);
    };
    _question = new VXPasteQuestion(strings.size(), answered, *this);
}

void VXPhonebookTokenField::insertAsked(const QStringList &strings)
{
    QTextCursor cursor = textCursor();
    cursor.beginEditBlock();
    cursor.removeSelectedText();
    insertAddresses(cursor, strings);
    cursor.endEditBlock();
    setTextCursor(cursor);
}

// -- The menu of a token

void VXPhonebookTokenField::fillMenu(QMenu &menu, const Piece &piece)
{
    const VXPhonebookToken address = addressOf(*piece.token);
    const int position = piece.position;
    // Offers other numbers of the same person.
    QStringList candidates = address.candidates;
    if (address.state == State::Known)
        candidates = _source->resolve(address.name).candidates;
    if (address.state != State::Group) {
        for (const QString &candidate : std::as_const(candidates)) {
            QAction *const action = menu.addAction(VXAddressLine(candidate));
            action->setCheckable(true);
            action->setChecked(candidate == address.string);
            connect(action, &QAction::triggered, this,
                    [this, position, candidate] { replaceToken(position, tokenFor(_source->resolve(candidate))); });
        }
        if (!candidates.isEmpty())
            menu.addSeparator();
    }
    if (address.state == State::Unknown)
        connect(menu.addAction(VXInterfaceString(u"Add to Contacts"_s)), &QAction::triggered, this,
                [this, string = address.string] { Q_EMIT addToContactsWanted(string); });
    if (address.state == State::Group)
        connect(menu.addAction(VXInterfaceString(u"Expand"_s)), &QAction::triggered, this,
                [this, position, members = address.candidates] {
                    QTextCursor cursor(document());
                    cursor.beginEditBlock();
                    cursor.setPosition(position);
                    cursor.deleteChar();
                    insertAddresses(cursor, members);
                    cursor.endEditBlock();
                });
    connect(menu.addAction(VXInterfaceString(u"Copy"_s)), &QAction::triggered, this,
            [string = address.string] { QApplication::clipboard()->setText(string); });
}
