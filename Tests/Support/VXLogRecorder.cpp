#include "VXLogRecorder.h"

#include "VXException.h"
#include "VXLog.h"

#include <QtCore/QFile>

using namespace Qt::StringLiterals;

namespace {

void require(bool condition, const QString &path)
{
    if (!condition)
        throw VXException(u"VXLogRecorder"_s, path);
}

} // namespace

VXLogRecorder::VXLogRecorder()
{
    require(_file.open(), _file.fileTemplate());
    VXLog::setEchoDescriptor(_file.handle());
}

VXLogRecorder::~VXLogRecorder()
{
    VXLog::setEchoDescriptor(-1);
}

QStringList VXLogRecorder::lines() const
{
    QFile file(_file.fileName());
    require(file.open(QIODevice::ReadOnly), file.fileName());
    return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
}

QStringList VXLogRecorder::lines(const QString &level) const
{
    return lines().filter(u'<' + level + u'>');
}

qsizetype VXLogRecorder::count(const QString &text) const
{
    return lines().filter(text).size();
}

QStringList VXLogRecorder::messages() const
{
    QStringList messages = lines();
    for (QString &message : messages)
        message.remove(0, message.indexOf(u'<'));
    return messages;
}
