#pragma once

#include "VXAttributedString.h"
#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

/** What may stand in a template: a value of the object that it is filled in with. */
struct VX_EXPORT VXTemplateField
{
    QString key;         // a key path
    QString title;       // for people, as "Caller"
    QString transformer; // by name (VXValueTransformer); null: the value as it is
    QString example;     // for people who write the template

    bool operator==(const VXTemplateField &) const = default;
};

/**
 * A text with fields, such as a bezel's line or a message: "Call from ${from|VXDisplayStringForPhonebookString}". A field is a
 * key path and, behind "|", the name of the value transformer that shows the value; "$$" is a "$". What is no field stays as it
 * stands. A value type.
 */
class VX_EXPORT VXAttributedTemplate
{
public:
    /** A piece of text, or a field, then with a key. */
    struct Part
    {
        QString text = {};
        QString key = {};
        QString transformer = {};

        bool isField() const { return !key.isNull(); }
        bool operator==(const Part &) const = default;
    };

    VXAttributedTemplate() = default;
    explicit VXAttributedTemplate(const QString &text);
    explicit VXAttributedTemplate(const QList<Part> &parts);

    const QList<Part> &parts() const { return _parts; }
    /** As it is stored; the same template comes of it again. */
    QString text() const;
    /** The key paths of its fields, each once, in order. */
    QStringList keys() const;

    /** Filled in with an object's values (VXValueForKeyPath), on its thread; a value that is none leaves nothing. */
    QString filledIn(const QVariant &object) const;
    /** The same, each value as a run with the attribute "field", its key path (attributeName). */
    VXAttributedString attributedString(const QVariant &object) const;

    static const QString attributeName; // "field"

    bool operator==(const VXAttributedTemplate &) const = default;

private:
    void append(const Part &part);

    QList<Part> _parts; // no two texts beside each other, none empty
};
