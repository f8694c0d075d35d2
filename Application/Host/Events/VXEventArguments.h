#pragma once

#include "VXEvent.h"
#include "VXEventRecord.h"
#include "VXHostCommand.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

// Arguments of commands about events.

/**
 * Reads the event's object from "--object JSON": a map, or invalid without the option. False, with a problem, for
 * anything else.
 */
bool VXReadEventObject(const VXHostOptions &options, QVariant *object, QString *problem);

/**
 * Adds "KEY=VALUE" to the options of a reactor. A value that is a JSON list or object is used as such, any other as
 * text. False, with a problem, for text of another form.
 */
bool VXReadReactorOption(const QString &text, QVariantMap *options, QString *problem);

/** Posts the event, and waits for what its reactors are still doing; an interrupt ends that, and the record says so. */
[[nodiscard]] VXEventRecord VXPostAndAwait(const VXEvent &event);

/** Warns the user if no plugin lists the event, which may be misspelt. */
void VXNoteUnlistedEvent(VXHostContext &context, const QString &event);
/** Warns the user if the event has subtypes, and this is not one of them. */
void VXNoteUnlistedSubtype(VXHostContext &context, const QString &event, const QString &subtype);
