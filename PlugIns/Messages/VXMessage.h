#pragma once

#include "VXPhonebookRecord.h"

/** A message (entity "VXMessage" of the store "messages"). Keeps what its conversation goes by in step when it is saved. */
class VXMessage : public VXRecordObject
{
protected:
    void willSave() override;
};
