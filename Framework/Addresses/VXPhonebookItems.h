#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QStringList>
#include <QtCore/QStringView>

#include <vector>

/** An item of a list or a member of a group: a phonebook string or a whole group. */
struct VX_EXPORT VXPhonebookItem
{
    QStringView text;
    QStringView nameStart; // the beginning of a name that a comma separates from the rest; otherwise null

    QString toString() const;
};

/**
 * The items of a list or the members of a group, as views into its text. The text was split at each delimiter, though a
 * name may contain one ("Doe, Jane <...>"): so a piece with a name and an address takes the piece before it, if that
 * has no address, as the beginning of its name.
 */
class VX_EXPORT VXPhonebookItems
{
public:
    /** Adds a piece between delimiters, without surrounding whitespace; an empty piece is dropped. */
    void appendPiece(QStringView piece);

    /** Adds an item that is never joined with others. */
    void appendWhole(QStringView item);

    /** Adds the pieces between "," and ";". They are not joined with those before or after. */
    void appendMembers(QStringView body);

    qsizetype count() const { return static_cast<qsizetype>(_items.size()); }
    auto begin() const { return _items.begin(); }
    auto end() const { return _items.end(); }

    QStringList toStringList() const;

private:
    std::vector<VXPhonebookItem> _items;
    bool _lastHasNoAddress = false; // and so may be the beginning of the next item's name
};
