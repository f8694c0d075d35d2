#include "VXTemplateEditor.h"

#include "VXInterface.h"

#include <QtGui/QKeyEvent>
#include <QtWidgets/QMenu>

#include <algorithm>

using namespace Qt::StringLiterals;

using Part = VXAttributedTemplate::Part;

namespace {

const QString emptyField = u"${"_s; // the beginning of every typed field

VXAttributedTemplate templateOf(const QList<VXTokenTextEdit::Piece> &pieces)
{
    QList<Part> parts;
    for (const VXTokenTextEdit::Piece &piece : pieces) {
        if (piece.token)
            parts += VXAttributedTemplate(piece.token->payload).parts();
        else
            parts.append({piece.text});
    }
    return VXAttributedTemplate(parts);
}

} // namespace

VXTemplateEditor::VXTemplateEditor(const QList<VXTemplateField> &fields, QWidget *parent)
    : VXTokenTextEdit(parent), _fields(fields)
{
    setAccessibleName(VXInterfaceString(u"Text with fields"_s));
    setToolTip(VXInterfaceString(u"Ctrl+Space inserts a field"_s));
    setLineRange(2, 6);
    connect(this, &QTextEdit::textChanged, this, &VXTemplateEditor::templateDidChange);
}

VXTemplateEditor::~VXTemplateEditor() = default;

VXTokenTextEdit::Token VXTemplateEditor::tokenFor(const Part &part) const
{
    const auto known = std::ranges::find(_fields, part.key, &VXTemplateField::key);
    const QString payload = VXAttributedTemplate(QList<Part>{part}).text();
    if (known == _fields.end())
        return {payload, part.key, Mood::Unsure, u"question"_s,
                VXInterfaceString(u"\"%1\" is no field of this event."_s).arg(part.key)};
    return {payload, known->title, Mood::Plain, {}, known->example};
}

VXAttributedTemplate VXTemplateEditor::attributedTemplate() const
{
    return templateOf(pieces());
}

void VXTemplateEditor::insertParts(QTextCursor &cursor, const VXAttributedTemplate &value)
{
    cursor.beginEditBlock();
    for (const Part &part : value.parts()) {
        if (part.isField())
            insert(cursor, tokenFor(part));
        else
            cursor.insertText(part.text, {});
    }
    cursor.endEditBlock();
}

void VXTemplateEditor::setAttributedTemplate(const VXAttributedTemplate &value)
{
    clear();
    QTextCursor cursor(document());
    insertParts(cursor, value);
    document()->clearUndoRedoStacks();
}

void VXTemplateEditor::insertField(const QString &key)
{
    const auto known = std::ranges::find(_fields, key, &VXTemplateField::key);
    QTextCursor cursor = textCursor();
    insertParts(cursor,
                VXAttributedTemplate(QList<Part>{{{}, key, known == _fields.end() ? QString() : known->transformer}}));
    setTextCursor(cursor);
    setFocus();
}

void VXTemplateEditor::showFieldMenu()
{
    QMenu menu(this);
    for (const VXTemplateField &field : _fields)
        connect(menu.addAction(field.title), &QAction::triggered, this, [this, key = field.key] { insertField(key); });
    menu.exec(viewport()->mapToGlobal(cursorRect().bottomLeft()));
}

QString VXTemplateEditor::example() const
{
    QString text;
    const VXAttributedTemplate value = attributedTemplate();
    for (const Part &part : value.parts()) {
        const auto known = std::ranges::find(_fields, part.key, &VXTemplateField::key);
        if (!part.isField())
            text += part.text;
        else if (known != _fields.end())
            text += known->example;
    }
    return text;
}

// Converts typed fields to tokens when they are complete.
void VXTemplateEditor::tokenizeWrittenFields()
{
    const QList<Piece> all = pieces();
    for (auto piece = all.crbegin(); piece != all.crend(); ++piece) {
        if (piece->token || !piece->text.contains(emptyField))
            continue;
        const VXAttributedTemplate written(piece->text);
        if (std::ranges::none_of(written.parts(), &Part::isField))
            continue;
        QTextCursor cursor(document());
        cursor.beginEditBlock();
        cursor.setPosition(piece->position);
        cursor.setPosition(piece->position + static_cast<int>(piece->text.size()), QTextCursor::KeepAnchor);
        cursor.removeSelectedText();
        insertParts(cursor, written);
        cursor.endEditBlock();
        setTextCursor(cursor);
    }
}

void VXTemplateEditor::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Space && event->modifiers() == Qt::ControlModifier)
        return showFieldMenu();
    VXTokenTextEdit::keyPressEvent(event);
    if (event->text() == "}"_L1)
        tokenizeWrittenFields();
}

void VXTemplateEditor::focusOutEvent(QFocusEvent *event)
{
    VXTokenTextEdit::focusOutEvent(event);
    tokenizeWrittenFields();
}

QString VXTemplateEditor::textOfToken(const Token &token) const
{
    return token.payload;
}

QString VXTemplateEditor::textOfPieces(const QList<Piece> &pieces) const
{
    return templateOf(pieces).text();
}

void VXTemplateEditor::insertText(const QString &text)
{
    QTextCursor cursor = textCursor();
    cursor.removeSelectedText();
    insertParts(cursor, VXAttributedTemplate(text));
    setTextCursor(cursor);
}

void VXTemplateEditor::fillMenu(QMenu &menu, const Piece &piece)
{
    const QStringList keys = VXAttributedTemplate(piece.token->payload).keys();
    for (const VXTemplateField &field : _fields) {
        QAction *const action = menu.addAction(field.title);
        action->setCheckable(true);
        action->setChecked(keys.contains(field.key));
        connect(action, &QAction::triggered, this, [this, position = piece.position, field] {
            replaceToken(position, tokenFor({{}, field.key, field.transformer}));
        });
    }
}
