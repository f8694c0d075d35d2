#pragma once

#include "VXMetaDataSource.h"
#include "VXPhonebookRecord.h"

#include <optional>

/**
 * A message (entity "VXMessage" of the store "messages"). When it is saved, it keeps the values that identify its
 * conversation up to date.
 */
class VXMessage : public VXRecordObject, public VXMetaDataSource
{
public:
    std::optional<QVariantMap> metaDataPlist() const override;

protected:
    void willSave() override;

private:
    /** VXMetaDataHiding; none if every search finds it. */
    QVariant hiding() const;
};
