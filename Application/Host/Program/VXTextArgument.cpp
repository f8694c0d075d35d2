#include "VXTextArgument.h"

#include <QtCore/QFile>

#include <cstdio>

using namespace Qt::StringLiterals;

std::optional<QByteArray> VXTextOfArgument(const QString &argument, QString *problem)
{
    const bool isInput = argument == "-"_L1;
    if (!isInput && !argument.startsWith(u'@'))
        return argument.toUtf8();
    QFile file(argument.sliced(isInput ? 0 : 1));
    const bool isOpen = isInput ? file.open(stdin, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
    const QByteArray contents = isOpen ? file.readAll() : QByteArray();
    if (isOpen && file.error() == QFile::NoError)
        return contents;
    *problem = (isInput ? u"standard input"_s : file.fileName()) + ": "_L1 + file.errorString();
    return std::nullopt;
}
