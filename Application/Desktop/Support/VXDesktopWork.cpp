#include "VXDesktopWork.h"

VXWorkControl::VXWorkControl(const QString &title)
    : _activity(VXActivityManager::sharedActivityManager().addActivityWithTitle(title))
{
}

VXWorkControl::~VXWorkControl()
{
    VXActivityManager::sharedActivityManager().removeActivity(_activity);
}

void VXWorkControl::cancel(QObject * /*sender*/)
{
    _isStopped = true;
}
