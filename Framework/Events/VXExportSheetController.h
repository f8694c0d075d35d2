#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>
#include <optional>

/**
 * The logic of the sheet that asks where to export objects to: the list of exporters, the user's choice, and how the
 * sheet ends. The user interface shows `items` as a pop-up; the controller works without a window, too. The choice is
 * remembered under the user default "export.sheet.selection", even when the sheet is cancelled. Main thread only.
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
    /** How the sheet ended; the numbers are stable. */
    enum ReturnCode : int { Cancelled = 0, Ok = 1 };
    using EndHandler = std::function<void(int returnCode)>;

    /** `descriptiveClassName` says what kind of objects they are. The exporters are those enabled at this time. */
    VXExportSheetController(const QVariantList &objects, const QString &descriptiveClassName);
    virtual ~VXExportSheetController();
    VXExportSheetController(const VXExportSheetController &) = delete;
    VXExportSheetController &operator=(const VXExportSheetController &) = delete;

    const QVariantList &objects() const { return _objects; }
    QString descriptiveClassName() const { return _descriptiveClassName; }

    /** Sorted alphabetically by title. */
    const QList<Item> &items() const { return _items; }
    /** -1 without items. Initially the exporter chosen last time, or else the first. */
    qsizetype selectedIndex() const { return _selectedIndex; }
    /** False, with the selection unchanged, when there is no such item. */
    bool selectItemAtIndex(qsizetype index);
    /** False, with the selection unchanged, when no item has that identifier. */
    bool selectItemWithIdentifier(const QString &identifier);

    /** Null without items. */
    QString selectedExporterIdentifier() const;
    /** Options for the exporter; none here. Subclasses with a view for options return those. */
    virtual std::optional<QVariantMap> selectedExporterOptions() const;

    /** Called once, when the sheet ends, with a ReturnCode; it may delete the controller. */
    void setEndHandler(EndHandler handler);
    /** These end the sheet; once it has ended, they do nothing. */
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
