#pragma once

#include "VXSearchIndex.h"

#include <QtCore/QList>

class VXHostOutput;

/** Answers with what was found, as a table or as JSON. */
void VXAnswerFoundObjects(VXHostOutput &output, const QList<VXFoundObject> &found);
