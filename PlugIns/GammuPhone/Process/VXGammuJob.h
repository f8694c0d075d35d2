#pragma once

#include "VXGammuFailure.h"

#include <QtCore/QVariant>

class VXGammuChannel;

/** One request, as seen by the code that works on it: what is asked for, how far it is, and what was found. */
class VXGammuJob
{
public:
    VXGammuJob(VXGammuChannel &channel, const QVariant &object) : _channel(channel), _object(object) {}

    /** What the request concerns; invalid if it concerns nothing. */
    const QVariant &object() const { return _object; }
    /** To be checked between steps. */
    bool isCancelled() const;

    /** Adds to the steps that the request takes. */
    void expect(int steps);
    void step();
    /** Reports something that was read. */
    void addItem(const QVariantMap &item);

    /** Sets the part of the result that is not items. */
    void setResult(const QVariantMap &result) { _result = result; }
    const QVariantMap &result() const { return _result; }

private:
    VXGammuChannel &_channel;
    const QVariant _object;
    QVariantMap _result;
    double _expected = 0;
};
