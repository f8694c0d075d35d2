#pragma once

#include "VXAttributedString.h"
#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

/** A field that a template may contain: a value of the object that fills it in. */
struct VX_EXPORT VXTemplateField
{
    QString key;         // a key path
    QString title;       // shown to users, such as "Caller"
    QString transformer; // the name of a VXValueTransformer; null for the plain value
    QString example;     // shown to users who write the template

    bool operator==(const VXTemplateField &) const = default;
};

/**
 * A text with fields, for example for a bezel or a message: "Call from ${from|VXDisplayStringForPhonebookString}". A
 * field is a key path and, after "|", the name of the value transformer for the value; "$$" means "$". Anything that is
 * no field is plain text. A value type.
 */
class VX_EXPORT VXAttributedTemplate
{
public:
    /** A piece of text; or a field, which has a key. */
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
    /** The text as stored; parsing it gives the same template. */
    QString text() const;
    /** The key paths of the fields, without duplicates, in order. */
    QStringList keys() const;

    /** Fills in the values of an object (VXValueForKeyPath), on its thread; a value that is none becomes empty. */
    QString filledIn(const QVariant &object) const;
    /** The same, with each value as a run with the attribute "field" (attributeName), its key path. */
    VXAttributedString attributedString(const QVariant &object) const;

    static const QString attributeName; // "field"

    bool operator==(const VXAttributedTemplate &) const = default;

private:
    void append(const Part &part);

    QList<Part> _parts; // without empty texts and adjacent texts
};
