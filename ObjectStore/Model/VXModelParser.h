#pragma once

#include "VXModelDefinition.h"

/**
 * Reads a model as people write it (.vxmodel, UTF-8):
 *
 *     // Who called whom
 *     entity Call: Record (VXCall) {
 *         attribute date: date indexed;
 *         attribute mood: string optional = "fine";
 *         relationship caller: Person optional inverse calls;
 *         relationship tags: Tag[] inverse calls delete cascade;
 *         fetch callsOf = "caller.name == $NAME";
 *     }
 *
 * After a mistake it goes on with the next statement, so that all are found at once. Reentrant.
 * @return what could be read, whole only when `problems` stays empty; it is not checked yet (VXCheckModel).
 */
VX_STORE_EXPORT VXModelDefinition VXParseModel(const QByteArray &source, QList<VXModelProblem> *problems);
