#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QStringList>
#include <QtCore/QStringView>

#include <vector>

/** One item of a list or member of a group: a phonebook string or a whole group. */
struct VX_EXPORT VXPhonebookItem
{
    QStringView text;
    QStringView nameStart; // what a comma in the name parts from the text, else null

    QString toString() const;
};

/**
 * The items of a list or the members of a group as views into its text. The text was cut at each delimiter,
 * though a name may hold one ("Doe, Jane <...>"): so a piece with a name and an address takes the piece
 * before it, if that has no address, as the start of its name.
 */
class VX_EXPORT VXPhonebookItems
{
public:
    /** One piece between delimiters; whitespace around it is dropped, and so is an empty piece. */
    void appendPiece(QStringView piece);

    /** An item that takes no part in the joining. */
    void appendWhole(QStringView item);

    /** The pieces between "," and ";". They are not joined with what comes before or after. */
    void appendMembers(QStringView body);

    qsizetype count() const { return static_cast<qsizetype>(_items.size()); }
    auto begin() const { return _items.begin(); }
    auto end() const { return _items.end(); }

    QStringList toStringList() const;

private:
    std::vector<VXPhonebookItem> _items;
    bool _lastHasNoAddress = false; // and may be the start of the next one's name
};
