#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>
#include <optional>

/**
 * What stands behind the sheet that asks where to export objects to: the list of exporters, the user's choice, and how the
 * sheet ends. Whoever shows windows shows `items` as a pop-up; without a window it works the same. The choice is remembered
 * under the user default "export.sheet.selection", also when the sheet is cancelled. Main thread only.
 */
class VX_EXPORT VXExportSheetController
{
public:
    /** An exporter that can be chosen. */
    struct Item
    {
        QString title;
        QString identifier;
    };
    /** How the sheet ended, as numbers that callers may keep. */
    enum ReturnCode : int { Cancelled = 0, Ok = 1 };
    using EndHandler = std::function<void(int returnCode)>;

    /** `descriptiveClassName` tells what kind of objects they are. The exporters are those enabled now. */
    VXExportSheetController(const QVariantList &objects, const QString &descriptiveClassName);
    virtual ~VXExportSheetController();
    VXExportSheetController(const VXExportSheetController &) = delete;
    VXExportSheetController &operator=(const VXExportSheetController &) = delete;

    const QVariantList &objects() const { return _objects; }
    QString descriptiveClassName() const { return _descriptiveClassName; }

    /** In alphabetical order of their titles. */
    const QList<Item> &items() const { return _items; }
    /** -1 without items. At first the exporter chosen last time, else the first. */
    qsizetype selectedIndex() const { return _selectedIndex; }
    /** False, with the selection unchanged, when there is no such item. */
    bool selectItemAtIndex(qsizetype index);
    /** False, with the selection unchanged, when no item has that identifier. */
    bool selectItemWithIdentifier(const QString &identifier);

    /** Null without items. */
    QString selectedExporterIdentifier() const;
    /** For the exporter; none here: subclasses with a view for options give them. */
    virtual std::optional<QVariantMap> selectedExporterOptions() const;

    /** Called once, when the sheet ends, with a ReturnCode; it may delete the controller. */
    void setEndHandler(EndHandler handler);
    /** End the sheet; again does nothing. */
    void OKAction() { end(Ok); }
    void cancelAction() { end(Cancelled); }
    /** Empty until the sheet has ended. */
    std::optional<int> returnCode() const { return _returnCode; }

private:
    void insertAlphabetically(const Item &item);
    void end(int returnCode);

    const QVariantList _objects;
    const QString _descriptiveClassName;
    QList<Item> _items;
    qsizetype _selectedIndex = -1;
    EndHandler _endHandler;
    std::optional<int> _returnCode;
};
