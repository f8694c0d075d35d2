#include "VXTextArgument.h"

#include "VXRegularFile.h"

#include <QtCore/QFile>

#include <cstdio>

using namespace Qt::StringLiterals;

std::optional<QByteArray> VXTextOfArgument(const QString &argument, QString *problem)
{
    const bool isInput = argument == "-"_L1;
    if (!isInput && !argument.startsWith(u'@'))
        return argument.toUtf8();
    QFile file(argument.sliced(isInput ? 0 : 1));
    if (!isInput) {
        QString reason;
        const QByteArray contents = VXRegularFile::read(file.fileName(), &reason);
        if (!contents.isNull())
            return contents;
        *problem = file.fileName() + ": "_L1 + reason;
        return std::nullopt;
    }
    const QByteArray contents = file.open(stdin, QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    if (file.error() == QFile::NoError)
        return contents;
    *problem = "standard input: "_L1 + file.errorString();
    return std::nullopt;
}
