#include "VXTokenTextEdit.h"

#include "VXInterface.h"
#include "VXTokenFormat.h"
#include "VXTokenPainter.h"

#include <QtCore/QMimeData>
#include <QtGui/QAbstractTextDocumentLayout>
#include <QtGui/QContextMenuEvent>
#include <QtGui/QHelpEvent>
#include <QtGui/QKeyEvent>
#include <QtGui/QTextBlock>
#include <QtWidgets/QMenu>
#include <QtWidgets/QToolTip>

#include <algorithm>
#include <cmath>
#include <memory>

using namespace Qt::StringLiterals;

VXTokenTextEdit::VXTokenTextEdit(QWidget *parent) : QTextEdit(parent), _painter(new VXTokenPainter(*this))
{
    document()->documentLayout()->registerHandler(VXTokenPainter::objectType, _painter);
    document()->setDocumentMargin(3);
    setAcceptRichText(false);
    setTabChangesFocus(true);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(document()->documentLayout(), &QAbstractTextDocumentLayout::documentSizeChanged, this,
            &VXTokenTextEdit::followHeight);
    connect(this, &QTextEdit::selectionChanged, viewport(), qOverload<>(&QWidget::update));
    followHeight();
}

VXTokenTextEdit::~VXTokenTextEdit() = default;

// -- Tokens in the document

QTextCharFormat VXTokenTextEdit::formatOf(const Token &token)
{
    QTextCharFormat format;
    format.setObjectType(VXTokenPainter::objectType);
    format.setVerticalAlignment(QTextCharFormat::AlignMiddle);
    format.setProperty(VXTokenFormat::Payload, token.payload);
    format.setProperty(VXTokenFormat::Label, token.label);
    format.setProperty(VXTokenFormat::Mood, static_cast<int>(token.mood));
    format.setProperty(VXTokenFormat::Icon, token.icon);
    format.setProperty(VXTokenFormat::ToolTip, token.toolTip);
    return format;
}

std::optional<VXTokenTextEdit::Token> VXTokenTextEdit::tokenOf(const QTextCharFormat &format)
{
    if (format.objectType() != VXTokenPainter::objectType)
        return std::nullopt;
    return Token{format.stringProperty(VXTokenFormat::Payload), format.stringProperty(VXTokenFormat::Label),
                 static_cast<Mood>(format.intProperty(VXTokenFormat::Mood)), format.stringProperty(VXTokenFormat::Icon),
                 format.stringProperty(VXTokenFormat::ToolTip)};
}

void VXTokenTextEdit::insert(QTextCursor &cursor, const Token &token) const
{
    cursor.insertText(QString(QChar::ObjectReplacementCharacter), formatOf(token));
    cursor.setCharFormat({}); // text typed after it is plain again
}

void VXTokenTextEdit::replaceToken(int position, const Token &token)
{
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    cursor.setPosition(position);
    cursor.deleteChar();
    insert(cursor, token);
    cursor.endEditBlock();
}

void VXTokenTextEdit::removeToken(int position)
{
    QTextCursor cursor(document());
    cursor.setPosition(position);
    cursor.deleteChar();
}

QList<VXTokenTextEdit::Piece> VXTokenTextEdit::pieces() const
{
    return piecesBetween(0, document()->characterCount() - 1);
}

QList<VXTokenTextEdit::Piece> VXTokenTextEdit::piecesBetween(int start, int end) const
{
    QList<Piece> pieces;
    const auto addText = [&pieces](int position, const QString &text) {
        if (!text.isEmpty() && !pieces.isEmpty() && !pieces.last().token)
            pieces.last().text += text;
        else if (!text.isEmpty())
            pieces.append({position, text});
    };
    for (QTextBlock block = document()->findBlock(start); block.isValid() && block.position() < end;
         block = block.next()) {
        for (auto part = block.begin(); !part.atEnd(); ++part) {
            const QTextFragment fragment = part.fragment();
            const int from = std::max(start, fragment.position());
            const int to = std::min(end, fragment.position() + fragment.length());
            if (from >= to)
                continue;
            const std::optional<Token> token = tokenOf(fragment.charFormat());
            // Adjacent equal tokens share a fragment.
            for (int position = from; token && position < to; ++position)
                pieces.append({position, {}, token});
            if (!token)
                addText(from, fragment.text().mid(from - fragment.position(), to - from));
        }
        if (block.next().isValid() && block.position() + block.length() <= end)
            addText(block.position() + block.length() - 1, u"\n"_s);
    }
    return pieces;
}

QList<VXTokenTextEdit::Token> VXTokenTextEdit::tokens() const
{
    QList<Token> tokens;
    for (const Piece &piece : pieces()) {
        if (piece.token)
            tokens.append(*piece.token);
    }
    return tokens;
}

std::optional<VXTokenTextEdit::Piece> VXTokenTextEdit::currentToken() const
{
    const QTextCursor cursor = textCursor();
    const int start = cursor.hasSelection() ? cursor.selectionStart() : cursor.position() - 1;
    const int end = cursor.hasSelection() ? cursor.selectionEnd() : cursor.position();
    const QList<Piece> chosen = start < 0 ? QList<Piece>() : piecesBetween(start, end);
    return chosen.size() == 1 && chosen.first().token ? std::optional(chosen.first()) : std::nullopt;
}

std::optional<VXTokenTextEdit::Piece> VXTokenTextEdit::tokenAt(const QPoint &point) const
{
    const int near = cursorForPosition(point).position();
    for (const int position : {near - 1, near}) {
        if (position < 0)
            continue;
        const QList<Piece> pieces = piecesBetween(position, position + 1);
        if (pieces.isEmpty() || !pieces.first().token)
            continue;
        QTextCursor before(document());
        before.setPosition(position);
        QTextCursor behind(document());
        behind.setPosition(position + 1);
        const QRect a = cursorRect(before);
        const QRect b = cursorRect(behind);
        if (point.x() >= std::min(a.x(), b.x()) && point.x() <= std::max(a.x(), b.x()))
            return pieces.first();
    }
    return std::nullopt;
}

void VXTokenTextEdit::flash(int position)
{
    _painter->flash(position);
}

// -- Keys and mouse

bool VXTokenTextEdit::chooseBeforeRemoving(int key)
{
    QTextCursor cursor = textCursor();
    if (cursor.hasSelection())
        return false;
    const bool isBack = key == Qt::Key_Backspace;
    const int position = isBack ? cursor.position() - 1 : cursor.position();
    const QList<Piece> pieces = position < 0 ? QList<Piece>() : piecesBetween(position, position + 1);
    if (pieces.isEmpty() || !pieces.first().token)
        return false;
    cursor.setPosition(isBack ? position + 1 : position);
    cursor.setPosition(isBack ? position : position + 1, QTextCursor::KeepAnchor);
    setTextCursor(cursor);
    return true;
}

void VXTokenTextEdit::editToken(const Piece &piece)
{
    QTextCursor cursor(document());
    const QString text = textOfToken(*piece.token);
    cursor.beginEditBlock();
    cursor.setPosition(piece.position);
    cursor.deleteChar();
    cursor.insertText(text, {});
    cursor.endEditBlock();
    cursor.setPosition(piece.position);
    cursor.setPosition(piece.position + int(text.size()), QTextCursor::KeepAnchor);
    setTextCursor(cursor);
    setFocus();
}

void VXTokenTextEdit::keyPressEvent(QKeyEvent *event)
{
    const bool isPlain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    if (isPlain && (event->key() == Qt::Key_Backspace || event->key() == Qt::Key_Delete) &&
        chooseBeforeRemoving(event->key()))
        return;
    if (event->key() == Qt::Key_F2) {
        if (const auto piece = currentToken())
            editToken(*piece);
        return;
    }
    QTextEdit::keyPressEvent(event);
}

void VXTokenTextEdit::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (const auto piece = tokenAt(event->position().toPoint()))
        editToken(*piece);
    else
        QTextEdit::mouseDoubleClickEvent(event);
}

void VXTokenTextEdit::contextMenuEvent(QContextMenuEvent *event)
{
    const bool isByKey = event->reason() == QContextMenuEvent::Keyboard;
    const auto piece = isByKey ? currentToken() : tokenAt(event->pos());
    const std::unique_ptr<QMenu> menu(createStandardContextMenu());
    if (piece) {
        QMenu own(this);
        fillMenu(own, *piece);
        own.addSeparator();
        connect(own.addAction(VXInterfaceString(u"Edit"_s)), &QAction::triggered, this, [&] { editToken(*piece); });
        connect(own.addAction(VXInterfaceString(u"Remove"_s)), &QAction::triggered, this,
                [&] { removeToken(piece->position); });
        own.exec(isByKey ? viewport()->mapToGlobal(cursorRect().bottomLeft()) : event->globalPos());
        return;
    }
    menu->exec(event->globalPos());
}

bool VXTokenTextEdit::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip) {
        const auto *const help = static_cast<QHelpEvent *>(event);
        const auto piece = tokenAt(viewport()->mapFrom(this, help->pos()));
        if (piece && !piece->token->toolTip.isEmpty())
            QToolTip::showText(help->globalPos(), piece->token->toolTip, this);
        else
            QToolTip::hideText();
        return true;
    }
    return QTextEdit::event(event);
}

// -- Copies

QMimeData *VXTokenTextEdit::createMimeDataFromSelection() const
{
    auto *const copy = new QMimeData;
    const QTextCursor cursor = textCursor();
    copy->setText(textOfPieces(piecesBetween(cursor.selectionStart(), cursor.selectionEnd())));
    return copy;
}

bool VXTokenTextEdit::canInsertFromMimeData(const QMimeData *source) const
{
    return source->hasText() || source->hasFormat(u"text/vcard"_s);
}

void VXTokenTextEdit::insertFromMimeData(const QMimeData *source)
{
    if (!source->hasText() && source->hasFormat(u"text/vcard"_s))
        insertText(QString::fromUtf8(source->data(u"text/vcard"_s)));
    else
        insertText(source->text());
}

// -- Size

void VXTokenTextEdit::setLineRange(int fewest, int most)
{
    _fewestLines = fewest;
    _mostLines = most;
    followHeight();
}

void VXTokenTextEdit::followHeight()
{
    const int line = VXTokenPainter::heightOf(fontMetrics());
    const int margins = 2 * static_cast<int>(document()->documentMargin());
    const int frame = this->height() - contentsRect().height();
    const int wanted = static_cast<int>(std::ceil(document()->size().height()));
    const int height = frame + std::clamp(wanted, _fewestLines * line + margins, _mostLines * line + margins);
    if (height != minimumHeight() || height != maximumHeight())
        setFixedHeight(height);
}

QSize VXTokenTextEdit::sizeHint() const
{
    return {fontMetrics().averageCharWidth() * 48, minimumHeight()};
}

QSize VXTokenTextEdit::minimumSizeHint() const
{
    return {fontMetrics().averageCharWidth() * 20, minimumHeight()};
}

void VXTokenTextEdit::changeEvent(QEvent *event)
{
    QTextEdit::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        followHeight();
}

// Adapts tokens, which are never wider than the field.
void VXTokenTextEdit::resizeEvent(QResizeEvent *event)
{
    QTextEdit::resizeEvent(event);
    followHeight(); // the frame may have changed
    document()->markContentsDirty(0, document()->characterCount());
}
