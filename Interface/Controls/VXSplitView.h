#pragma once

#include "VXInterfaceExport.h"

#include <QtWidgets/QSplitter>

class VXSavedState;

/**
 * Panes with dividers that remember their positions and can be used by keyboard: Tab goes to a divider, the arrow keys
 * move it, Return folds the pane before it and unfolds it again. Main thread only.
 */
class VX_INTERFACE_EXPORT VXSplitView : public QSplitter
{
    Q_OBJECT

public:
    explicit VXSplitView(Qt::Orientation orientation = Qt::Horizontal, QWidget *parent = nullptr);
    ~VXSplitView() override;

    /** Restores the sizes stored under the user default "interface.split.NAME", and stores them from now on. To be
     *  called after the panes were added. */
    void setAutosaveName(const QString &name);

    bool isPaneFolded(int index) const;
    /** Folds a pane, or unfolds it to the size it had. */
    void setPaneFolded(int index, bool isFolded);

Q_SIGNALS:
    void paneFoldingDidChange(int index, bool isFolded);

protected:
    QSplitterHandle *createHandle() override;
    void hideEvent(QHideEvent *event) override;

private:
    VXSavedState *_state = nullptr;
    QList<int> _unfoldedSizes;
};
