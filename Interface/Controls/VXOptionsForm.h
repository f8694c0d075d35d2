#pragma once

#include "VXInterfaceExport.h"
#include "VXReactorOption.h"

#include <QtWidgets/QWidget>

#include <memory>
#include <vector>

/**
 * Edits the options of a reactor or exporter: a field for each, of its type, with what it means; what is wrong with a value is
 * said below its field. Main thread only.
 */
class VX_INTERFACE_EXPORT VXOptionsForm : public QWidget
{
    Q_OBJECT

public:
    VXOptionsForm(const VXReactorOptions &options, const QVariantMap &values, QWidget *parent = nullptr);
    ~VXOptionsForm() override;

    /** Only those that differ from the standard. */
    QVariantMap values() const;
    /** The first thing that is wrong; null when all is well. */
    QString problem() const;

Q_SIGNALS:
    void valuesDidChange();

private:
    struct Field;

    void add(const VXReactorOption &option, const QVariant &value);
    void changed();

    std::vector<std::unique_ptr<Field>> _fields;
};
