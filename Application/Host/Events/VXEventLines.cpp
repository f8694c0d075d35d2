#include "VXEventLines.h"

#include "VXEvent.h"
#include "VXEventManager.h"
#include "VXHostOutput.h"
#include "VXKeyValueCoding.h"
#include "VXMainThread.h"
#include "VXPhonebookRecord.h"

#include <QtCore/QTime>

using namespace Qt::StringLiterals;

namespace {

QString lineOf(const VXNotification &notification)
{
    const QString time = QTime::currentTime().toString(u"HH:mm:ss"_s);
    const VXEvent event = VXEvent::fromNotification(notification);
    const QString title = event.name + (event.subtype.isNull() ? QString() : "::"_L1 + event.subtype);
    const QString who = VXValueForKey(VXObjectWithContact(event.object), u"who"_s).toString();
    return time + "  "_L1 + title + (who.isEmpty() ? QString() : "  "_L1 + who);
}

} // namespace

VXEventLines::VXEventLines(VXHostOutput &output)
    : _observer(VXNotificationCenter::defaultCenter().addObserver(
          nullptr, VXEventManagerWillPostEventNotification,
          [&output, isGone = _isGone](const VXNotification &notification) {
              const QString line = lineOf(notification); // here, on the thread of the event's object
              VXMainThread::perform([&output, isGone, line] {
                  if (!*isGone)
                      output.note(line);
              });
          }))
{
}

VXEventLines::~VXEventLines()
{
    VXNotificationCenter::defaultCenter().removeObserver(_observer);
    *_isGone = true;
}
