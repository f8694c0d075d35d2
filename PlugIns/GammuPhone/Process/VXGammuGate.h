#pragma once

#include "VXGammuFailure.h"

#include <QtCore/QString>

/**
 * What may go to a phone: every text and number on its way passes here. Phones are told things as lines of text, in
 * which a line's end or a quotation mark would begin a command of its own.
 */
class VXGammuGate
{
public:
    /** `takesCards`: whether the phone takes texts of several lines, and with quotation marks. */
    explicit VXGammuGate(bool takesCards) : _takesCards(takesCards) {}

    /** As VXDialableNumber, of a number that may have pauses (p, w) in it, as contacts have. */
    static QString storableNumber(const QString &number);

    /** Why a phone cannot hold the text of a contact's field; nothing, when it can. */
    VXGammuFailure checkField(const QString &key, const QString &text) const;

    /** Why the text cannot be sent; nothing, when it can. An empty one cannot, nor one of more parts than the library
     *  makes. */
    static VXGammuFailure checkMessage(const QString &text);

private:
    bool _takesCards;
};
