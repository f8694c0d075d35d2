#pragma once

#include "VXMetaDataSource.h"
#include "VXPhonebookRecord.h"

#include <optional>

/** A message (entity "VXMessage" of the store "messages"). Keeps what its conversation goes by in step when it is saved. */
class VXMessage : public VXRecordObject, public VXMetaDataSource
{
public:
    std::optional<QVariantMap> metaDataPlist() const override;

protected:
    void willSave() override;

private:
    /** VXMetaDataHiding; none for what every search finds. */
    QVariant hiding() const;
};
