#pragma once

#include <QtCore/QString>

/** What a test may know of a plugin's class beyond VXPlugin. */
class FixtureGreeter
{
public:
    virtual ~FixtureGreeter() = default;
    virtual QString greeting() const = 0;
};
