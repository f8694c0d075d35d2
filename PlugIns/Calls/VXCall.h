#pragma once

#include "VXCallRecord.h"
#include "VXFoundObject.h"
#include "VXMetaDataSource.h"
#include "VXPhonebookRecord.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>

#include <optional>

/** What an event says about a call. */
struct VXCallNews
{
    QString state;     // "ringing", "connected" or "ended"
    VXCallRecord call; // with the date of the event
};

/** A call of the history (entity "VXCall" of the store "calls"). */
class VXCall : public VXRecordObject, public VXMetaDataSource
{
public:
    static const QString entityName;     // "VXCall"
    static const QString changedDateKey; // "changedDate": date of the latest known event

    /** Takes over the news. A call never goes back to an earlier state; what is known of it stays unless the news is
     *  better. */
    void take(const VXCallNews &news);

    /** Includes "changedDate". */
    QVariant valueForKey(const QString &key) const override;
    std::optional<QVariantMap> metaDataPlist() const override;

private:
    QDateTime changedDate() const;
    VXFoundCall::Way way() const;
    QDateTime date(const QString &key) const;
    void takeText(const QString &text, const QString &key);
};
