#pragma once

#include <QtCore/QString>

#include <vector>

/** A value with a title. */
struct VXTitledValue
{
    QString key;   // for the JSON object
    QString title; // for people
    QString value; // null: there is none
};

/** Versions of the program, the framework, Qt and the system. */
[[nodiscard]] std::vector<VXTitledValue> VXVersions();
