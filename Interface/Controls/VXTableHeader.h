#pragma once

#include "VXInterfaceExport.h"

#include <QtWidgets/QHeaderView>

class QMenu;
class VXSavedState;

/**
 * The header of a table that remembers order, widths, what is shown and the sort, as long as the table has the same columns.
 * Its menu, also by `showColumnMenu` for keys, shows and hides columns and brings back the standard. Main thread only.
 */
class VX_INTERFACE_EXPORT VXTableHeader : public QHeaderView
{
    Q_OBJECT

public:
    explicit VXTableHeader(QWidget *parent = nullptr);
    ~VXTableHeader() override;

    /** The user default "interface.columns.NAME". What holds at this moment, with the model set, is the standard. */
    void setAutosaveName(const QString &name);
    /** Back to the standard. */
    void resetColumns();
    /** This column is never hidden; the first unless set. */
    void setMainColumn(int column) { _mainColumn = column; }

    /** The menu of the columns, at the header's beginning. */
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
    int _mainColumn = 0;
    bool _isRestoring = false;
};
