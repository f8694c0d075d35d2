// Any bytes as the data file of an XML store: reading ends with objects or an error, and what was read is written in a
// form that reads back the same.

#include "../ObjectStore/Stores/VXItemSource.h"
#include "VXFuzzing.h"
#include "VXModelParser.h"
#include "VXXMLStoreReader.h"
#include "VXXMLStoreWriter.h"

#include <QtCore/QBuffer>

using namespace Qt::StringLiterals;

namespace {

const VXManagedObjectModel &model()
{
    static const VXManagedObjectModel::Ptr made = [] {
        QList<VXModelProblem> problems;
        return VXManagedObjectModel::modelWithDefinition(VXParseModel(VXItemSource + R"(
            entity Part: Item { relationship groups: Group[] optional inverse parts; }
            entity Group { relationship parts: Part[] optional inverse groups; }
        )",
                                                                      &problems));
    }();
    return *made;
}

struct Contents
{
    QVariantMap metadata;
    VXRowTables tables;
};

std::optional<Contents> read(QByteArray bytes)
{
    QBuffer buffer(&bytes);
    require(buffer.open(QIODevice::ReadOnly));
    VXError error;
    VXXMLStoreReader reader(buffer, u"file"_s);
    const auto metadata = reader.readMetadata(&error);
    require(metadata.has_value() != bool(error));
    if (!metadata)
        return std::nullopt;
    const auto &identity = VXStoreIdentity::withIdentifier(u"identity"_s);
    const auto tables = reader.readObjects(model(), identity, &error);
    require(tables.has_value() != bool(error));
    return tables ? std::optional(Contents{*metadata, *tables}) : std::nullopt;
}

QByteArray written(const Contents &contents)
{
    QBuffer buffer;
    require(buffer.open(QIODevice::WriteOnly));
    QString reason;
    require(VXXMLStoreWriter(buffer).write(contents.metadata, contents.tables, model(), &reason));
    return buffer.data();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const auto contents = read({reinterpret_cast<const char *>(data), qsizetype(size)});
    if (!contents)
        return 0;
    const QByteArray first = written(*contents);
    const auto again = read(first);
    require(again.has_value());
    require(written(*again) == first);
    return 0;
}
