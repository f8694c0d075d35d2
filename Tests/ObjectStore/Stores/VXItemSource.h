#pragma once

#include <QtCore/QByteArray>

/** The entity "Item", with an attribute of every type, and relationships to itself of every kind. */
inline const QByteArray VXItemSource = R"(
entity Item {
    attribute small: integer16 optional;
    attribute medium: integer32 optional;
    attribute whole: integer64 optional;
    attribute real: double optional;
    attribute truth: boolean optional;
    attribute text: string optional;
    attribute date: date optional;
    attribute data: binary optional;
    attribute list: property-list optional;
    attribute passing: string optional transient;
    relationship parent: Item optional inverse children;
    relationship children: Item[] optional inverse parent;
    relationship peers: Item[] optional inverse peers;
}
)";
