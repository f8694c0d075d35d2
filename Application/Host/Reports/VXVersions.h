#pragma once

#include <QtCore/QString>

#include <vector>

/** Something to tell under a title. */
struct VXTitledValue
{
    QString key;   // in the JSON object
    QString title; // for people
    QString value; // null: there is none
};

/** Of the program, the framework, Qt and the system. */
[[nodiscard]] std::vector<VXTitledValue> VXVersions();
