#include "VXActivity.h"

VXActivity::VXActivity(const QString &identifier) : _identifier(identifier) {}

QString VXActivity::title() const
{
    const VXMutexLocker lock(_lock);
    return _title;
}

void VXActivity::setTitle(const QString &title)
{
    const VXMutexLocker lock(_lock);
    _title = title;
}

QString VXActivity::subtitle() const
{
    const VXMutexLocker lock(_lock);
    return _subtitle;
}

void VXActivity::setSubtitle(const QString &subtitle)
{
    const VXMutexLocker lock(_lock);
    _subtitle = subtitle;
}

QObject *VXActivity::delegate() const
{
    const VXMutexLocker lock(_lock);
    return _delegate;
}

void VXActivity::setDelegate(QObject *delegate)
{
    const VXMutexLocker lock(_lock);
    _delegate = delegate;
}
