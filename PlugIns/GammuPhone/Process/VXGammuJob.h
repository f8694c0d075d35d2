#pragma once

#include "VXGammuFailure.h"

#include <QtCore/QVariant>

class VXGammuChannel;

/** One request, as those see it who work on it: what is asked for, how far it is, and what was found. */
class VXGammuJob
{
public:
    VXGammuJob(VXGammuChannel &channel, const QVariant &object) : _channel(channel), _object(object) {}

    /** What the request concerns; invalid for nothing. */
    const QVariant &object() const { return _object; }
    /** To be looked at between steps. */
    bool isCancelled() const;

    /** Adds to the steps that the request takes. */
    void expect(int steps);
    void step();
    /** Tells of something that was read. */
    void addItem(const QVariantMap &item);

    /** Of what is not an item. */
    void setResult(const QVariantMap &result) { _result = result; }
    const QVariantMap &result() const { return _result; }

private:
    VXGammuChannel &_channel;
    const QVariant _object;
    QVariantMap _result;
    double _expected = 0;
};
