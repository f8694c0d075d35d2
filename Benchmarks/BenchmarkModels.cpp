#include "BenchmarkModels.h"

#include "VXModelParser.h"

#include <QtCore/QFile>

const QByteArray callAttributes = R"(
    attribute title: string optional;
    attribute number: string optional indexed;
    attribute duration: integer32 = 0;
    attribute position: integer64 = 0 indexed;
    attribute cost: double optional;
    attribute isRead: boolean = false;
    attribute date: date optional;
    attribute note: string optional;
)";

VXManagedObjectModel::Ptr modelFromSource(const QByteArray &source)
{
    QList<VXModelProblem> problems;
    VXError error;
    return required(VXManagedObjectModel::modelWithDefinition(VXParseModel(source, &problems), &error), error);
}

VXManagedObjectModel::Ptr modelFromFiles(const QStringList &paths)
{
    QByteArray sources;
    for (const QString &path : paths) {
        QFile file(path);
        required(file.open(QIODevice::ReadOnly));
        sources += file.readAll();
    }
    return modelFromSource(sources);
}
