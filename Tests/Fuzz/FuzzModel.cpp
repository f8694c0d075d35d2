// Any bytes as a model, as people write it or compiled: reading ends with a definition or with what is wrong, and a sound
// definition survives being printed and being compiled.

#include "VXFuzzing.h"
#include "VXManagedObjectModel.h"
#include "VXModelParser.h"
#include "VXModelPrinter.h"
#include "VXPropertyList.h"

namespace {

void checkSound(const VXModelDefinition &definition)
{
    VXError error;
    const auto model = VXManagedObjectModel::modelWithDefinition(definition, &error);
    require(bool(model) != bool(error));
    require(bool(model) == VXCheckModel(definition).isEmpty());
    if (!model)
        return;
    const QByteArray compiled = VXPropertyList::toData(definition.toPropertyList(), VXPropertyList::Format::Binary);
    require(!compiled.isNull());
    const auto loaded = VXModelDefinition::fromPropertyList(VXPropertyList::fromData(compiled), &error);
    require(!error && loaded.toPropertyList() == definition.toPropertyList());
    QList<VXModelProblem> problems;
    const auto parsed = VXParseModel(VXModelSource(definition).toUtf8(), &problems);
    require(problems.isEmpty() && parsed.toPropertyList() == definition.toPropertyList());
    const auto again = VXManagedObjectModel::modelWithDefinition(parsed, &error);
    require(again && again->entityVersionHashes() == model->entityVersionHashes());
    require(!VXModelGraph(definition).isEmpty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    if (const QVariant list = VXPropertyList::fromData(bytes); list.isValid()) {
        VXError error;
        const auto definition = VXModelDefinition::fromPropertyList(list, &error);
        require(definition.entities.isEmpty() || !error);
        if (!error)
            checkSound(definition);
        return 0;
    }
    QList<VXModelProblem> problems;
    const auto definition = VXParseModel(bytes, &problems);
    if (problems.isEmpty())
        checkSound(definition);
    return 0;
}
