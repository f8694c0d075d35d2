#pragma once

#include "VXAttributedTemplate.h"
#include "VXInterfaceExport.h"
#include "VXTokenTextEdit.h"

#include <QtCore/QList>

/**
 * Edits a text with fields, which stand in it as tokens. They are inserted from `insertField`, by a menu on Ctrl+Space, or by
 * writing them out ("${from}"); F2 shows one written out. Return makes a new line. Main thread only.
 */
class VX_INTERFACE_EXPORT VXTemplateEditor : public VXTokenTextEdit
{
    Q_OBJECT

public:
    explicit VXTemplateEditor(const QList<VXTemplateField> &fields, QWidget *parent = nullptr);
    ~VXTemplateEditor() override;

    VXAttributedTemplate attributedTemplate() const;
    /** Not to be undone. */
    void setAttributedTemplate(const VXAttributedTemplate &value);
    const QList<VXTemplateField> &fields() const { return _fields; }

    /** At the cursor. A field of that key, or one that nobody knows. */
    void insertField(const QString &key);
    /** The fields to choose from, at the cursor. */
    void showFieldMenu();

    /** The template filled in with the examples of the fields. */
    QString example() const;

Q_SIGNALS:
    void templateDidChange();

protected:
    QString textOfToken(const Token &token) const override;
    QString textOfPieces(const QList<Piece> &pieces) const override;
    void insertText(const QString &text) override;
    void fillMenu(QMenu &menu, const Piece &piece) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

private:
    Token tokenFor(const VXAttributedTemplate::Part &part) const;
    void insertParts(QTextCursor &cursor, const VXAttributedTemplate &value);
    void tokenizeWrittenFields();

    const QList<VXTemplateField> _fields;
};
