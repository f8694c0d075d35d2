#include "VXActivity.h"

#include <QtCore/QStringBuilder>
#include <QtCore/QUuid>

using namespace Qt::StringLiterals;

namespace {

// A random number for the process, to which a count is appended: a random number for each would cost a system call.
const QString &processPrefix()
{
    static const QString prefix = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() + u'-';
    return prefix;
}

} // namespace

VXActivity::Key::Key()
{
    static std::atomic<quint64> count{0};
    _number = ++count;
}

VXActivity::Key::Key(const QString &identifier) : _name(identifier)
{
    if (!identifier.startsWith(processPrefix()))
        return;
    const quint64 number = QStringView(identifier).mid(processPrefix().size()).toULongLong();
    if (number == 0 || processPrefix() % QString::number(number) != identifier)
        return;
    _number = number;
    _name = QString();
}

QString VXActivity::Key::identifier() const
{
    return _number == 0 ? _name : processPrefix() % QString::number(_number);
}

VXActivity::VXActivity(const Key &key, const QString &title, QObject *delegate)
    : _key(key), _delegate(delegate), _title(title)
{
}

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
