#pragma once

#include "VXContactDuplicates.h"

#include <QtWidgets/QWidget>

/** Shows what contacts would become as one, for a sheet. */
class VXContactMergeView : public QWidget
{
    Q_OBJECT

public:
    explicit VXContactMergeView(const VXDuplicateContacts &duplicates);

Q_SIGNALS:
    /** A VXSheet::ReturnCode. */
    void done(int code);

protected:
    void keyPressEvent(QKeyEvent *event) override;
};
