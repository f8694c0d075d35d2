#include "VXExportSheetController.h"

#include "VXExporterPlugin.h"
#include "VXPluginManager.h"
#include "VXUserDefaults.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString selectionKey = u"export.sheet.selection"_s;

// Falls back for built-in plugins, which have no name of their own.
QString titleOf(const VXPluginProxy &proxy)
{
    QString title = proxy.name();
    const auto *const exporter = dynamic_cast<const VXExporterPlugin *>(proxy.singleton().get());
    if (title.isNull() && exporter != nullptr)
        title = exporter->exporterTargetName();
    return title.isNull() ? proxy.identifier() : title;
}

} // namespace

VXExportSheetController::VXExportSheetController(const QVariantList &objects, const QString &descriptiveClassName)
    : _objects(objects), _descriptiveClassName(descriptiveClassName)
{
    for (const VXPluginProxy *const proxy : VXPluginManager::sharedPluginManager().exporterPlugins())
        insertAlphabetically({titleOf(*proxy), proxy->identifier()});
    _selectedIndex = _items.isEmpty() ? -1 : 0;
    selectItemWithIdentifier(VXUserDefaults::standardUserDefaults().stringForKey(selectionKey));
}

VXExportSheetController::~VXExportSheetController() = default;

void VXExportSheetController::insertAlphabetically(const Item &item)
{
    const auto comesBefore = [](const Item &a, const Item &b) { return a.title.localeAwareCompare(b.title) < 0; };
    _items.insert(std::ranges::upper_bound(_items, item, comesBefore), item);
}

bool VXExportSheetController::selectItemAtIndex(qsizetype index)
{
    if (index < 0 || index >= _items.size())
        return false;
    _selectedIndex = index;
    return true;
}

bool VXExportSheetController::selectItemWithIdentifier(const QString &identifier)
{
    const auto found = std::ranges::find(_items, identifier, &Item::identifier);
    return selectItemAtIndex(found == _items.end() ? -1 : found - _items.begin());
}

QString VXExportSheetController::selectedExporterIdentifier() const
{
    return _selectedIndex < 0 ? QString() : _items[_selectedIndex].identifier;
}

std::optional<QVariantMap> VXExportSheetController::selectedExporterOptions() const
{
    return std::nullopt;
}

void VXExportSheetController::setEndHandler(EndHandler handler)
{
    _endHandler = std::move(handler);
}

void VXExportSheetController::end(int returnCode)
{
    if (_returnCode)
        return;
    VXUserDefaults::standardUserDefaults().setObject(selectedExporterIdentifier(), selectionKey);
    _returnCode = returnCode;
    if (const EndHandler handler = std::exchange(_endHandler, nullptr))
        handler(returnCode);
}
