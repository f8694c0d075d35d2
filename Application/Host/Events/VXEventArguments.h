#pragma once

#include "VXEvent.h"
#include "VXEventRecord.h"
#include "VXHostCommand.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

// What commands about events take from the command line.

/** The event's object, from "--object JSON": a map, or invalid without the option. False, with a problem, for anything else. */
bool VXReadEventObject(const VXHostOptions &options, QVariant *object, QString *problem);

/**
 * Adds "KEY=VALUE" to the options of a reactor. A value that is a list or an object in JSON is taken as such, any other as
 * text. False, with a problem, for text of another form.
 */
bool VXReadReactorOption(const QString &text, QVariantMap *options, QString *problem);

/** Posts the event, and waits for what its reactors go on with; an interrupt ends that, and the record tells so. */
[[nodiscard]] VXEventRecord VXPostAndAwait(const VXEvent &event);

/** Tells the user when no plugin lists the event, which may be misspelt. */
void VXNoteUnlistedEvent(VXHostContext &context, const QString &event);
/** Tells the user when the event has subtypes, and this is none of them. */
void VXNoteUnlistedSubtype(VXHostContext &context, const QString &event, const QString &subtype);
