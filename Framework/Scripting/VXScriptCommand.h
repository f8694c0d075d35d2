#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

/** A command of a script to the application, while it is carried out. Main thread only. */
class VX_EXPORT VXScriptCommand
{
public:
    /** `directParameter` is a value, or a VXObjectSpecifier of what the command is about, resolved from `application`.
     *  */
    VXScriptCommand(const QVariant &directParameter, const QVariant &application)
        : _directParameter(directParameter), _application(application)
    {
    }
    virtual ~VXScriptCommand();

    QVariant directParameter() const { return _directParameter; }
    /**
     * The direct parameter; if it is a specifier, the specified objects. Invalid, logged, when it cannot be resolved;
     * then the error number and text say why.
     */
    QVariant vx_evaluatedDirectParameter();

    /** 0 while there is no error. */
    int scriptErrorNumber() const { return _scriptErrorNumber; }
    /** Null while there is no error. */
    QString scriptErrorString() const { return _scriptErrorString; }

private:
    const QVariant _directParameter;
    const QVariant _application;
    int _scriptErrorNumber = 0;
    QString _scriptErrorString;
};
