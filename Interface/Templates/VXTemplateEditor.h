#pragma once

#include "VXAttributedTemplate.h"
#include "VXInterfaceExport.h"
#include "VXTokenTextEdit.h"

#include <QtCore/QList>

/**
 * Edits a text with fields, which appear as tokens. They are inserted by `insertField`, by a menu on Ctrl+Space, or by
 * typing them ("${from}"); F2 converts one to text. Return starts a new line. Main thread only.
 */
class VX_INTERFACE_EXPORT VXTemplateEditor : public VXTokenTextEdit
{
    Q_OBJECT

public:
    explicit VXTemplateEditor(const QList<VXTemplateField> &fields, QWidget *parent = nullptr);
    ~VXTemplateEditor() override;

    VXAttributedTemplate attributedTemplate() const;
    /** Cannot be undone. */
    void setAttributedTemplate(const VXAttributedTemplate &value);
    const QList<VXTemplateField> &fields() const { return _fields; }

    /** Inserts a field at the cursor: that with the key, or an unknown one. */
    void insertField(const QString &key);
    /** Shows a menu of the fields, at the cursor. */
    void showFieldMenu();

    /** The template filled in with the fields' examples. */
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
