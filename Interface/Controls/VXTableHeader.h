#pragma once

#include "VXInterfaceExport.h"

#include <QtWidgets/QHeaderView>

class QMenu;
class VXSavedState;

/**
 * The header of a table that remembers order, widths, visibility of columns and the sort order, as long as the table
 * has the same columns. Its menu, also opened by `showColumnMenu` for keyboard use, shows and hides columns and
 * restores the standard. Main thread only.
 */
class VX_INTERFACE_EXPORT VXTableHeader : public QHeaderView
{
    Q_OBJECT

public:
    explicit VXTableHeader(QWidget *parent = nullptr);
    ~VXTableHeader() override;

    /** Stores the state under the user default "interface.columns.NAME". The state at the time of this call, with the
     *  model set, is the standard. */
    void setAutosaveName(const QString &name);
    /** Restores the standard. */
    void resetColumns();

    /** Opens the menu of columns at the beginning of the header. */
    void showColumnMenu();

    void setModel(QAbstractItemModel *model) override;

protected:
    void contextMenuEvent(QContextMenuEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void fill(QMenu &menu);
    void restore();
    void changed();
    QVariant state() const;
    QStringList columnTitles() const;

    VXSavedState *_state = nullptr;
    QByteArray _standard;
    bool _isRestoring = false;
};
