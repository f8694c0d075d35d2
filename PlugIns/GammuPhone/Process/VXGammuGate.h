#pragma once

#include "VXGammuFailure.h"

#include <QtCore/QString>

/**
 * What may be sent to a phone: every text and number on its way passes through here. Phones receive lines of text, in
 * which a line end or a quotation mark would begin a command of its own.
 */
class VXGammuGate
{
public:
    /** `takesCards`: whether the phone accepts text with several lines and quotation marks. */
    explicit VXGammuGate(bool takesCards) : _takesCards(takesCards) {}

    /** As VXDialableNumber, of a number that may have pauses (p, w) in it, as contacts have. */
    static QString storableNumber(const QString &number);

    /** Why a phone cannot hold the text of a contact's field; nothing if it can. */
    VXGammuFailure checkField(const QString &key, const QString &text) const;

    /** Why the text cannot be sent; nothing if it can. Text that is empty, or that needs more parts than the library
     *  makes, cannot be sent. */
    static VXGammuFailure checkMessage(const QString &text);

private:
    bool _takesCards;
};
