#pragma once

#include "VXLog.h"
#include "VXTesting.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryFile>

/** What is logged while it lives, each line as "<LEVEL> text". One at a time. */
class VXLogRecorder
{
public:
    VXLogRecorder()
    {
        EXPECT_TRUE(_file.open());
        VXLog::setEchoDescriptor(_file.handle());
    }
    ~VXLogRecorder() { VXLog::setEchoDescriptor(-1); }

    QStringList lines()
    {
        _file.seek(0);
        QStringList lines = QString::fromUtf8(_file.readAll()).split(u'\n', Qt::SkipEmptyParts);
        for (QString &line : lines)
            line.remove(0, line.indexOf(u'<'));
        return lines;
    }

private:
    QTemporaryFile _file;
};
